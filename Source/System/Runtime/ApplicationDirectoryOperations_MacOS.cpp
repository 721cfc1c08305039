#include <System/Runtime/ApplicationDirectoryOperations.h>

#include <mach-o/dyld.h>

#include <cstdint>

namespace Tovra::System::Runtime {

bool GetExecutablePath(char* buffer, std::size_t size) {
    auto bufferSize = static_cast<std::uint32_t>(size);
    return _NSGetExecutablePath(buffer, &bufferSize) == 0;
}

} // namespace Tovra::System::Runtime
