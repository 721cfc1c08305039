#include <System/Utilities/PlatformOperations.h>

#include <sys/sysctl.h>

namespace Tovra::System::Utilities {

int GetSystemControl(const char* name, void* value, std::size_t* size) {
    return sysctlbyname(name, value, size, nullptr, 0);
}

} // namespace Tovra::System::Utilities
