#include <Fieldhost/Tools/PlatformApplication.h>

#include <cstdlib>

namespace Tovra::Fieldhost::Tools {

void TouchPlatformApplication() {
    // X has no application object, and its connection is made at the first window: most options need no display.
}

void AvoidShaderCache() {
    setenv("MESA_SHADER_CACHE_DISABLE", "true", 1);
}

} // namespace Tovra::Fieldhost::Tools
