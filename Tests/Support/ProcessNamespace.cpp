#include <Support/ProcessNamespace.h>

#include <sched.h>
#include <unistd.h>

#include <fstream>
#include <string>

namespace Tovra::Tests {

namespace {

void WriteTo(const char* path, const std::string& text) {
    std::ofstream file(path);
    ThrowIf(!(file << text).flush(), path);
}

/// Enters namespaces together with a user namespace, which gives the right to do so, and maps our own user into it: an
/// unmapped user can't create files (user_namespaces(7)).
void UnshareAsUser(int flags) {
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    ThrowIf(unshare(flags | CLONE_NEWUSER) != 0, "unshare");
    WriteTo("/proc/self/setgroups", "deny");
    WriteTo("/proc/self/uid_map", user + ' ' + user + " 1");
    WriteTo("/proc/self/gid_map", group + ' ' + group + " 1");
}

} // namespace

void EnterProcessNamespace() {
    constexpr int flags = CLONE_NEWPID | CLONE_NEWNS;
    if (unshare(flags) != 0) {
        UnshareAsUser(flags);
    }
    // Mounts made there must not propagate outside. The root of a chroot need not be a mount, but its /proc is one.
    constexpr unsigned long isolation = MS_REC | MS_PRIVATE;
    ThrowIf(mount(nullptr, "/", nullptr, isolation, nullptr) != 0 &&
                mount(nullptr, "/proc", nullptr, isolation, nullptr) != 0,
            "mount private");
}

} // namespace Tovra::Tests
