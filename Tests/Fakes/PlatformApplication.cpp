#include <Fakes/PlatformApplication.h>
#include <Fieldhost/Tools/PlatformApplication.h>

namespace Tovra::Fieldhost::Tools {

void TouchPlatformApplication() {}

void AvoidShaderCache() {
    Tests::Fakes::platformApplication.avoidsShaderCache = true;
}

} // namespace Tovra::Fieldhost::Tools
