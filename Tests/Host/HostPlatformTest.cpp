#include <System/Utilities/Helpers.h>
#include <System/Utilities/Platform.h>
#include <System/Utilities/PlatformOperations.h>

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <cerrno>
#include <cstdint>
#include <string>

namespace {

using namespace Tovra::System::Utilities;

TEST(HostPlatform, AnswersAsTheProductAnswers) {
    EXPECT_EQ(static_cast<std::uint32_t>(Platform::GetType()), 2u);
    EXPECT_EQ(static_cast<std::uint32_t>(Platform::GetTypePlatform()), 2u);
}

TEST(HostPlatform, KnowsNoNamedValueOfTheKernel) {
    for (const char* name : {"kern.osproductversion", "hw.optional.arm64", "kern.ostype"}) {
        std::uint32_t value = 7;
        std::size_t size = sizeof(value);
        errno = 0;
        EXPECT_EQ(GetSystemControl(name, &value, &size), -1);
        EXPECT_EQ(errno, ENOENT);
        EXPECT_EQ(value, 7u);
        EXPECT_EQ(Helpers::GetSysctlString(name), "");
    }
}

TEST(HostPlatform, HasNoVersionAndTheBareLabel) {
    EXPECT_EQ(Platform::GetVersion(), Platform::Version());
    EXPECT_EQ(Platform::GetVersionString(), "0.0.0");
    EXPECT_EQ(Platform::GetLabel(), "macOS");
}

TEST(HostPlatform, NamesTheMachineThatItRunsOn) {
    utsname names{};
    ASSERT_EQ(uname(&names), 0);
    std::string machine;
    EXPECT_EQ(GetMachineName(machine), 0);
    EXPECT_EQ(machine, names.machine);
}

TEST(HostPlatform, HasTheArchitectureOfThatMachine) {
    std::string machine;
    ASSERT_EQ(GetMachineName(machine), 0);
    EXPECT_EQ(Platform::GetArchitecture(),
              machine == "aarch64" ? Platform::Architecture::Arm64 : Platform::Architecture::X64);
}

} // namespace
