#include <Fakes/ProcessOperations.h>
#include <Support/Assertions.h>
#include <Support/EnvironmentValue.h>
#include <Support/TestApplication.h>
#include <Support/TestLogger.h>
#include <System/FileSystem/Path.h>
#include <System/Processes/Process.h>
#include <System/Processes/ProcessOperations.h>

#include <cerrno>
#include <csignal>
#include <deque>
#include <type_traits>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tovra::System::Processes::Process;
using Tovra::Tests::EnvironmentValue;
using Tovra::Tests::Fakes::FakeProcess;
using Tovra::Tests::Fakes::ProcessOperations;

using Signal = ProcessOperations::Signal;

class ProcessTest : public Tovra::Tests::ApplicationTest {
protected:
    static std::vector<std::uint64_t> Visit(std::string_view filter) {
        std::vector<std::uint64_t> ids;
        const std::uint64_t count =
            Process::ForEachProcess([&ids](Process& process) { ids.push_back(process.GetId()); }, filter);
        EXPECT_EQ(count, ids.size());
        return ids;
    }

    /// The name of a process with that executable.
    std::string GetName(const std::string& path) {
        m_fake.processes = {{.id = 7, .path = path}};
        std::string name = "before";
        EXPECT_EQ(Process{7}.GetName(name), name.data());
        return name;
    }

    ProcessOperations& m_fake = Tovra::Tests::Fakes::processOperations;
};

constexpr std::uint64_t widenedMinusOne = 0xFFFFFFFFFFFFFFFF;

TEST_F(ProcessTest, IsAPlainValue) {
    static_assert(std::is_trivially_copyable_v<Process> && sizeof(Process) == 8);
    EXPECT_EQ(Process{}.GetId(), 0u);
}

TEST_F(ProcessTest, CurrentOneHasOurNumber) {
    EXPECT_EQ(Process::GetCurrent().GetId(), 4711u);
    EXPECT_THAT(m_fake.signals, ElementsAre(Signal{4711, 0}));
}

TEST_F(ProcessTest, CurrentOneUndergoesTheIdentityRule) {
    m_fake.signalFault = {.call = 1, .error = EINVAL};
    EXPECT_EQ(Process::GetCurrent().GetId(), 0u);
}

TEST_F(ProcessTest, ZeroIsNoProcess) {
    EXPECT_EQ(Process::Get(0).GetId(), 0u);
    EXPECT_FALSE(Process::Get(0).IsValid());
    EXPECT_FALSE(Process::Get(0).IsElevated());
    Process::Get(0).Terminate();
    EXPECT_THAT(m_fake.signals, IsEmpty());
    EXPECT_EQ(m_fake.informationFault.calls, 0);
}

TEST_F(ProcessTest, LiveOneIsKept) {
    EXPECT_EQ(Process::Get(4711).GetId(), 4711u);
    EXPECT_TRUE(Process::Get(4711).IsValid());
}

TEST_F(ProcessTest, OneOfAnotherUserIsKeptAndValid) {
    m_fake.processes.push_back({.id = 9, .signalError = EPERM});
    EXPECT_EQ(Process::Get(9).GetId(), 9u);
    EXPECT_TRUE(Process{9}.IsValid());
}

TEST_F(ProcessTest, UnusedNumberIsNoProcess) {
    EXPECT_EQ(Process::Get(9).GetId(), 0u);
    EXPECT_FALSE(Process{9}.IsValid());
}

TEST_F(ProcessTest, AnyOtherFailureOfTheProbeIsNoProcess) {
    m_fake.processes.push_back({.id = 9, .signalError = EINVAL});
    EXPECT_EQ(Process::Get(9).GetId(), 0u);
    EXPECT_FALSE(Process{9}.IsValid());
}

TEST_F(ProcessTest, NumberBeyondTheSystemsNamesNoProcessAndSignalsNoGroup) {
    errno = EPERM;
    for (const std::uint64_t id : {widenedMinusOne, widenedMinusOne - 4710, std::uint64_t{1} << 31,
                                   std::uint64_t{1} << 32, (std::uint64_t{1} << 32) + 4711}) {
        EXPECT_EQ(Process::Get(id).GetId(), 0u) << id;
        EXPECT_FALSE(Process{id}.IsValid()) << id;
        EXPECT_FALSE(Process{id}.IsElevated()) << id;
        Process{id}.Terminate();
        std::string name = "before";
        EXPECT_STREQ(Process{id}.GetName(name), "before") << id;
    }
    EXPECT_THAT(m_fake.signals, IsEmpty());
}

TEST_F(ProcessTest, NumberBeyondTheSystemsIsAskedForAsMinusOne) {
    m_fake.processes = {{.id = -1, .path = "/a/Tool"}};
    std::string name;
    EXPECT_STREQ(Process{std::uint64_t{1} << 31}.GetName(name), "Tool");
}

TEST_F(ProcessTest, ExecutableIsCalledAsItsProgram) {
    EXPECT_EQ(Process::GetExecutableName("TovraCoreService"), "TovraCoreService");
    EXPECT_EQ(Process::GetExecutableName(""), "");
}

TEST_F(ProcessTest, ArgumentsNeedNoEscape) {
    std::string argument = "a \"b\" \\ 'c' $d";
    Process::EscapeArgument(argument);
    EXPECT_EQ(argument, "a \"b\" \\ 'c' $d");
}

class ProcessStartTest : public ProcessTest {
protected:
    ProcessStartTest() {
        for (const char* const name : {"HOME", "USER", "LOGNAME", "TMPDIR", "LANG", "DISPLAY", "XAUTHORITY"}) {
            m_values.emplace_back(name, std::nullopt);
        }
    }

    std::deque<EnvironmentValue> m_values;
};

TEST_F(ProcessStartTest, GivesTheNumberOfTheChildUnprobed) {
    EXPECT_EQ(Process::Start("/bin/x", {}).GetId(), 5000u);
    EXPECT_THAT(m_fake.signals, IsEmpty());
}

TEST_F(ProcessStartTest, PassesThePathAndThenTheArgumentsUnquoted) {
    Process::Start("relative/./x y", {"-a b", "", "\"c\""});
    ASSERT_EQ(m_fake.spawns.size(), 1u);
    EXPECT_EQ(m_fake.spawns[0].path, "relative/./x y");
    EXPECT_THAT(m_fake.spawns[0].arguments, ElementsAre("relative/./x y", "-a b", "", "\"c\""));
}

TEST_F(ProcessStartTest, PassesASearchPathOfItsOwnAndNothingThatIsNotSet) {
    const EnvironmentValue path("PATH", "/evil");
    const EnvironmentValue preload("LD_PRELOAD_OF_OURS", "x");
    Process::Start("/bin/x", {});
    EXPECT_THAT(m_fake.spawns.at(0).environment, ElementsAre("PATH=/usr/bin:/bin:/usr/sbin:/sbin"));
}

TEST_F(ProcessStartTest, PassesTheSevenVariablesThatAreSet) {
    const EnvironmentValue home("HOME", "/home/a");
    const EnvironmentValue user("USER", "a");
    const EnvironmentValue logName("LOGNAME", "b");
    const EnvironmentValue temporary("TMPDIR", "/t=1");
    const EnvironmentValue language("LANG", "");
    const EnvironmentValue display("DISPLAY", ":7");
    const EnvironmentValue authority("XAUTHORITY", "/run/user/1/key");
    Process::Start("/bin/x", {});
    EXPECT_THAT(m_fake.spawns.at(0).environment,
                ElementsAre("PATH=/usr/bin:/bin:/usr/sbin:/sbin", "HOME=/home/a", "USER=a", "LOGNAME=b", "TMPDIR=/t=1",
                            "LANG=", "DISPLAY=:7", "XAUTHORITY=/run/user/1/key"));
}

TEST_F(ProcessStartTest, FailureIsAnAssertionThatNamesThePath) {
    m_fake.spawnFault = {.call = 1, .result = ENOENT};
    EXPECT_ASSERTION(Process::Start("/no/such program", {"x"}), "false", "Failed to start process: /no/such program");
}

TEST_F(ProcessTest, NameIsTheBaseNameOfTheExecutable) {
    EXPECT_EQ(GetName("/usr/bin/program"), "program");
    EXPECT_EQ(GetName("program"), "program");
    EXPECT_EQ(GetName("/a b/c.d"), "c.d");
    EXPECT_EQ(GetName("/usr/bin/"), "bin");
    EXPECT_EQ(GetName("/usr/bin///"), "bin");
    EXPECT_EQ(GetName("bin/"), "bin");
    EXPECT_EQ(GetName("/"), "/");
    EXPECT_EQ(GetName("///"), "/");
}

TEST_F(ProcessTest, NameOfAPathThatIsEmptyInSpiteOfItsLengthIsADot) {
    m_fake.pathFault = {.call = 1, .result = 1};
    EXPECT_EQ(GetName("/usr/bin/program"), ".");
}

TEST_F(ProcessTest, NameOfTheLongestPathIsWhole) {
    EXPECT_EQ(GetName('/' + std::string(4094, 'x')), std::string(4094, 'x'));
}

TEST_F(ProcessTest, NameInABundleIsTheBundlesDisplayName) {
    m_fake.bundleNames["/Applications/Foo.app"] = "Foo Display";
    EXPECT_EQ(GetName("/Applications/Foo.app/Contents/MacOS/foo"), "Foo Display");
}

TEST_F(ProcessTest, BundleWithoutNameGivesTheBaseName) {
    EXPECT_EQ(GetName("/Applications/Foo.app/Contents/MacOS/foo"), "foo");
}

TEST_F(ProcessTest, PathIsCutAtTheFirstAppEvenInAFoldersName) {
    m_fake.bundleNames["/opt/x.app"] = "Cut";
    m_fake.bundleNames["/opt/x.application/bin/y.app"] = "Uncut";
    EXPECT_EQ(GetName("/opt/x.application/bin/y.app/z"), "Cut");
    m_fake.bundleNames.erase("/opt/x.app");
    EXPECT_EQ(GetName("/opt/x.application/bin/y"), "y");
    EXPECT_EQ(GetName("/opt/x.application/bin/y.app/z"), "z");
}

TEST_F(ProcessTest, PathWithoutAppIsLookedForAsABundleWhole) {
    m_fake.bundleNames["/opt/plugin.bundle"] = "Plug-in";
    EXPECT_EQ(GetName("/opt/plugin.bundle"), "Plug-in");
}

TEST_F(ProcessTest, BundleNameOf255BytesIsWholeAndALongerOneEmpty) {
    m_fake.bundleNames["/a.app"] = std::string(255, 'n');
    EXPECT_EQ(GetName("/a.app/x"), std::string(255, 'n'));
    m_fake.bundleNames["/a.app"] = std::string(256, 'n');
    EXPECT_EQ(GetName("/a.app/x"), "");
}

TEST_F(ProcessTest, UnreadablePathLeavesTheNameAsItWas) {
    m_fake.processes = {{.id = 7, .path = "/bin/x", .pathError = EACCES}};
    std::string name = "before";
    EXPECT_EQ(Process{7}.GetName(name), name.data());
    EXPECT_EQ(name, "before");
    m_fake.processes[0].pathError = 0;
    m_fake.pathFault = {.call = 1, .result = -1, .error = ESRCH};
    Process{7}.GetName(name);
    EXPECT_EQ(name, "before");
}

TEST_F(ProcessTest, EmptyFilterVisitsEveryRecordInOrderWithItsNumberWidenedBySign) {
    m_fake.processes = {{.id = 30}, {.id = 0}, {.id = 4}, {.id = -2}};
    EXPECT_THAT(Visit(""), ElementsAre(30u, 0u, 4u, widenedMinusOne - 1));
    EXPECT_THAT(m_fake.signals, IsEmpty());
    EXPECT_EQ(m_fake.pathFault.calls, 0);
    EXPECT_EQ(m_fake.freedTables, 1);
}

TEST_F(ProcessTest, FilterVisitsWhatIsCalledExactlySo) {
    m_fake.processes = {{.id = 1, .path = "/a/Tool"},  {.id = 2, .path = "/b/tool"}, {.id = 3, .path = "/Tool/x"},
                        {.id = 4, .path = "/a/Tools"}, {.id = 5, .path = "/a/Too"},  {.id = 6, .path = "/c/Tool"},
                        {.id = 0, .path = "/c/Tool"},  {.id = 8, .path = "/a/ATool"}};
    EXPECT_THAT(Visit("Tool"), ElementsAre(1u, 6u, 0u));
    EXPECT_THAT(Visit(std::string_view("Tool\0", 5)), IsEmpty());
    EXPECT_THAT(Visit("/a/Tool"), IsEmpty());
}

TEST_F(ProcessTest, UnreadableOneGoesByTheNameOfTheOneBeforeIt) {
    m_fake.processes = {{.id = 1, .pathError = EPERM}, {.id = 2, .path = "/a/Tool"},  {.id = 3, .pathError = EPERM},
                        {.id = 4, .pathError = EPERM}, {.id = 5, .path = "/a/Other"}, {.id = 6, .pathError = EPERM},
                        {.id = 7, .path = "/b/Tool"}};
    EXPECT_THAT(Visit("Tool"), ElementsAre(2u, 3u, 4u, 7u));
    EXPECT_THAT(Visit("Other"), ElementsAre(5u, 6u));
}

TEST_F(ProcessTest, NameIsNotCarriedFromOneWalkIntoTheNext) {
    m_fake.processes = {{.id = 1, .pathError = EPERM}, {.id = 2, .path = "/a/Tool"}};
    Visit("Tool");
    EXPECT_THAT(Visit("Tool"), ElementsAre(2u));
}

TEST_F(ProcessTest, VisitorMayTakeAllTime) {
    m_fake.processes = {{.id = 1, .path = "/a/Tool"}, {.id = 2, .path = "/a/Tool"}};
    std::vector<bool> wereThere;
    Process::ForEachProcess(
        [&](Process& process) {
            wereThere.push_back(process.IsValid());
            m_fake.processes.clear();
        },
        "");
    EXPECT_THAT(wereThere, ElementsAre(true, false));
}

TEST_F(ProcessTest, TableIsFreedWhenAVisitorThrows) {
    EXPECT_THROW(Process::ForEachProcess([](Process&) { throw 1; }, ""), int);
    EXPECT_EQ(m_fake.freedTables, 1);
}

TEST_F(ProcessTest, FailedSizeQueryVisitsNobody) {
    m_fake.tableFault = {.call = 1, .error = EPERM};
    EXPECT_THAT(Visit(""), IsEmpty());
    EXPECT_EQ(m_fake.tableFault.calls, 1);
    EXPECT_EQ(m_fake.allocationFault.calls, 0);
}

TEST_F(ProcessTest, FailedAllocationVisitsNobody) {
    m_fake.allocationFault = {.call = 1, .error = ENOMEM};
    EXPECT_THAT(Visit(""), IsEmpty());
    EXPECT_EQ(m_fake.tableFault.calls, 1);
    EXPECT_EQ(m_fake.freedTables, 0);
}

TEST_F(ProcessTest, TableThatOutgrewItsBufferVisitsNobodyAndIsNotAskedForAgain) {
    m_fake.tableFault = {.call = 2, .error = ENOMEM};
    EXPECT_THAT(Visit(""), IsEmpty());
    EXPECT_EQ(m_fake.tableFault.calls, 2);
    EXPECT_EQ(m_fake.freedTables, 1);
}

TEST_F(ProcessTest, TableOfLessThanARecordVisitsNobody) {
    for (const std::size_t size : {0u, 647u}) {
        m_fake.tableSize = size;
        EXPECT_THAT(Visit(""), IsEmpty());
    }
    EXPECT_EQ(m_fake.freedTables, 2);
}

TEST_F(ProcessTest, BrokenRecordAtTheEndIsLeftOut) {
    m_fake.processes = {{.id = 1}, {.id = 2}};
    m_fake.tableSize = 2 * 648 - 1;
    EXPECT_THAT(Visit(""), ElementsAre(1u));
}

TEST_F(ProcessTest, TerminateAllKillsAllOfThatNameAndNobodyElse) {
    m_fake.processes = {{.id = 1, .path = "/a/Tool"}, {.id = 2, .path = "/a/Other"}, {.id = 3, .path = "/b/Tool"}};
    EXPECT_TRUE(Process::TerminateAll("Tool"));
    EXPECT_THAT(m_fake.signals, ElementsAre(Signal{1, SIGKILL}, Signal{3, SIGKILL}));
}

TEST_F(ProcessTest, TerminateAllReachesAnUnreadableOneBehindANamesake) {
    m_fake.processes = {{.id = 1, .path = "/a/Tool"}, {.id = 2, .pathError = EPERM}};
    EXPECT_TRUE(Process::TerminateAll("Tool"));
    EXPECT_THAT(m_fake.signals, ElementsAre(Signal{1, SIGKILL}, Signal{2, SIGKILL}));
}

TEST_F(ProcessTest, TerminateAllIsFalseForANameThatNobodyHas) {
    EXPECT_FALSE(Process::TerminateAll("Nobody"));
    EXPECT_THAT(m_fake.signals, IsEmpty());
}

TEST_F(ProcessTest, TerminateAllIsTrueEvenIfNobodyDied) {
    m_fake.processes = {{.id = 1, .path = "/a/Tool", .signalError = EPERM}};
    EXPECT_TRUE(Process::TerminateAll("Tool"));
    EXPECT_TRUE(Process{1}.IsValid());
}

TEST_F(ProcessTest, TerminateAllNeverSignalsTheNumberZeroOrAGroup) {
    m_fake.processes = {{.id = 0, .path = "/a/Tool"}, {.id = -1, .path = "/a/Tool"}};
    EXPECT_TRUE(Process::TerminateAll("Tool"));
    EXPECT_THAT(m_fake.signals, IsEmpty());
}

/// Two namesakes, with a stranger between them.
class ProcessHeldTest : public ProcessTest {
protected:
    ProcessHeldTest() {
        m_fake.processes = {{.id = 1, .path = "/a/Tool"}, {.id = 2, .path = "/a/Other"}, {.id = 3, .path = "/b/Tool"}};
    }

    /// Ends the process 3 and starts a stranger under its id.
    void Reuse() const { m_fake.processes.back() = {.id = 3, .path = "/a/Stranger", .incarnation = 1}; }
};

TEST_F(ProcessHeldTest, IsNotTakenForAStrangerThatGetsItsNumberAsSoonAsItsNameWasRead) {
    m_fake.onPathRead = [this] {
        if (m_fake.pathFault.calls == 3) {
            Reuse();
        }
    };
    EXPECT_TRUE(Process::TerminateAll("Tool"));
    EXPECT_THAT(m_fake.GetKills(), ElementsAre(Signal{1, SIGKILL}));
}

TEST_F(ProcessHeldTest, IsNotTakenForAStrangerThatGetsItsNumberInTheVisitor) {
    Process::ForEachProcess(
        [this](Process& process) {
            if (process.GetId() == 3) {
                Reuse();
            }
            process.Terminate();
        },
        "Tool");
    EXPECT_THAT(m_fake.GetKills(), ElementsAre(Signal{1, SIGKILL}));
}

TEST_F(ProcessHeldTest, IsNotSignalledIfItEndedBefore) {
    m_fake.holdFault = {.call = 2, .error = ESRCH};
    EXPECT_TRUE(Process::TerminateAll("Tool"));
    EXPECT_THAT(m_fake.GetKills(), ElementsAre(Signal{1, SIGKILL}));
}

TEST_F(ProcessHeldTest, IsNotSignalledIfNoDescriptorIsLeft) {
    m_fake.holdFault = {.call = 1, .error = EMFILE};
    EXPECT_TRUE(Process::TerminateAll("Tool"));
    EXPECT_THAT(m_fake.GetKills(), ElementsAre(Signal{3, SIGKILL}));
}

TEST_F(ProcessHeldTest, IsSignalledByItsNumberWhereTheSystemHoldsNone) {
    m_fake.holdFault = {.call = 1, .lasts = true, .error = ENOSYS};
    EXPECT_TRUE(Process::TerminateAll("Tool"));
    EXPECT_THAT(m_fake.GetKills(), ElementsAre(Signal{1, SIGKILL}, Signal{3, SIGKILL}));
}

TEST_F(ProcessHeldTest, IsSignalledThroughTheLowestDescriptorToo) {
    m_fake.holdFault = {.call = 1, .result = 0, .error = EAGAIN};
    m_fake.held.emplace(0, m_fake.processes[1]);
    EXPECT_TRUE(Process::TerminateAll("Other"));
    EXPECT_THAT(m_fake.GetKills(), ElementsAre(Signal{2, SIGKILL}));
    EXPECT_THAT(m_fake.held, IsEmpty());
}

TEST_F(ProcessHeldTest, IsTheOneThatIsVisitedAndNoOther) {
    m_fake.processes.insert(m_fake.processes.begin(), {.id = 4, .path = "/a/Neither"});
    Process::ForEachProcess(
        [](Process&) { Process::ForEachProcess([](Process&) { Process{4}.Terminate(); }, "Other"); }, "Tool");
    EXPECT_THAT(m_fake.GetKills(), ElementsAre(Signal{4, SIGKILL}, Signal{4, SIGKILL}));
}

TEST_F(ProcessHeldTest, StaysHeldInAnInnerVisitAndBehindIt) {
    Process::ForEachProcess(
        [this](Process& outer) {
            Process::ForEachProcess(
                [&](Process&) {
                    if (outer.GetId() == 3) {
                        Reuse();
                        outer.Terminate();
                    }
                },
                "Other");
            outer.Terminate();
        },
        "Tool");
    EXPECT_THAT(m_fake.GetKills(), ElementsAre(Signal{1, SIGKILL}));
}

TEST_F(ProcessHeldTest, IsHeldWhileItsNameIsReadAgainAndWhileItIsSignalled) {
    std::vector<std::size_t> held;
    m_fake.onPathRead = [&] { held.push_back(m_fake.held.size()); };
    EXPECT_TRUE(Process::TerminateAll("Other"));
    EXPECT_THAT(held, ElementsAre(0u, 0u, 1u, 0u));
    EXPECT_THAT(m_fake.GetKills(), ElementsAre(Signal{2, SIGKILL}));
    EXPECT_THAT(m_fake.held, IsEmpty());
}

TEST_F(ProcessHeldTest, IsNotTakenForAStrangerThatGetsItsNumberBeforeItIsHeld) {
    Process::ForEachProcess(
        [this](Process& process) {
            Reuse();
            process.Terminate();
        },
        "Tool");
    EXPECT_THAT(m_fake.GetKills(), ElementsAre(Signal{1, SIGKILL}));
}

TEST_F(ProcessHeldTest, IsNotTakenForAStrangerThatGetsItsNumberAsSoonAsItsNameWasReadAgain) {
    m_fake.onPathRead = [this] {
        if (m_fake.pathFault.calls == 5) {
            Reuse();
        }
    };
    EXPECT_TRUE(Process::TerminateAll("Tool"));
    EXPECT_THAT(m_fake.GetKills(), ElementsAre(Signal{1, SIGKILL}));
}

TEST_F(ProcessHeldTest, IsNotSignalledIfItsNameCannotBeReadAgain) {
    m_fake.pathFault = {.call = 5, .error = ESRCH};
    EXPECT_TRUE(Process::TerminateAll("Tool"));
    EXPECT_THAT(m_fake.GetKills(), ElementsAre(Signal{1, SIGKILL}));
}

TEST_F(ProcessHeldTest, CountsAsAVisitNoLongerThanItsVisit) {
    Process::ForEachProcess([](Process&) {}, "Tool");
    EXPECT_THROW(Process::ForEachProcess([](Process&) { throw 1; }, "Tool"), int);
    Reuse();
    Process{3}.Terminate();
    EXPECT_THAT(m_fake.GetKills(), ElementsAre(Signal{3, SIGKILL}));
    EXPECT_EQ(m_fake.holds, 0);
}

TEST_F(ProcessHeldTest, GoesByTheNameOfTheOneBeforeItIfItsOwnCannotBeRead) {
    m_fake.processes[1].pathError = EPERM;
    EXPECT_TRUE(Process::TerminateAll("Tool"));
    EXPECT_THAT(m_fake.GetKills(), ElementsAre(Signal{1, SIGKILL}, Signal{2, SIGKILL}, Signal{3, SIGKILL}));
}

TEST_F(ProcessHeldTest, IsHeldOnlyWhereItIsEnded) {
    Visit("");
    Visit("Tool");
    EXPECT_EQ(m_fake.holds, 0);
}

TEST_F(ProcessTest, TerminateAllNeedsAName) {
    EXPECT_ASSERTION(Process::TerminateAll(""), "!filterName.empty()",
                     "Parameter 'filterName' must be non-null and non-empty.");
}

TEST_F(ProcessTest, IsElevatedAsEffectiveUserZero) {
    EXPECT_FALSE(Process{4711}.IsElevated());
    m_fake.processes[0].effectiveUserId = 0;
    EXPECT_TRUE(Process{4711}.IsElevated());
}

TEST_F(ProcessTest, IsNotElevatedIfNothingIsKnownOfIt) {
    EXPECT_FALSE(Process{9}.IsElevated());
    m_fake.processes[0].effectiveUserId = 0;
    for (const int result : {-1, 0, 135, 137}) {
        m_fake.informationFault = {.call = 1, .result = result, .error = EPERM};
        EXPECT_FALSE(Process{4711}.IsElevated()) << result;
    }
}

TEST_F(ProcessTest, TerminateSendsTheSignalThatNobodyRefuses) {
    Process{4711}.Terminate();
    EXPECT_THAT(m_fake.signals, ElementsAre(Signal{4711, 9}));
    EXPECT_FALSE(Process{4711}.IsValid());
}

TEST_F(ProcessTest, FailedTerminationGoesNoFurther) {
    m_fake.processes[0].signalError = EPERM;
    Process{4711}.Terminate();
    EXPECT_THAT(m_fake.signals, ElementsAre(Signal{4711, 9}));
    EXPECT_TRUE(Process{4711}.IsValid());
}

/// Expects the lines of the log.
class ProcessMessagesTest : public ::testing::Test {
protected:
    ProcessMessagesTest() { EXPECT_TRUE(m_log.Initialize()); }

    void ExpectLines(const std::vector<std::string>& lines) const {
        EXPECT_THAT(m_log.ReadAll(), Tovra::Tests::AreLogLines(lines));
    }

    static void Walk() {
        EXPECT_EQ(Process::ForEachProcess([](Process&) {}, ""), 0u);
    }

    ProcessOperations& m_fake = Tovra::Tests::Fakes::processOperations;
    Tovra::Tests::TestLogger m_log;
};

TEST_F(ProcessMessagesTest, TellATerminationThatWorked) {
    m_fake.processes = {{.id = 2147483647}};
    Process{2147483647}.Terminate();
    ExpectLines({"System] Info: Process '2147483647' terminated successfully."});
}

TEST_F(ProcessMessagesTest, TellATerminationThatFailed) {
    Process{9}.Terminate();
    Process{widenedMinusOne}.Terminate();
    ExpectLines({"System] Info: Process '9' termination failed.",
                 "System] Info: Process '18446744073709551615' termination failed."});
}

TEST_F(ProcessMessagesTest, TellOfAHeldProcessWhetherItsTerminationWorked) {
    m_fake.processes = {{.id = 1, .path = "/a/Tool"}, {.id = 2, .path = "/a/Tool", .signalError = EPERM}};
    EXPECT_TRUE(Process::TerminateAll("Tool"));
    ExpectLines(
        {"System] Info: Process '1' terminated successfully.", "System] Info: Process '2' termination failed."});
}

TEST_F(ProcessMessagesTest, TellOfAProcessThatCannotBeHeldWhetherItsTerminationWorked) {
    for (const int error : {ENOSYS, EMFILE}) {
        m_fake.processes = {{.id = 1, .path = "/a/Tool"}};
        m_fake.holdFault = {.call = 1, .error = error};
        EXPECT_TRUE(Process::TerminateAll("Tool"));
    }
    ExpectLines(
        {"System] Info: Process '1' terminated successfully.", "System] Info: Process '1' termination failed."});
}

TEST_F(ProcessMessagesTest, TellInAWalkByNameWhyAPathCannotBeRead) {
    m_fake.processes = {{.id = 1, .path = "/a/Tool"}, {.id = 2, .pathError = EPERM}};
    EXPECT_EQ(Process::ForEachProcess([](Process&) {}, "Tool"), 2u);
    ExpectLines({"System] Warning: Failed to obtain name of process: Operation not permitted"});
}

TEST_F(ProcessMessagesTest, TellWhyAPathCannotBeRead) {
    std::string name;
    Process{9}.GetName(name);
    m_fake.processes = {{.id = 9, .pathError = EACCES}};
    Process{9}.GetName(name);
    ExpectLines({"System] Warning: Failed to obtain name of process: No such process",
                 "System] Warning: Failed to obtain name of process: Permission denied"});
}

TEST_F(ProcessMessagesTest, TellThatTheTablesSizeIsUnknown) {
    m_fake.tableFault = {.call = 1, .error = EPERM};
    Walk();
    ExpectLines({"System] Error: Failed to get process count."});
}

TEST_F(ProcessMessagesTest, TellThatThereIsNoMemoryForTheTable) {
    m_fake.allocationFault = {.call = 1, .error = ENOMEM};
    Walk();
    ExpectLines({"System] Error: Failed to allocate process structure."});
}

TEST_F(ProcessMessagesTest, TellThatTheTableCannotBeRead) {
    m_fake.tableFault = {.call = 2, .error = ENOMEM};
    Walk();
    ExpectLines({"System] Error: Failed to retrieve process information."});
}

TEST_F(ProcessMessagesTest, TellNothingElse) {
    m_fake.processes.push_back({.id = 9, .path = "/bin/other", .signalError = EPERM});
    Process::Get(9).IsValid();
    Process{10}.IsElevated();
    Process{0}.Terminate();
    std::string name;
    Process{9}.GetName(name);
    EXPECT_FALSE(Process::TerminateAll("Nobody"));
    m_fake.tableSize = 647;
    Walk();
    ExpectLines({});
}

// Without an application every message is a failed assertion, by which a test sees that there was one.
class ProcessWithoutApplicationTest : public ::testing::Test {
protected:
    template <class Action>
    static void ExpectMessage(const Action& action) {
        EXPECT_ASSERTION(action(), "s_instance != nullptr", "No application instance was created.");
    }

    static void ExpectMessageOfWalk() {
        ExpectMessage([] { Process::ForEachProcess([](Process&) {}, ""); });
    }

    ProcessOperations& m_fake = Tovra::Tests::Fakes::processOperations;
};

TEST_F(ProcessWithoutApplicationTest, TerminationIsLoggedWhetherOrNotItWorks) {
    ExpectMessage([] { Process{4711}.Terminate(); });
    ExpectMessage([] { Process{9}.Terminate(); });
}

TEST_F(ProcessWithoutApplicationTest, TerminationOfTheProcessZeroIsNotLogged) {
    Process{0}.Terminate();
    EXPECT_THAT(m_fake.signals, IsEmpty());
}

TEST_F(ProcessWithoutApplicationTest, UnreadablePathIsLogged) {
    ExpectMessage([] {
        std::string name;
        Process{9}.GetName(name);
    });
}

TEST_F(ProcessWithoutApplicationTest, TableThatCannotBeReadIsLogged) {
    m_fake.tableFault = {.call = 1, .error = EPERM};
    ExpectMessageOfWalk();
    m_fake.tableFault = {.call = 2, .error = ENOMEM};
    ExpectMessageOfWalk();
    m_fake.tableFault = {};
    m_fake.allocationFault = {.call = 1, .error = ENOMEM};
    ExpectMessageOfWalk();
}

TEST_F(ProcessWithoutApplicationTest, WhatWorksAndWhatNobodyMissesIsNotLogged) {
    m_fake.processes.push_back({.id = 9, .path = "/bin/other", .signalError = EPERM});
    EXPECT_TRUE(Process::Get(9).IsValid());
    EXPECT_FALSE(Process{10}.IsValid());
    EXPECT_FALSE(Process{10}.IsElevated());
    EXPECT_FALSE(Process::TerminateAll("Nobody"));
    m_fake.tableSize = 647;
    EXPECT_EQ(Process::ForEachProcess([](Process&) {}, ""), 0u);
}

} // namespace
