#include <System/Utilities/PlatformOperations.h>

#include <cerrno>

namespace Tovra::System::Utilities {

int GetSystemControl(const char*, void*, std::size_t*) {
    errno = ENOENT;
    return -1;
}

} // namespace Tovra::System::Utilities
