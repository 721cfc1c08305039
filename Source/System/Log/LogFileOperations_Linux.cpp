#include <System/Log/LogFileOperations.h>

#include <fcntl.h>
#include <sys/stat.h>

namespace Tovra::System::Log {

std::int64_t GetFileSize(const char* path) {
    struct statx status{};
    const bool isFile = statx(AT_FDCWD, path, 0, STATX_TYPE | STATX_SIZE, &status) == 0 && S_ISREG(status.stx_mode);
    return isFile ? static_cast<std::int64_t>(status.stx_size) : -1;
}

} // namespace Tovra::System::Log
