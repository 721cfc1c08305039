#include <System/Log/LogFileOperations.h>

#include <sys/stat.h>

namespace Tovra::System::Log {

std::int64_t GetFileSize(const char* path) {
    struct stat status{};
    const bool isFile = stat(path, &status) == 0 && S_ISREG(status.st_mode);
    return isFile ? status.st_size : -1;
}

} // namespace Tovra::System::Log
