#include <Fieldhost/Tools/PlatformApplication.h>

#import <AppKit/AppKit.h>

namespace Tovra::Fieldhost::Tools {

void TouchPlatformApplication() {
    [NSApplication sharedApplication];
}

} // namespace Tovra::Fieldhost::Tools
