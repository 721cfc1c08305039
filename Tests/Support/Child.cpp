#include <Support/Child.h>

#include <grp.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace Tovra::Tests {

void ThrowIf(bool failed, const std::string& what) {
    if (failed) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

bool IsRoot() {
    return geteuid() == 0;
}

void DropRights() {
    constexpr uid_t nobody = 65534;
    if (IsRoot()) {
        ThrowIf(setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0, "setuid");
    }
}

} // namespace Tovra::Tests
