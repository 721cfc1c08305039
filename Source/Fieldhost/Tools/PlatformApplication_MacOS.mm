#include <Fieldhost/Tools/PlatformApplication.h>
#include <System/Desktop/PanelOperations.h>

#import <AppKit/AppKit.h>

namespace Tovra::Fieldhost::Tools {

void TouchPlatformApplication() {
    // Without a window server the toolkit may raise an exception; most options need none.
    System::Desktop::RunCatchingToolkitExceptions([] { [NSApplication sharedApplication]; });
}

void AvoidShaderCache() {
    // The system's drivers keep theirs without a thread of this process.
}

} // namespace Tovra::Fieldhost::Tools
