#include <Support/Child.h>

#include <sched.h>

#include <cerrno>
#include <system_error>

namespace Tovra::Tests {

void ThrowIf(bool failed, const std::string& what) {
    if (failed) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

void EnterProcessNamespace() {
    // Without the right to do so, a user namespace comes with it, in which one has it.
    constexpr int flags = CLONE_NEWPID | CLONE_NEWNS;
    ThrowIf(unshare(flags) != 0 && unshare(flags | CLONE_NEWUSER) != 0, "unshare");
    // Nothing is mounted but over /proc, and the root of a chroot need not be a mount.
    ThrowIf(mount(nullptr, "/proc", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0, "mount private");
}

} // namespace Tovra::Tests
