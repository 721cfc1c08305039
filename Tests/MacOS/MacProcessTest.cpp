#include <Support/Assertions.h>
#include <Support/EnvironmentValue.h>
#include <Support/TestApplication.h>
#include <System/FileSystem/Path.h>
#include <System/Processes/Process.h>
#include <System/Processes/ProcessOperations.h>

#include <MacOS/Doubles/CoreFoundation.h>
#include <MacOS/Doubles/LinuxCalls.h>
#include <MacOS/Doubles/System.h>
#include <MacOS/MacHostTest.h>
#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <format>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using Tovra::System::Processes::GetBundleName;
using Tovra::System::Processes::GetProcessInformation;
using Tovra::System::Processes::GetProcessPath;
using Tovra::System::Processes::HoldProcess;
using Tovra::System::Processes::Process;
using Tovra::System::Processes::processInformationSize;
using Tovra::System::Processes::processRecordSize;
using Tovra::System::Processes::QueryProcessTable;
using Tovra::System::Processes::ReleaseProcess;
using Tovra::System::Processes::SendSignalToHeld;
using Tovra::System::Processes::SpawnProcess;
using Tovra::Tests::EnvironmentValue;
using Tovra::Tests::MacHostTest;
using Tovra::Tests::TestApplication;
using Tovra::Tests::Doubles::bundles;
using Tovra::Tests::Doubles::calls;
using Tovra::Tests::Doubles::Dictionary;
using Tovra::Tests::Doubles::Failure;
using Tovra::Tests::Doubles::linuxCalls;
using Tovra::Tests::Doubles::processes;
using Tovra::Tests::Doubles::tableSlack;
using Tovra::Tests::Doubles::Value;

/// The kernel, a daemon, and an application in a bundle.
class MacProcessTest : public MacHostTest {
protected:
    MacProcessTest() {
        processes.all = {{.id = 0, .userId = 0},
                         {.id = 70, .path = "/usr/libexec/daemon", .userId = 0, .signalError = EPERM},
                         {.id = 501, .path = "/Applications/Foo.app/Contents/MacOS/foo"}};
        bundles.all["/Applications/Foo.app"] = {{"CFBundleName", "Foo Tool"}, {"CFBundleIdentifier", "com.foo"}};
    }

    /// The name of a process, or what was there before.
    static std::string GetName(std::uint64_t id) {
        std::string name = "before";
        EXPECT_EQ(Process{id}.GetName(name), name.data());
        return name;
    }

    TestApplication m_application; // For the log.
};

TEST_F(MacProcessTest, NamesAnApplicationByItsBundle) {
    EXPECT_EQ(GetName(501), "Foo Tool");
    EXPECT_THAT(TakeCalls(),
                ElementsAre("proc_pidpath(501, *, 4096)",
                            "CFURLCreateFromFileSystemRepresentation(null, \"/Applications/Foo.app\", 21, 0)",
                            "CFBundleCreate(null, Url#1)", "CFRelease(Url#1)",
                            "CFBundleGetValueForInfoDictionaryKey(Bundle#1, \"CFBundleName\")", "CFRetain(String#2)",
                            "CFRelease(Bundle#1)", "CFStringGetCString(String#2, *, 256, 134217984)",
                            "CFRelease(String#2)"));
}

TEST_F(MacProcessTest, NamesAPlainProgramByItsFile) {
    EXPECT_EQ(GetName(70), "daemon");
    EXPECT_THAT(TakeCalls(),
                ElementsAre("proc_pidpath(70, *, 4096)",
                            "CFURLCreateFromFileSystemRepresentation(null, \"/usr/libexec/daemon\", 19, 0)",
                            "CFBundleCreate(null, Url#1)", "CFRelease(Url#1)"));
}

TEST_F(MacProcessTest, NamesAnApplicationByItsFileWhereItsBundleTellsNoName) {
    Sweep([] { return GetName(501); }, {{"proc_pidpath", "before"},
                                        {"CFURLCreateFromFileSystemRepresentation", "foo"},
                                        {"CFBundleCreate", "foo"},
                                        {"CFBundleGetValueForInfoDictionaryKey", "foo"},
                                        {"CFStringGetCString", ""}});
}

TEST_F(MacProcessTest, NamesAnApplicationByItsFileWhereTheNameOfItsBundleIsNoText) {
    Sweep(Failure::OtherKind, [] { return GetName(501); }, {{"CFBundleGetValueForInfoDictionaryKey", "foo"}});
    for (const Value& name :
         {Value(7), Value(2.5), Value(true), Value(std::vector<Value>{"a"}), Value(Dictionary{{"a", "b"}})}) {
        bundles.all["/Applications/Foo.app"]["CFBundleName"] = name;
        EXPECT_EQ(GetName(501), "foo");
    }
}

TEST_F(MacProcessTest, TakesATooLongNameOfABundleForAnEmptyOne) {
    const auto getName = [](std::size_t length) {
        bundles.all["/Applications/Foo.app"]["CFBundleName"] = std::string(length, 'x');
        return GetName(501);
    };
    EXPECT_EQ(getName(255), std::string(255, 'x'));
    EXPECT_EQ(getName(256), "");
}

TEST_F(MacProcessTest, CutsAPathBehindTheFirstBundle) {
    processes.all.push_back({.id = 502, .path = "/opt/x.application/bin/y"});
    EXPECT_EQ(GetName(502), "y");
    EXPECT_EQ(TakeCalls()[1], "CFURLCreateFromFileSystemRepresentation(null, \"/opt/x.app\", 10, 0)");
}

TEST_F(MacProcessTest, TellsWhetherThereIsANameInABundle) {
    std::array<char, 8> buffer = {};
    EXPECT_FALSE(GetBundleName("/nothing", 8, buffer.data(), buffer.size()));
    EXPECT_TRUE(GetBundleName("/Applications/Foo.app", 21, buffer.data(), buffer.size()));
    EXPECT_STREQ(buffer.data(), "") << "The name doesn't fit.";
}

TEST_F(MacProcessTest, VisitsTheProcessTable) {
    std::vector<std::uint64_t> visited;
    EXPECT_EQ(Process::ForEachProcess([&visited](Process& process) { visited.push_back(process.id); }, ""), 3u);
    EXPECT_THAT(visited, ElementsAre(0, 70, 501));
    EXPECT_THAT(TakeCalls(),
                ElementsAre("sysctl(\"1.14.0\", null, 0, null, 0)", "sysctl(\"1.14.0\", *, 5184, null, 0)"));
}

TEST_F(MacProcessTest, VisitsNothingWithoutAProcessTable) {
    Sweep([] { return std::to_string(Process::ForEachProcess([](Process&) {}, "")); },
          {{"sysctl", "0"}, {"sysctl", "0"}});
}

TEST_F(MacProcessTest, VisitsNothingIfTheTableOutgrowsItsBuffer) {
    processes.onSizeQuery = [] { processes.all.resize(3 + tableSlack + 1); };
    EXPECT_EQ(Process::ForEachProcess([](Process&) {}, ""), 0u);
    processes.onSizeQuery = [] { processes.all.resize(4); };
    EXPECT_EQ(Process::ForEachProcess([](Process&) {}, ""), 4u);
}

TEST_F(MacProcessTest, TellsTheSizeOfTheTableWithoutABuffer) {
    std::size_t size = 0;
    EXPECT_EQ(QueryProcessTable(nullptr, size), 0);
    EXPECT_EQ(size, (3 + tableSlack) * processRecordSize);
    std::vector<char> table(3 * processRecordSize - 1);
    size = table.size();
    EXPECT_EQ(QueryProcessTable(table.data(), size), -1);
    EXPECT_EQ(errno, ENOMEM);
}

TEST_F(MacProcessTest, KillsAllProcessesOfAName) {
    EXPECT_TRUE(Process::TerminateAll("Foo Tool"));
    EXPECT_THAT(linuxCalls.signals, ElementsAre(Pair(501, 9)));
    EXPECT_FALSE(Process::TerminateAll("Foo"));
    EXPECT_THAT(linuxCalls.signals, ElementsAre(Pair(501, 9)));
}

TEST_F(MacProcessTest, KillsNobodyForAnotherOnesName) {
    const auto kill = [] {
        linuxCalls.signals.clear();
        const bool isFound = Process::TerminateAll("Foo Tool");
        return std::string(isFound ? "found" : "none") + (linuxCalls.signals.empty() ? "" : ", signalled");
    };
    Sweep(kill, {{"sysctl", "none"},
                 {"sysctl", "none"},
                 // The kernel has no path anyhow.
                 {"proc_pidpath", "found, signalled", "none"},
                 {"proc_pidpath", "found, signalled", "none"},
                 {"CFURLCreateFromFileSystemRepresentation", "found, signalled", "none"},
                 {"CFBundleCreate", "found, signalled", "none"},
                 {"proc_pidpath", "none"},
                 {"CFURLCreateFromFileSystemRepresentation", "none"},
                 {"CFBundleCreate", "none"},
                 {"CFBundleGetValueForInfoDictionaryKey", "none"},
                 {"CFStringGetCString", "none"},
                 {"kill", "found, signalled"}});
    Sweep(Failure::OtherKind, kill, {{"CFBundleGetValueForInfoDictionaryKey", "none"}});
}

TEST_F(MacProcessTest, KnowsAProcessByASignal) {
    EXPECT_EQ(Process::Get(501).id, 501u);
    EXPECT_EQ(Process::Get(70).id, 70u) << "Another user's process exists, too.";
    EXPECT_EQ(Process::Get(71).id, 0u);
    EXPECT_THAT(TakeCalls(), ElementsAre("kill(501, 0)", "kill(70, 0)", "kill(71, 0)"));
    Sweep([] { return std::to_string(Process::Get(501).id); }, {{"kill", "0"}});
    processes.all.push_back({.id = getpid()});
    EXPECT_EQ(Process::GetCurrent().id, static_cast<std::uint64_t>(getpid()));
}

TEST_F(MacProcessTest, CannotHoldAProcess) {
    errno = 0;
    EXPECT_EQ(HoldProcess(501), -1);
    EXPECT_EQ(errno, ENOSYS);
    errno = 0;
    EXPECT_EQ(SendSignalToHeld(3, 9), -1);
    EXPECT_EQ(errno, ENOSYS);
    ReleaseProcess(0);
    EXPECT_NE(fcntl(0, F_GETFD), -1) << "It is no descriptor that is released.";
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(MacProcessTest, KnowsTheRightsOfAProcess) {
    EXPECT_TRUE(Process{70}.IsElevated());
    EXPECT_FALSE(Process{501}.IsElevated());
    EXPECT_FALSE(Process{71}.IsElevated());
    EXPECT_THAT(TakeCalls(), ElementsAre("proc_pidinfo(70, 3, 0, *, 136)", "proc_pidinfo(501, 3, 0, *, 136)",
                                         "proc_pidinfo(71, 3, 0, *, 136)"));
    Sweep([] { return std::string(Process{70}.IsElevated() ? "elevated" : "not"); }, {{"proc_pidinfo", "not"}});
}

TEST_F(MacProcessTest, FailsWhereABufferIsTooSmallOrTooLarge) {
    std::array<char, 4097> buffer = {};
    EXPECT_EQ(GetProcessInformation(501, buffer.data(), processInformationSize - 1), 0);
    EXPECT_EQ(GetProcessPath(70, buffer.data(), 1023), 0) << "Even though the path would fit.";
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(GetProcessPath(70, buffer.data(), 4097), 0);
    EXPECT_EQ(errno, EOVERFLOW);
    EXPECT_EQ(GetProcessPath(70, buffer.data(), 1024), 19);
    EXPECT_STREQ(buffer.data(), "/usr/libexec/daemon");
}

TEST_F(MacProcessTest, StartsAProgramInASessionOfItsOwn) {
    const EnvironmentValue home("HOME", "/Users/me");
    const EnvironmentValue preloaded("DYLD_INSERT_LIBRARIES", "/evil");
    EXPECT_EQ(Process::Start(Tovra::System::FileSystem::Path("/bin/tool"), {"-a", "b c"}).id, 5000u);
    ASSERT_EQ(linuxCalls.spawned.size(), 1u);
    EXPECT_THAT(linuxCalls.spawned.front(), ::testing::StartsWith("/bin/tool|-a|b c in PATH="));
    EXPECT_THAT(linuxCalls.spawned.front(), ::testing::HasSubstr("|HOME=/Users/me"));
    EXPECT_THAT(linuxCalls.spawned.front(), ::testing::Not(::testing::HasSubstr("evil")));
    EXPECT_THAT(TakeCalls(), ElementsAre("posix_spawn_file_actions_init()", "posix_spawnattr_init()",
                                         std::format("posix_spawnattr_setflags({})", POSIX_SPAWN_SETSID),
                                         "posix_spawn(\"/bin/tool\")"));
}

TEST_F(MacProcessTest, StartsNothingIfACallFails) {
    Sweep(
        [] {
            std::int32_t id = 0;
            std::array<char*, 2> arguments = {const_cast<char*>("/bin/tool"), nullptr};
            linuxCalls = {};
            const int error = SpawnProcess(id, arguments.front(), arguments.data(), arguments.data() + 1);
            return std::format("{}, {} started", ::strerrorname_np(error), linuxCalls.spawned.size());
        },
        {{"posix_spawn_file_actions_init", "ENOMEM, 0 started"},
         {"posix_spawnattr_init", "ENOMEM, 0 started"},
         {"posix_spawnattr_setflags", "EINVAL, 0 started"},
         {"posix_spawn", "ENOENT, 0 started"}});
}

TEST_F(MacProcessTest, AssertsThatAProgramCouldBeStarted) {
    EXPECT_ASSERTION(
        {
            calls.failing = 1;
            Process::Start(Tovra::System::FileSystem::Path("/bin/tool"), {});
        },
        "false", "Failed to start process: /bin/tool");
}

} // namespace
