#include "DiagnosisOperations.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <optional>

namespace Tovra::Fieldhost::Diagnose {

namespace {

bool MayAccess(const std::string& path, int mode) {
    return faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0;
}

} // namespace

bool HasStandardOutput() {
    return fcntl(STDOUT_FILENO, F_GETFD) >= 0;
}

SystemNames GetSystemNames() {
    utsname names{};
    return uname(&names) < 0 ? SystemNames{} : SystemNames{names.sysname, names.release, names.machine};
}

FileFacts GetFileFacts(const std::string& path) {
    struct stat status{};
    if (stat(path.c_str(), &status) != 0) {
        return {};
    }
    struct statvfs space{};
    const bool isSpaceKnown = statvfs(path.c_str(), &space) == 0;
    constexpr unsigned int permissionBits = 07777;
    return {.exists = true,
            .isFolder = S_ISDIR(status.st_mode),
            .isRegularFile = S_ISREG(status.st_mode),
            .isReadable = MayAccess(path, R_OK),
            .isWritable = MayAccess(path, W_OK),
            .isExecutable = MayAccess(path, X_OK),
            .mode = status.st_mode & permissionBits,
            .owner = std::int64_t{status.st_uid},
            .freeBytes = isSpaceKnown ? static_cast<std::int64_t>(space.f_bavail * space.f_frsize)
                                      : std::optional<std::int64_t>()};
}

std::int64_t GetUser() {
    return std::int64_t{geteuid()};
}

} // namespace Tovra::Fieldhost::Diagnose
