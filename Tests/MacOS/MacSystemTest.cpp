#include <Support/TemporaryFolder.h>
#include <System/Device/Keyboard/VirtualKeys.h>
#include <System/FileSystem/FileOperations.h>
#include <System/Log/LogFileOperations.h>
#include <System/Processes/ChildOperations.h>
#include <System/Runtime/ApplicationDirectoryOperations.h>
#include <System/Utilities/Platform.h>
#include <System/Utilities/PlatformOperations.h>

#include <MacOS/Doubles/System.h>
#include <MacOS/MacHostTest.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace {

using namespace std::string_view_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tovra::System::Utilities::GetSystemControl;
using Tovra::System::Utilities::Platform;
using Tovra::Tests::MacHostTest;
using Tovra::Tests::TemporaryFolder;
using Tovra::Tests::Doubles::image;
using Tovra::Tests::Doubles::systemControls;

/// A Mac with arm64.
class MacSystemTest : public MacHostTest {
protected:
    MacSystemTest() {
        systemControls.values = {{"kern.osproductversion", std::string("14.2.1\0"sv)},
                                 {"hw.optional.arm64", std::string("\1\0\0\0"sv)}};
    }
};

TEST_F(MacSystemTest, ReadsTheVersion) {
    EXPECT_EQ(Platform::GetVersionString(), "14.2.1");
    EXPECT_THAT(TakeCalls(), ElementsAre("sysctlbyname(\"kern.osproductversion\", null, 0, null, 0)",
                                         "sysctlbyname(\"kern.osproductversion\", *, 7, null, 0)"));
    EXPECT_EQ(Platform::GetLabel(), "macOS Sonoma");
    Sweep([] { return Platform::GetLabel(); }, {{"sysctlbyname", "macOS"}, {"sysctlbyname", "macOS"}});
}

TEST_F(MacSystemTest, ReadsTheArchitecture) {
    EXPECT_EQ(Platform::GetArchitecture(), Platform::Architecture::Arm64);
    EXPECT_THAT(TakeCalls(), ElementsAre("sysctlbyname(\"hw.optional.arm64\", *, 4, null, 0)"));
    systemControls.values["hw.optional.arm64"] = std::string("\0\0\0\0"sv);
    EXPECT_EQ(Platform::GetArchitecture(), Platform::Architecture::X64);
}

TEST_F(MacSystemTest, ReadsNoMoreThanThereIsRoomFor) {
    std::array<char, 3> buffer = {};
    std::size_t size = buffer.size();
    EXPECT_EQ(GetSystemControl("kern.osproductversion", buffer.data(), &size), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(GetSystemControl("no.such.name", nullptr, &size), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(MacSystemTest, KnowsThePathOfTheProgram) {
    using Tovra::System::Runtime::GetExecutablePath;
    image.path = "/Applications/Foo.app/Contents/MacOS/foo";
    std::array<char, 41> buffer = {};
    EXPECT_TRUE(GetExecutablePath(buffer.data(), buffer.size()));
    EXPECT_EQ(buffer.data(), image.path);
    EXPECT_THAT(TakeCalls(), ElementsAre("_NSGetExecutablePath(*, 41)"));
    EXPECT_FALSE(GetExecutablePath(buffer.data(), buffer.size() - 1));
    Sweep([&buffer] { return std::string(GetExecutablePath(buffer.data(), buffer.size()) ? "known" : "unknown"); },
          {{"_NSGetExecutablePath", "unknown"}});
}

TEST_F(MacSystemTest, WorksInItsOwnProcess) {
    const pid_t own = getpid();
    std::string received;
    EXPECT_TRUE(Tovra::System::Processes::RunInChild(
        [own](const auto& send) {
            EXPECT_EQ(getpid(), own);
            send("message");
        },
        [&received](std::string_view message) { received = message; }, std::chrono::seconds(1)));
    EXPECT_EQ(received, "message");
    EXPECT_FALSE(
        Tovra::System::Processes::RunInChild([](const auto&) {}, [](std::string_view) {}, std::chrono::seconds(1)));
}

TEST_F(MacSystemTest, KnowsTheKeysOfItsKeyboards) {
    using namespace Tovra::System::Device::Keyboard;
    for (std::size_t index = 0; index < macVirtualKeys.size(); ++index) {
        EXPECT_EQ(VirtualKeyFromKeyPlatform(static_cast<Key>(index)), macVirtualKeys[index]);
    }
    EXPECT_EQ(VirtualKeyFromKeyPlatform(Key::A), 0);
    EXPECT_EQ(KeyFromVirtualKeyPlatform(0), Key::A);
    for (unsigned int virtualKey = 0; virtualKey < 300; ++virtualKey) {
        EXPECT_EQ(KeyFromVirtualKeyPlatform(virtualKey), FindKey(macVirtualKeys, virtualKey));
    }
}

TEST_F(MacSystemTest, KnowsTheSizesOfFilesAlone) {
    using Tovra::System::Log::GetFileSize;
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.GetPath() / "file";
    std::ofstream(file) << "12345";
    std::filesystem::create_symlink(file, folder.GetPath() / "link");
    EXPECT_EQ(GetFileSize(file.c_str()), 5);
    EXPECT_EQ(GetFileSize((folder.GetPath() / "link").c_str()), 5);
    EXPECT_EQ(GetFileSize(folder.GetPath().c_str()), -1);
    EXPECT_EQ(GetFileSize((folder.GetPath() / "missing").c_str()), -1);
}

TEST_F(MacSystemTest, OpensFoldersForLookingUpAlone) {
    using Tovra::System::FileSystem::OpenFolder;
    const TemporaryFolder folder;
    std::ofstream(folder.GetPath() / "file") << "12345";
    const int descriptor = OpenFolder(folder.GetPath().c_str());
    ASSERT_NE(descriptor, -1);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(faccessat(descriptor, "file", R_OK, 0), 0);
    close(descriptor);
    EXPECT_EQ(OpenFolder((folder.GetPath() / "missing").c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(OpenFolder((folder.GetPath() / "file").c_str()), -1);
    EXPECT_EQ(errno, ENOTDIR);
}

} // namespace
