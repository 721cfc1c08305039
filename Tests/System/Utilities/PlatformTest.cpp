#include <Fakes/PlatformOperations.h>
#include <System/Utilities/Platform.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <type_traits>

namespace {

using Tovra::System::Utilities::Platform;
using Tovra::Tests::Fakes::platformOperations;
using Version = Platform::Version;
using namespace std::string_literals;

class PlatformTest : public testing::Test {
protected:
    static Platform::Architecture OfMachine(const char* machine) {
        platformOperations.machine = machine;
        return Platform::GetArchitecture();
    }

    static std::string LabelOf(const char* version) {
        platformOperations.SetVersion(version);
        return Platform::GetLabel();
    }
};

static_assert(std::is_same_v<std::underlying_type_t<Platform::Type>, std::uint32_t>);
static_assert(!std::is_copy_constructible_v<Platform::InputRequirementCheck>);

TEST_F(PlatformTest, TypesHaveTheirSettledNumbers) {
    EXPECT_EQ(static_cast<int>(Platform::Type::Windows), 1);
    EXPECT_EQ(static_cast<int>(Platform::Type::MacOS), 2);
    EXPECT_EQ(static_cast<int>(Platform::Type::Linux), 3);
    EXPECT_EQ(static_cast<int>(Platform::Type::LinuxVariant), 4);
}

TEST_F(PlatformTest, TypeIsWhatThePlatformAnswers) {
    EXPECT_EQ(Platform::GetType(), Platform::Type::MacOS);
    platformOperations.type = Platform::Type::LinuxVariant;
    EXPECT_EQ(Platform::GetType(), Platform::Type::LinuxVariant);
    EXPECT_EQ(Platform::GetTypePlatform(), Platform::Type::LinuxVariant);
}

TEST_F(PlatformTest, VersionIsTheProductVersion) {
    platformOperations.SetVersion("14.2.1");
    EXPECT_EQ(Platform::GetVersion(), (Version{14, 2, 1}));
    EXPECT_EQ(Platform::GetVersionPlatform(), (Version{14, 2, 1}));
    EXPECT_EQ(Platform::GetVersionString(), "14.2.1");
}

TEST_F(PlatformTest, VersionStringAlwaysHasThreeNumbers) {
    platformOperations.SetVersion("26.1");
    EXPECT_EQ(Platform::GetVersionString(), "26.1.0");
    platformOperations.SetVersion("15.1");
    EXPECT_EQ(Platform::GetVersionString(), "15.1.0");
}

TEST_F(PlatformTest, WithoutProductVersionAllIsNeutral) {
    EXPECT_EQ(Platform::GetVersion(), (Version{0, 0, 0}));
    EXPECT_EQ(Platform::GetVersionString(), "0.0.0");
    EXPECT_EQ(Platform::GetLabel(), "macOS");
    EXPECT_EQ(Platform::GetLabelPlatform(), "macOS");
}

TEST_F(PlatformTest, ParsesThreeNumbers) {
    EXPECT_EQ(Platform::ParseVersionString("1.22.333"), (Version{1, 22, 333}));
    EXPECT_EQ(Platform::ParseVersionString("7"), (Version{7, 0, 0}));
    EXPECT_EQ(Platform::ParseVersionString(""), (Version{0, 0, 0}));
}

TEST_F(PlatformTest, ParsingIgnoresFurtherElements) {
    EXPECT_EQ(Platform::ParseVersionString("1.2.3.4"), (Version{1, 2, 3}));
    EXPECT_EQ(Platform::ParseVersionString("1.2.3.x"), (Version{1, 2, 3}));
    EXPECT_EQ(Platform::ParseVersionString("1.2."), (Version{1, 2, 0}));
}

TEST_F(PlatformTest, ParsingEndsAtTheFirstElementThatIsNoNumber) {
    EXPECT_EQ(Platform::ParseVersionString("14.x.3"), (Version{14, 0, 0}));
    EXPECT_EQ(Platform::ParseVersionString("14..3"), (Version{14, 0, 0}));
    EXPECT_EQ(Platform::ParseVersionString(".2.3"), (Version{0, 0, 0}));
    EXPECT_EQ(Platform::ParseVersionString("x"), (Version{0, 0, 0}));
    EXPECT_EQ(Platform::ParseVersionString("14.99999999999999999999.3"), (Version{14, 0, 0}));
}

TEST_F(PlatformTest, ParsesWhatANumberBeginsWith) {
    EXPECT_EQ(Platform::ParseVersionString("5abc.6-beta.7 "), (Version{5, 6, 7}));
    EXPECT_EQ(Platform::ParseVersionString(" 5.+6.010"), (Version{5, 6, 10}));
    EXPECT_EQ(Platform::ParseVersionString("0x5.1"), (Version{0, 1, 0}));
}

TEST_F(PlatformTest, ParsingCutsToThirtyTwoBits) {
    EXPECT_EQ(Platform::ParseVersionString("4294967297.-1"), (Version{1, 0xFFFFFFFF, 0}));
}

TEST_F(PlatformTest, VersionsAreOrdered) {
    EXPECT_LT((Version{6, 1, 9}), (Version{6, 2, 0}));
    EXPECT_LT((Version{6, 9, 9}), (Version{10, 0, 0}));
}

TEST_F(PlatformTest, ArchitectureIsWhatTheKernelSays) {
    platformOperations.machine = "x86_64";
    platformOperations.systemControls["hw.optional.arm64"] = "\x01\0\0\0"s;
    EXPECT_EQ(Platform::GetArchitecture(), Platform::Architecture::Arm64);
    EXPECT_EQ(Platform::GetArchitecturePlatform(), Platform::Architecture::Arm64);
    platformOperations.systemControls["hw.optional.arm64"] = "\0\0\0\x80"s;
    EXPECT_EQ(Platform::GetArchitecture(), Platform::Architecture::Arm64);
    platformOperations.machine = "arm64";
    platformOperations.systemControls["hw.optional.arm64"] = "\0\0\0\0"s;
    EXPECT_EQ(Platform::GetArchitecture(), Platform::Architecture::X64);
    EXPECT_EQ(platformOperations.machineNameFault.calls, 0);
}

TEST_F(PlatformTest, ArchitectureIsReadIntoAZero) {
    // The kernel's value may be shorter than the number that it is read into.
    for (const std::string& value : {""s, "\0"s, "\0\0\0"s}) {
        platformOperations.systemControls["hw.optional.arm64"] = value;
        EXPECT_EQ(Platform::GetArchitecture(), Platform::Architecture::X64) << value.size();
    }
    platformOperations.systemControls["hw.optional.arm64"] = "\x01"s;
    EXPECT_EQ(Platform::GetArchitecture(), Platform::Architecture::Arm64);
}

TEST_F(PlatformTest, ArchitectureIsOtherwiseTheMachineName) {
    EXPECT_EQ(OfMachine("arm64"), Platform::Architecture::Arm64);
    EXPECT_EQ(OfMachine("aarch64"), Platform::Architecture::Arm64);
    EXPECT_EQ(OfMachine("x86_64"), Platform::Architecture::X64);
    EXPECT_EQ(OfMachine("amd64"), Platform::Architecture::X64);
    EXPECT_EQ(OfMachine("riscv64"), Platform::Architecture::Unknown);
    EXPECT_EQ(OfMachine("arm64e"), Platform::Architecture::Unknown);
    EXPECT_EQ(OfMachine(""), Platform::Architecture::Unknown);
}

TEST_F(PlatformTest, ArchitectureIsUnknownIfAllFails) {
    platformOperations.machineNameFault = {.call = 1, .error = EFAULT};
    EXPECT_EQ(OfMachine("arm64"), Platform::Architecture::Unknown);
}

TEST_F(PlatformTest, ArchitecturesHaveTheirSettledNumbers) {
    EXPECT_EQ(static_cast<int>(Platform::Architecture::Unknown), 0);
    EXPECT_EQ(static_cast<int>(Platform::Architecture::X64), 1);
    EXPECT_EQ(static_cast<int>(Platform::Architecture::Arm64), 2);
}

TEST_F(PlatformTest, LabelNamesTheRelease) {
    EXPECT_EQ(LabelOf("10.15.7"), "macOS Catalina");
    EXPECT_EQ(LabelOf("11.0"), "macOS Big Sur");
    EXPECT_EQ(LabelOf("12.6"), "macOS Monterey");
    EXPECT_EQ(LabelOf("13.3"), "macOS Ventura");
    EXPECT_EQ(LabelOf("14.2.1"), "macOS Sonoma");
    EXPECT_EQ(LabelOf("15.1"), "macOS Sequoia");
    EXPECT_EQ(LabelOf("26.1"), "macOS Tahoe");
}

TEST_F(PlatformTest, LabelNamesEvery10xAlike) {
    EXPECT_EQ(LabelOf("10.1"), "macOS Catalina");
    EXPECT_EQ(LabelOf("101"), "macOS Catalina");
    EXPECT_EQ(LabelOf("26x"), "macOS Tahoe");
}

TEST_F(PlatformTest, LabelOfAnyOtherVersionHasNoName) {
    EXPECT_EQ(LabelOf("16.0"), "macOS");
    EXPECT_EQ(LabelOf("9.5"), "macOS");
    EXPECT_EQ(LabelOf("27.0"), "macOS");
}

TEST_F(PlatformTest, LabelNeedsThreeBytes) {
    EXPECT_EQ(LabelOf("1"), "macOS");
    EXPECT_EQ(LabelOf("14"), "macOS");
    EXPECT_EQ(LabelOf("14."), "macOS Sonoma");
}

TEST_F(PlatformTest, LastErrorIsTheTextOfErrno) {
    errno = ENOENT;
    EXPECT_EQ(Platform::GetLastErrorString(), "No such file or directory");
    errno = EACCES;
    EXPECT_EQ(Platform::GetLastErrorStringPlatform(), "Permission denied");
}

TEST_F(PlatformTest, InputRequirementCheckIsMadeAndFreed) {
    const Platform::InputRequirementCheck check = Platform::InputRequirementCheck::Create();
    const void* implementation = nullptr;
    ASSERT_EQ(sizeof(check), sizeof(implementation));
    std::memcpy(&implementation, static_cast<const void*>(&check), sizeof(implementation));
    EXPECT_NE(implementation, nullptr);
}

} // namespace
