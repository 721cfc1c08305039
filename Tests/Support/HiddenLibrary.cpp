#include <Support/HiddenLibrary.h>

#include <dlfcn.h>
#include <gnu/libc-version.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <filesystem>

namespace Tovra::Tests {

void HideLibrary(const char* name) {
    ASSERT_EQ(unshare(CLONE_NEWNS), 0);
    ASSERT_EQ(mount("", "/", "", MS_REC | MS_PRIVATE, ""), 0);
    Dl_info information{};
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&gnu_get_libc_version), &information), 0);
    const std::filesystem::path folder = std::filesystem::path(information.dli_fname).parent_path();
    ASSERT_EQ(mount("/dev/null", (folder / name).c_str(), "", MS_BIND, ""), 0);
}

} // namespace Tovra::Tests
