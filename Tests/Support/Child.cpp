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
    // What is mounted there must not spread. The root of a chroot need not be a mount, but its /proc is one.
    constexpr unsigned long isolation = MS_REC | MS_PRIVATE;
    ThrowIf(mount(nullptr, "/", nullptr, isolation, nullptr) != 0 &&
                mount(nullptr, "/proc", nullptr, isolation, nullptr) != 0,
            "mount private");
}

} // namespace Tovra::Tests
