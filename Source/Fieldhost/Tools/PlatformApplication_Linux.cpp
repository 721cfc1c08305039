#include <Fieldhost/Tools/PlatformApplication.h>

namespace Tovra::Fieldhost::Tools {

void TouchPlatformApplication() {
    // X has no application object, and its connection is made at the first window: most options need no display.
}

} // namespace Tovra::Fieldhost::Tools
