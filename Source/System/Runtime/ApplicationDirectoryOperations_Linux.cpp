#include <System/Runtime/ApplicationDirectoryOperations.h>

#include <unistd.h>

namespace Tovra::System::Runtime {

bool GetExecutablePath(char* buffer, std::size_t size) {
    const ssize_t length = readlink("/proc/self/exe", buffer, size);
    // A failure's -1 is beyond every size once it has no sign.
    if (static_cast<std::size_t>(length) >= size) {
        return false;
    }
    buffer[length] = '\0';
    return true;
}

} // namespace Tovra::System::Runtime
