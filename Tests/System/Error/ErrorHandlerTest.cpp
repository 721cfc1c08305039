// How a process with the real error handler ends: each test starts ErrorHandlerChild and checks its outputs.

#include <Support/Folders.h>
#include <Support/InChild.h>
#include <Support/Program.h>
#include <Support/SystemOperations.h>
#include <Support/TemporaryFolder.h>
#include <System/Error/ErrorHandlerTexts.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <climits>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <ostream>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace Tovra::Tests {

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

using Actions = std::vector<std::string>;

/// Content of a file before a report is written to it: longer than any report.
const std::string laidText(4000, 'x');

/// Removes the error handler's own line numbers.
std::string WithoutOwnLines(const std::string& text);

std::string Read(const std::filesystem::path& path);

auto EndsBySignal(int signal) {
    return AllOf(Field("timedOut", &ProgramResult::timedOut, false), Field("signal", &ProgramResult::signal, signal));
}

auto EndsByItself() {
    return AllOf(Field("timedOut", &ProgramResult::timedOut, false), Field("signal", &ProgramResult::signal, 0),
                 Field("status", &ProgramResult::status, 0));
}

/// Removes the times from log lines.
std::string WithoutTimes(const std::string& text);

struct LoggedResult {
    ProgramResult result;
    std::string console; ///< The standard output without times.
    std::string file;    ///< The log files without times.
};

/// A home folder, and a working folder beside it.
class ErrorHandlerTest : public ::testing::Test {
protected:
    ErrorHandlerTest() { std::filesystem::create_directories(GetWorkingFolder()); }

    std::filesystem::path GetHomeFolder() const { return m_folder.GetPath() / "home"; }
    std::filesystem::path GetWorkingFolder() const { return m_folder.GetPath() / "work"; }
    std::filesystem::path GetLogFolder() const { return GetHomeFolder() / ".tovra" / "Logs"; }

    /// Calls `lay` with the path of each dump file that a report may search for during the child's life.
    void ForEachCandidate(const std::filesystem::path& folder, const std::string& prefix,
                          const std::function<void(const std::filesystem::path&)>& lay);

    void LayFiles(const std::filesystem::path& folder, const std::string& prefix) {
        ForEachCandidate(folder, prefix, [](const auto& path) { std::ofstream(path) << laidText; });
    }

    /// Lays the files for children with and without an application.
    void LayFiles() {
        LayFiles(GetLogFolder(), "Name_ERROR_");
        LayFiles(GetWorkingFolder(), "ERROR_");
    }

    /// The texts of the laid files that were written to, by time.
    std::vector<std::string> GetDumps() const;

    Program GetProgram(const Actions& actions) const;

    /// With a stack limit in KiB, or "unlimited", which a process may raise.
    Program GetProgramWithStack(const std::string& limit, const Actions& actions) const;

    static ProgramResult RunChild(const Program& program);

    ProgramResult RunChild(const Actions& actions) const { return RunChild(GetProgram(actions)); }

    /// With an application and an initialised handler.
    ProgramResult RunWithApplication(Actions actions) const;

    /// With a logger as well.
    LoggedResult RunWithLogger(Actions actions, const std::string& logger = "logger") const;

    void RemoveLogs() const {
        ForEachLog([](const auto& path) { std::filesystem::remove(path); });
    }

    void ForEachLog(const std::function<void(const std::filesystem::path&)>& visit) const;

    TemporaryFolder m_folder;
    std::vector<std::filesystem::path> m_candidates;
};

// Signals

struct SignalCase {
    std::string action;
    std::string text;
};

const std::vector<SignalCase> signalCases{
    {"raise 15", terminationText},
    {"raise 11", accessText},
    {"raise 2", interruptText},
    {"raise 4", instructionText},
    {"raise 6", abortText},
    {"raise 8", arithmeticText},
    {"OnSignal 1", unknownText},
    {"abort", abortText},
    {"access an invalid address", accessText},
    {"execute an invalid instruction", instructionText},
    {"divide by zero", arithmeticText},
};

TEST_F(ErrorHandlerTest, EverySignalSaysItsTextAndEndsInAnAbort) {
    LayFiles();
    for (const SignalCase& signalCase : signalCases) {
        SCOPED_TRACE(signalCase.action);
        const ProgramResult result = RunWithApplication({signalCase.action});
        EXPECT_THAT(result, EndsBySignal(SIGABRT));
        EXPECT_EQ(result.errors, signalCase.text);
    }
    EXPECT_THAT(GetDumps(), IsEmpty());
}

TEST_F(ErrorHandlerTest, ASignalNeedsNoFileToReportTo) {
    for (const SignalCase& signalCase : signalCases) {
        SCOPED_TRACE(signalCase.action);
        const ProgramResult result = RunWithApplication({signalCase.action});
        EXPECT_THAT(result, EndsBySignal(SIGABRT));
        EXPECT_EQ(result.errors, signalCase.text);
    }
    EXPECT_TRUE(std::filesystem::is_empty(GetLogFolder()));
    EXPECT_TRUE(std::filesystem::is_empty(GetWorkingFolder()));
}

TEST_F(ErrorHandlerTest, ASignalFromOutsideEndsInAnAbortToo) {
    for (const auto& [number, text] : {std::pair(SIGTERM, terminationText), std::pair(SIGINT, interruptText)}) {
        RunningProgram child(GetProgram({"application", "initialize", "ready"}));
        ASSERT_TRUE(child.WaitForOutput("ready"));
        child.Signal(number);
        const ProgramResult result = child.Wait();
        EXPECT_THAT(result, EndsBySignal(SIGABRT));
        EXPECT_EQ(result.errors, text);
    }
}

TEST_F(ErrorHandlerTest, ASignalInAThreadIsReportedThere) {
    const ProgramResult result = RunWithApplication({"in thread:", "raise 8"});
    EXPECT_THAT(result, EndsBySignal(SIGABRT));
    EXPECT_EQ(result.errors, arithmeticText);
}

const std::vector<std::pair<int, std::string>> sentSignals{
    {SIGTERM, terminationText}, {SIGSEGV, accessText}, {SIGABRT, abortText}};

TEST_F(ErrorHandlerTest, ASignalWhileTheLocalTimeIsComputedIsReportedBehindThat) {
    for (const auto& [number, text] : sentSignals) {
        const LoggedResult result =
            RunWithLogger({"in thread:", "while the time is computed raise " + std::to_string(number)});
        EXPECT_THAT(result.result, EndsBySignal(SIGABRT));
        EXPECT_EQ(result.result.errors, text);
        EXPECT_THAT(result.file, ::testing::HasSubstr(text));
        std::filesystem::remove(GetWorkingFolder() / "zone");
    }
}

TEST_F(ErrorHandlerTest, ASignalAmongThreadsThatFillTheLogEndsTheProcess) {
    constexpr int runCount = 8;
    for (int run = 0; run < runCount; ++run) {
        for (const auto& [number, text] : sentSignals) {
            RemoveLogs();
            RunningProgram child(GetProgram(
                {"application", "initialize", "logger", "write the console's lines nowhere", "log without end"}));
            ASSERT_TRUE(child.WaitForOutput("nowhere"));
            std::this_thread::sleep_for(std::chrono::milliseconds(25 * run));
            child.Signal(number);
            const ProgramResult result = child.Wait();
            EXPECT_THAT(result, EndsBySignal(SIGABRT)) << "run " << run << ", signal " << number;
            EXPECT_EQ(result.errors, text);
        }
    }
}

TEST_F(ErrorHandlerTest, ASignalThatInterruptsALogLineOnItsWayToTheConsoleIsReported) {
    const LoggedResult result = RunWithLogger({"interrupt std::cout", "log"});
    EXPECT_THAT(result.result, EndsBySignal(SIGABRT));
    EXPECT_EQ(result.result.errors, terminationText);
    EXPECT_THAT(result.console, ::testing::HasSubstr(terminationText));
    EXPECT_THAT(result.file, ::testing::HasSubstr(terminationText));
}

TEST_F(ErrorHandlerTest, ASignalThatInterruptsAReportIsReported) {
    LayFiles();
    const ProgramResult result = RunWithApplication({"interrupt std::cerr", "handled std::exception"});
    EXPECT_THAT(result, EndsBySignal(SIGABRT));
    EXPECT_EQ(result.errors, terminationText);
}

TEST_F(ErrorHandlerTest, OtherSignalsAreNotTakenOver) {
    for (const int number : {SIGHUP, SIGQUIT, SIGPIPE, SIGALRM, SIGUSR1, SIGTRAP}) {
        const ProgramResult result = RunWithApplication({"raise " + std::to_string(number)});
        EXPECT_THAT(result, EndsBySignal(number));
        EXPECT_EQ(result.errors, "");
    }
}

TEST_F(ErrorHandlerTest, ASignalWithoutApplicationEndsInTheAssertionThatMissesIt) {
    LayFiles();
    for (const SignalCase& signalCase : signalCases) {
        SCOPED_TRACE(signalCase.action);
        const ProgramResult result = RunChild(Actions{signalCase.action});
        EXPECT_THAT(result, EndsBySignal(SIGSEGV));
        EXPECT_EQ(result.errors, signalCase.text + noApplicationBlock);
    }
    const std::vector<std::string> dumps = GetDumps();
    EXPECT_FALSE(dumps.empty());
    EXPECT_THAT(dumps, ::testing::Each(noApplicationBlock));
}

TEST_F(ErrorHandlerTest, ASignalWithoutApplicationAndFileSaysItsTextAlone) {
    const ProgramResult result = RunChild(Actions{"raise 15"});
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    EXPECT_EQ(result.errors, terminationText);
    EXPECT_TRUE(std::filesystem::is_empty(GetWorkingFolder()));
}

// Signals while an exception is on its way

TEST_F(ErrorHandlerTest, ASignalDuringUnwindingReportsTheExceptionThatIsBeingHandledAndGoesOn) {
    LayFiles();
    for (const auto& [around, block] : {std::pair("in catch of exception:", unhandledExceptionBlock),
                                        std::pair("in catch of std::exception:", unhandledStandardBlock)}) {
        SCOPED_TRACE(around);
        const ProgramResult result = RunWithApplication({around, "in unwinding:", "raise 15"});
        EXPECT_THAT(result, EndsByItself());
        EXPECT_EQ(result.errors, terminationText + inFlightText + block);
        EXPECT_EQ(result.output, "initialized\ncaught\nend\n");
        EXPECT_EQ(GetDumps().back(), block);
    }
}

TEST_F(ErrorHandlerTest, AnUnhandledExceptionChangesTheWordsOfTheNextSignalForGood) {
    LayFiles();
    const ProgramResult result =
        RunWithApplication({"in catch of exception:", "in unwinding:", "raise 15", "raise 6", "raise 2",
                            "handled std::exception", "handled exception", "raise 15"});
    EXPECT_THAT(result, EndsByItself());
    const std::string rest = inFlightText + unhandledExceptionBlock;
    EXPECT_EQ(result.errors, terminationText + rest + unhandledAbortText + rest + interruptText + rest + standardBlock +
                                 exceptionBlock + unhandledTerminationText + rest);
}

TEST_F(ErrorHandlerTest, AHandledExceptionChangesNoWords) {
    LayFiles();
    for (const auto& [action, block] :
         {std::pair("handled exception", exceptionBlock), std::pair("handled std::exception", standardBlock)}) {
        for (const auto& [signal, text] : {std::pair("raise 15", terminationText), std::pair("raise 6", abortText)}) {
            const ProgramResult result = RunWithApplication({action, signal});
            EXPECT_THAT(result, EndsBySignal(SIGABRT));
            EXPECT_EQ(result.errors, block + text);
        }
    }
}

TEST_F(ErrorHandlerTest, AnAbortDuringUnwindingEndsTheProcessAllTheSame) {
    LayFiles();
    const ProgramResult result = RunWithApplication({"in catch of exception:", "in unwinding:", "abort"});
    EXPECT_THAT(result, EndsBySignal(SIGABRT));
    EXPECT_EQ(result.errors, abortText + inFlightText + unhandledExceptionBlock);
    EXPECT_EQ(GetDumps().back(), unhandledExceptionBlock);
}

TEST_F(ErrorHandlerTest, ASignalDuringUnwindingWithNothingBeingHandledUsesUpTheStack) {
    LayFiles();
    const ProgramResult result = RunWithApplication({"in unwinding:", "raise 15"});
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    EXPECT_EQ(result.errors, terminationText + inFlightText);
    EXPECT_THAT(GetDumps(), IsEmpty());
}

TEST_F(ErrorHandlerTest, ASignalDuringUnwindingThrowsOnWhatItDoesNotKnow) {
    LayFiles();
    // It leaves the signal handler and the terminate handler, whose abort raises the next signal, and so on.
    const ProgramResult result = RunChild(
        GetProgramWithStack("256", {"application", "in catch of foreign exception:", "in unwinding:", "raise 15"}));
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    const std::string again = leftHandlerText + abortText + inFlightText;
    EXPECT_THAT(result.errors, StartsWith(terminationText + inFlightText + again + again));
    EXPECT_THAT(GetDumps(), IsEmpty());
}

TEST_F(ErrorHandlerTest, ASignalDuringUnwindingThrowsBeforeAFaultHasItsDefaultAction) {
    const ProgramResult result = RunWithApplication(
        {"in catch of foreign exception:", "in unwinding:", "catch OnSignal 11", "tell the action of SIGSEGV"});
    EXPECT_THAT(result, EndsByItself());
    EXPECT_EQ(result.errors, accessText + inFlightText);
    EXPECT_EQ(result.output, "initialized\ncaught foreign exception\nhandled\ncaught\nend\n");
}

TEST_F(ErrorHandlerTest, ASystemCallGoesOnBehindASignalDuringUnwinding) {
    LayFiles();
    const ProgramResult result =
        RunWithApplication({"in catch of telling exception:", "in unwinding:", "read during a signal"});
    EXPECT_THAT(result, EndsByItself());
    EXPECT_EQ(result.errors, terminationText + inFlightText + unhandledStandardBlock);
    EXPECT_EQ(result.output, "initialized\nwrote 4\nread 4\ncaught\nend\n");
}

TEST_F(ErrorHandlerTest, AnExceptionThatIsBeingHandledDoesNotCountAsOnItsWay) {
    const ProgramResult result = RunWithApplication({"in catch of exception:", "raise 15"});
    EXPECT_THAT(result, EndsBySignal(SIGABRT));
    EXPECT_EQ(result.errors, terminationText);
}

TEST_F(ErrorHandlerTest, ASignalWhileTheProcessEndsSaysItsOwnTextAndGoesOn) {
    LayFiles();
    const ProgramResult result = RunWithApplication({"in catch of signalling exception:", "assertion"});
    EXPECT_THAT(result, EndsBySignal(SIGABRT));
    EXPECT_EQ(result.errors, assertionBlock + unhandledTerminationText + unhandledStandardBlock);
}

// Faults that would come back without end

const std::vector<SignalCase> faultCases{
    {"access an invalid address", accessText},
    {"execute an invalid instruction", instructionText},
    {"divide by zero", arithmeticText},
};

TEST_F(ErrorHandlerTest, AFaultDuringUnwindingIsReportedOnceAndEndsTheProcess) {
    LayFiles();
    for (const auto& [signal, faultCase] :
         {std::pair(SIGSEGV, faultCases[0]), std::pair(SIGILL, faultCases[1]), std::pair(SIGFPE, faultCases[2])}) {
        SCOPED_TRACE(faultCase.action);
        const ProgramResult result = RunWithApplication({"in catch of exception:", "in unwinding:", faultCase.action});
        EXPECT_THAT(result, EndsBySignal(signal));
        EXPECT_EQ(result.errors, faultCase.text + inFlightText + unhandledExceptionBlock);
    }
}

TEST_F(ErrorHandlerTest, AFaultWhileTheProcessEndsIsReportedOnceAndEndsIt) {
    LayFiles();
    const ProgramResult result = RunWithApplication({"in catch of faulting exception:", "assertion"});
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    EXPECT_EQ(result.errors, assertionBlock + accessText);
}

TEST_F(ErrorHandlerTest, AFaultBehindAnotherSignalDuringUnwindingIsStillReported) {
    LayFiles();
    const ProgramResult result = RunWithApplication(
        {"in catch of exception:", "in unwinding:", "raise 6", "raise 4", "access an invalid address"});
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    const std::string rest = inFlightText + unhandledExceptionBlock;
    EXPECT_EQ(result.errors, abortText + rest + instructionText + rest + accessText + rest);
}

/// The child as the first process of a process namespace, whose SIGABRT the kernel ignores.
class ErrorHandlerFirstProcessTest : public ErrorHandlerTest {
protected:
    ProgramResult RunAsFirstProcess(Actions actions) const {
        actions.insert(actions.begin(), {"application", "initialize"});
        Program program = GetProgram(actions);
        program.arguments.insert(program.arguments.begin(), program.path);
        program.path = GetScriptsFolder() / "isolated";
        return RunChild(program);
    }

    /// By the trap of `abort`, whose signal depends on the processor.
    static auto EndsByTrap() {
        return AllOf(Field("timedOut", &ProgramResult::timedOut, false),
                     Field("signal", &ProgramResult::signal, ::testing::AnyOf(SIGSEGV, SIGTRAP, SIGILL)));
    }
};

TEST_F(ErrorHandlerFirstProcessTest, EverySignalSaysItsTextOnceAndEndsTheProcess) {
    for (const SignalCase& signalCase : signalCases) {
        SCOPED_TRACE(signalCase.action);
        const ProgramResult result = RunAsFirstProcess({signalCase.action});
        EXPECT_THAT(result, EndsByTrap());
        EXPECT_EQ(result.errors, signalCase.text);
    }
}

TEST_F(ErrorHandlerFirstProcessTest, AnUnhandledExceptionIsReportedOnceAndEndsTheProcess) {
    LayFiles();
    const ProgramResult result = RunAsFirstProcess({"exception"});
    EXPECT_THAT(result, EndsByTrap());
    EXPECT_EQ(result.errors, unhandledExceptionBlock + unhandledAbortText);
}

TEST_F(ErrorHandlerFirstProcessTest, AnAbortDuringUnwindingEndsTheProcess) {
    LayFiles();
    const ProgramResult result = RunAsFirstProcess({"in catch of exception:", "in unwinding:", "abort"});
    EXPECT_THAT(result, EndsByTrap());
    // Where the trap is a signal of the table, it is reported as well.
    const std::string rest = inFlightText + unhandledExceptionBlock;
    EXPECT_THAT(result.errors, ::testing::AnyOf(abortText + rest, abortText + rest + accessText + rest,
                                                abortText + rest + instructionText + rest));
}

TEST_F(ErrorHandlerFirstProcessTest, AnAssertionUsesUpTheStack) {
    LayFiles();
    const ProgramResult result = RunAsFirstProcess({"assertion"});
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    EXPECT_EQ(result.errors, assertionBlock);
}

// After the handler's destruction, while libraries are unloaded

class ErrorHandlerUnloadTest : public ErrorHandlerTest {
protected:
    /// A program in which no sanitizer handles the signals.
    Program GetUnsanitizedProgram(const Actions& actions) const {
        Program program = GetProgram(actions);
        for (const char* const name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
            program.environment[name] += ":handle_segv=0:handle_sigill=0:handle_sigfpe=0:handle_abort=0";
        }
        return program;
    }

    const std::vector<int> m_signals{SIGTERM, SIGSEGV, SIGINT, SIGILL, SIGABRT, SIGFPE};
};

TEST_F(ErrorHandlerUnloadTest, EverySignalHasItsDefaultAction) {
    for (const int number : m_signals) {
        const ProgramResult result =
            RunChild(GetUnsanitizedProgram({"application", "at unload raise " + std::to_string(number)}));
        EXPECT_THAT(result, EndsBySignal(number));
        EXPECT_EQ(result.output, "end\n");
        EXPECT_EQ(result.errors, "");
    }
}

TEST_F(ErrorHandlerUnloadTest, ASignalThatWasIgnoredIsIgnored) {
    for (const int number : m_signals) {
        Program program = GetUnsanitizedProgram({"application", "at unload raise " + std::to_string(number)});
        program.arguments.insert(program.arguments.begin(),
                                 {"-c", "trap '' " + std::to_string(number) + "; exec \"$0\" \"$@\"", program.path});
        program.path = "/bin/sh";
        const ProgramResult result = RunChild(program);
        EXPECT_THAT(result, EndsByItself());
        EXPECT_EQ(result.errors, "");
    }
}

TEST_F(ErrorHandlerUnloadTest, HandlersThatWereThereBeforeAreCalledAsTheyWereInstalled) {
    for (const int number : m_signals) {
        Program program = GetUnsanitizedProgram({"application", "at unload raise " + std::to_string(number)});
        program.environment["HANDLE_SIGNALS"] = "";
        const ProgramResult result = RunChild(program);
        EXPECT_EQ(result.status, 42);
        EXPECT_EQ(result.errors, "Before: " + std::to_string(number) + "\n");
        // Until then the error handler's own are in force.
        program.arguments = {"application", "initialize", "raise 2"};
        EXPECT_EQ(RunChild(program).errors, interruptText);
    }
}

TEST_F(ErrorHandlerUnloadTest, HandlersThatOthersHaveInstalledSinceStay) {
    for (const Actions& actions : {Actions{"let others handle SIGINT", "at unload raise 2"},
                                   Actions{"let others handle termination", "terminate at unload"}}) {
        const ProgramResult result = RunChild(GetUnsanitizedProgram(actions));
        EXPECT_EQ(result.status, 43);
        EXPECT_EQ(result.errors, "Others.\n");
    }
}

TEST_F(ErrorHandlerUnloadTest, TerminationIsTheRuntimes) {
    const ProgramResult result = RunChild(GetUnsanitizedProgram({"application", "terminate at unload"}));
    EXPECT_THAT(result, EndsBySignal(SIGABRT));
    EXPECT_EQ(result.errors, "libc++abi: terminating\n");
}

// The log

const std::string shutdownLine = "[T | System] Info: Shutting down due to a forced abortion or error.\n";
const std::string assertionLine =
    "[T | Default] Critical: Condition: 'config != nullptr' in file '/System/Log/Logger.cpp', line '26', function "
    "'Write' with message: Function parameter 'config' must be non-null.\n";
const std::string exceptionLine =
    "[T | Default] Error: Exception: 'Tovra::Exception' in file '/System/Log/Logger.cpp', line '26', function 'Write' "
    "with message: Internal state doesn't match file state.\n";
const std::string standardLine = "[T | Default] Error: Exception: 'std::exception' with message: Text.\n";
const std::string systemError = "[T | System] Error: ";

struct LogCase {
    Actions actions;
    int signal; ///< 0 for a child that ends well.
    std::string errors;
    std::string log;
};

const std::vector<LogCase> logCases{
    {{"raise 15"}, SIGABRT, terminationText, systemError + terminationText + shutdownLine},
    {{"raise 11"}, SIGABRT, accessText, systemError + accessText + shutdownLine},
    {{"raise 2"}, SIGABRT, interruptText, "[T | System] Warning: " + interruptText + shutdownLine},
    {{"raise 4"}, SIGABRT, instructionText, systemError + instructionText + shutdownLine},
    {{"raise 6"}, SIGABRT, abortText, systemError + abortText + shutdownLine},
    {{"raise 8"}, SIGABRT, arithmeticText, systemError + arithmeticText + shutdownLine},
    {{"OnSignal 1"}, SIGABRT, unknownText, systemError + unknownText + shutdownLine},
    {{"in catch of exception:", "in unwinding:", "raise 15"},
     0,
     terminationText + inFlightText + unhandledExceptionBlock,
     systemError + terminationText + systemError + inFlightText + exceptionLine},
    {{"in catch of std::exception:", "in unwinding:", "raise 15", "raise 15"},
     0,
     terminationText + inFlightText + unhandledStandardBlock + unhandledTerminationText + inFlightText +
         unhandledStandardBlock,
     systemError + terminationText + systemError + inFlightText + standardLine + systemError +
         unhandledTerminationText + systemError + inFlightText + standardLine},
    {{"in catch of exception:", "in unwinding:", "abort"},
     SIGABRT,
     abortText + inFlightText + unhandledExceptionBlock,
     systemError + abortText + systemError + inFlightText + exceptionLine},
    {{"assertion"}, SIGSEGV, assertionBlock, assertionLine},
    {{"in thread:", "assertion"}, SIGSEGV, assertionBlock, assertionLine},
    {{"in catch of exception:", "assertion"},
     SIGABRT,
     assertionBlock + unhandledExceptionBlock,
     assertionLine + exceptionLine + shutdownLine},
    {{"in catch of foreign exception:", "assertion"},
     SIGABRT,
     assertionBlock + leftHandlerText,
     assertionLine + shutdownLine},
    {{"exception"},
     SIGABRT,
     unhandledExceptionBlock + unhandledAbortText,
     exceptionLine + systemError + unhandledAbortText + shutdownLine},
    {{"in thread:", "exception"},
     SIGABRT,
     unhandledExceptionBlock + unhandledAbortText,
     exceptionLine + systemError + unhandledAbortText + shutdownLine},
    {{"std::exception"},
     SIGABRT,
     unhandledStandardBlock + unhandledAbortText,
     standardLine + systemError + unhandledAbortText + shutdownLine},
    {{"foreign exception"}, SIGABRT, leftHandlerText + abortText, systemError + abortText + shutdownLine},
    {{"handled exception"}, 0, exceptionBlock, exceptionLine},
    {{"handled std::exception"}, 0, standardBlock, standardLine},
    {{"terminate"}, SIGSEGV, "", ""},
};

TEST_F(ErrorHandlerTest, EveryCauseIsLogged) {
    LayFiles();
    for (const LogCase& logCase : logCases) {
        SCOPED_TRACE(::testing::PrintToString(logCase.actions));
        const LoggedResult logged = RunWithLogger(logCase.actions);
        EXPECT_EQ(logged.result.signal, logCase.signal);
        EXPECT_EQ(logged.result.status, logCase.signal == 0 ? 0 : -1);
        EXPECT_EQ(logged.result.errors, logCase.errors);
        EXPECT_EQ(logged.file, logCase.log);
        EXPECT_THAT(logged.console, StartsWith("initialized\n" + logCase.log));
    }
}

TEST_F(ErrorHandlerTest, SignalsAreLoggedWithoutAFileToReportTo) {
    const LoggedResult logged = RunWithLogger({"raise 15"});
    EXPECT_THAT(logged.result, EndsBySignal(SIGABRT));
    EXPECT_EQ(logged.file, systemError + terminationText + shutdownLine);
}

TEST_F(ErrorHandlerTest, TheContextsSeverityIsInForceForSignalsAlone) {
    LayFiles();
    const std::string ofErrors = "logger of errors";
    EXPECT_EQ(RunWithLogger({"raise 15"}, ofErrors).file, systemError + terminationText);
    EXPECT_EQ(RunWithLogger({"raise 2"}, ofErrors).file, "");
    const std::string ofCriticalMessages = "logger of critical messages";
    EXPECT_EQ(RunWithLogger({"raise 15"}, ofCriticalMessages).file, "");
    EXPECT_EQ(RunWithLogger({"handled exception", "handled std::exception"}, ofCriticalMessages).file,
              exceptionLine + standardLine);
    EXPECT_EQ(RunWithLogger({"assertion"}, ofCriticalMessages).file, assertionLine);
}

TEST_F(ErrorHandlerTest, ALoggerThatIsShutDownStillWritesToTheConsole) {
    LayFiles();
    const LoggedResult logged = RunWithLogger({"shut the logger down", "exception"});
    EXPECT_THAT(logged.result, EndsBySignal(SIGABRT));
    EXPECT_EQ(logged.file, "");
    EXPECT_EQ(logged.console, "initialized\n" + exceptionLine + systemError + unhandledAbortText + shutdownLine);
}

TEST_F(ErrorHandlerTest, WhatTheLogThrowsLeavesTheReportOfAnException) {
    LayFiles();
    for (const auto& [action, block, line] :
         {std::tuple("catch handled exception", exceptionBlock, exceptionLine),
          std::tuple("catch handled std::exception", standardBlock, standardLine)}) {
        SCOPED_TRACE(action);
        const LoggedResult logged = RunWithLogger({"remove the log file", action});
        EXPECT_THAT(logged.result, EndsByItself());
        EXPECT_EQ(logged.result.errors, block);
        EXPECT_EQ(logged.console, "initialized\n" + line + "caught std::exception\nend\n");
        EXPECT_EQ(GetDumps().back(), block);
    }
}

TEST_F(ErrorHandlerTest, AReportThatTheLogBreaksOffLeavesItsMessageInFrontOfTheNextOne) {
    LayFiles();
    const LoggedResult logged =
        RunWithLogger({"remove the log file", "catch handled exception", "catch handled exception"});
    EXPECT_THAT(logged.result, EndsByItself());
    EXPECT_THAT(
        logged.result.errors,
        HasSubstr("\tMessage: Internal state doesn't match file state.Internal state doesn't match file state.\n"));
}

TEST_F(ErrorHandlerTest, WhatIsLeftOfABrokenOffReportGoesWithTheNextStandardException) {
    LayFiles();
    const LoggedResult logged = RunWithLogger({"remove the log file", "catch handled exception", "shut the logger down",
                                               "handled std::exception", "handled exception"});
    EXPECT_THAT(logged.result, EndsByItself());
    EXPECT_EQ(logged.result.errors, exceptionBlock + standardBlock + exceptionBlock);
}

TEST_F(ErrorHandlerTest, WhatIsLeftOfABrokenOffReportGoesWithAnInitialization) {
    LayFiles();
    const LoggedResult logged = RunWithLogger(
        {"remove the log file", "catch handled exception", "shut the logger down", "initialize", "handled exception"});
    EXPECT_THAT(logged.result, EndsByItself());
    EXPECT_EQ(logged.result.errors, exceptionBlock + exceptionBlock);
}

TEST_F(ErrorHandlerTest, WhatTheLogThrowsDoesNotLeaveTheReportOfAnAssertion) {
    LayFiles();
    RemoveLogs();
    const ProgramResult result = RunChild(
        GetProgramWithStack("512", {"application", "initialize", "logger", "remove the log file", "catch assertion"}));
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    EXPECT_THAT(result.errors, StartsWith(assertionBlock + "Unhandled Exception: std::exception\n"
                                                           "\tMessage: filesystem error: "));
    EXPECT_THAT(result.output, Not(HasSubstr("caught")));
}

// Assertions

TEST_F(ErrorHandlerTest, AnAssertionIsReportedInStreamAndFileAndUsesUpTheStack) {
    LayFiles();
    const ProgramResult result = RunWithApplication({"assertion"});
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    EXPECT_EQ(result.errors, assertionBlock);
    EXPECT_THAT(GetDumps(), ElementsAre(assertionBlock));
}

TEST_F(ErrorHandlerTest, AnAssertionNeedsNoApplication) {
    LayFiles();
    const ProgramResult result = RunChild(Actions{"assertion"});
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    EXPECT_EQ(result.errors, assertionBlock);
    EXPECT_THAT(GetDumps(), ElementsAre(assertionBlock));
}

TEST_F(ErrorHandlerTest, AnAssertionsMessageMayBeEmpty) {
    LayFiles();
    const std::string block = "Assertion: config != nullptr\n\tMessage: \n" + positionBlock;
    EXPECT_EQ(RunWithApplication({"assertion without message"}).errors, block);
    EXPECT_THAT(GetDumps(), ElementsAre(block));
}

TEST_F(ErrorHandlerTest, AnAssertionWhileStaticObjectsAreDestroyedIsReportedToo) {
    LayFiles();
    const std::string block = "Assertion: config != nullptr\n\tMessage: \n" + positionBlock;
    const ProgramResult result = RunWithApplication({"assertion at exit"});
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    EXPECT_EQ(result.errors, block);
    EXPECT_THAT(GetDumps(), ElementsAre(block));
}

TEST_F(ErrorHandlerTest, AnAssertionInAThreadUsesUpThatThreadsStack) {
    LayFiles();
    const ProgramResult result = RunWithApplication({"in thread:", "assertion"});
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    EXPECT_EQ(result.errors, assertionBlock);
    EXPECT_THAT(GetDumps(), ElementsAre(assertionBlock));
}

TEST_F(ErrorHandlerTest, AnAssertionWhileAnExceptionIsBeingHandledReportsThatToo) {
    LayFiles();
    for (const auto& [around, block] : {std::pair("in catch of exception:", unhandledExceptionBlock),
                                        std::pair("in catch of std::exception:", unhandledStandardBlock)}) {
        SCOPED_TRACE(around);
        const ProgramResult result = RunWithApplication({around, "assertion"});
        EXPECT_THAT(result, EndsBySignal(SIGABRT));
        EXPECT_EQ(result.errors, assertionBlock + block);
        EXPECT_EQ(GetDumps().back(), block);
    }
}

TEST_F(ErrorHandlerTest, AnAssertionWhileAForeignExceptionIsBeingHandledLeavesThatToTheRuntime) {
    LayFiles();
    const ProgramResult result = RunWithApplication({"in catch of foreign exception:", "assertion"});
    EXPECT_THAT(result, EndsBySignal(SIGABRT));
    EXPECT_EQ(result.errors, assertionBlock + leftHandlerText);
    EXPECT_THAT(GetDumps(), ElementsAre(assertionBlock));
}

TEST_F(ErrorHandlerTest, TerminationWithoutExceptionUsesUpTheStackInSilence) {
    for (const std::string& limit : {"256", "8192", "16384"}) {
        const ProgramResult result = RunChild(GetProgramWithStack(limit, {"application", "terminate"}));
        EXPECT_THAT(result, EndsBySignal(SIGSEGV));
        EXPECT_EQ(result.errors, "");
    }
}

TEST_F(ErrorHandlerTest, TerminationLimitsOnlyALargerStack) {
    LayFiles();
    for (const auto& [limit, told] : {std::pair("256", "256"), std::pair("16384", "16384"), std::pair("65536", "65536"),
                                      std::pair("65540", "65536"), std::pair("unlimited", "65536")}) {
        const ProgramResult result = RunChild(
            GetProgramWithStack(limit, {"application", "initialize", "exception that tells the stack's limit"}));
        EXPECT_THAT(result, EndsBySignal(SIGABRT));
        EXPECT_EQ(result.errors,
                  std::string("Unhandled Exception: std::exception\n\tMessage: ") + told + "\n" + unhandledAbortText);
    }
}

TEST_F(ErrorHandlerTest, AStackWithoutLimitDoesNotUseUpTheMemory) {
    // In a process of its own, as the system keeps the greatest size of all children that ever were.
    RunInChild([this] {
        EXPECT_THAT(RunChild(GetProgramWithStack("unlimited", {"application", "terminate"})), EndsBySignal(SIGSEGV));
        rusage usage{};
        EXPECT_EQ(getrusage(RUSAGE_CHILDREN, &usage), 0);
        constexpr long kibibytes = 128L * 1024;
        EXPECT_LT(Tovra::Tests::GetLargestMemory(usage), kibibytes);
    });
}

// Exceptions

struct ExceptionCase {
    std::string action;
    std::string block;
};

const std::vector<ExceptionCase> unhandledCases{{"exception", unhandledExceptionBlock},
                                                {"std::exception", unhandledStandardBlock}};
const std::vector<ExceptionCase> handledCases{{"handled exception", exceptionBlock},
                                              {"handled std::exception", standardBlock}};

TEST_F(ErrorHandlerTest, AnUnhandledExceptionIsReportedAndAborts) {
    LayFiles();
    for (const auto& [action, block] : unhandledCases) {
        SCOPED_TRACE(action);
        const ProgramResult result = RunWithApplication({action});
        EXPECT_THAT(result, EndsBySignal(SIGABRT));
        EXPECT_EQ(result.errors, block + unhandledAbortText);
        EXPECT_EQ(GetDumps().back(), block);
    }
}

TEST_F(ErrorHandlerTest, AnUnhandledExceptionInAThreadIsReportedAndAborts) {
    LayFiles();
    for (const auto& [action, block] : unhandledCases) {
        SCOPED_TRACE(action);
        const ProgramResult result = RunWithApplication({"in thread:", action});
        EXPECT_THAT(result, EndsBySignal(SIGABRT));
        EXPECT_EQ(result.errors, block + unhandledAbortText);
        EXPECT_EQ(GetDumps().back(), block);
    }
}

TEST_F(ErrorHandlerTest, AnExceptionOfNeitherHierarchyIsLeftToTheRuntime) {
    LayFiles();
    const ProgramResult result = RunWithApplication({"foreign exception"});
    EXPECT_THAT(result, EndsBySignal(SIGABRT));
    EXPECT_EQ(result.errors, leftHandlerText + abortText);
    EXPECT_THAT(GetDumps(), IsEmpty());
}

TEST_F(ErrorHandlerTest, AHandledExceptionIsReportedAndTheProcessGoesOn) {
    LayFiles();
    for (const auto& [action, block] : handledCases) {
        SCOPED_TRACE(action);
        const ProgramResult result = RunWithApplication({action});
        EXPECT_THAT(result, EndsByItself());
        EXPECT_EQ(result.output, "initialized\nend\n");
        EXPECT_EQ(result.errors, block);
        EXPECT_EQ(GetDumps().back(), block);
    }
}

TEST_F(ErrorHandlerTest, AHandledExceptionNeedsNoApplication) {
    LayFiles();
    for (const auto& [action, block] : handledCases) {
        SCOPED_TRACE(action);
        const ProgramResult result = RunChild(Actions{action});
        EXPECT_THAT(result, EndsByItself());
        EXPECT_EQ(result.errors, block);
        EXPECT_EQ(GetDumps().back(), block);
    }
}

TEST_F(ErrorHandlerTest, AMessageIsNotCarriedOverToTheNextReport) {
    LayFiles();
    const ProgramResult result =
        RunWithApplication({"handled exception", "handled exception", "handled std::exception", "handled exception"});
    EXPECT_THAT(result, EndsByItself());
    EXPECT_EQ(result.errors, exceptionBlock + exceptionBlock + standardBlock + exceptionBlock);
}

TEST_F(ErrorHandlerTest, AMessageThatSpoilsItsStreamIsTheOnlyOneThatDoes) {
    LayFiles();
    const ProgramResult result = RunWithApplication({"handled spoiling exception", "handled exception"});
    EXPECT_THAT(result, EndsByItself());
    EXPECT_EQ(result.errors, "Exception: Tovra::Exception\n"
                             "\tMessage: Spoilt.\n"
                             "\tCode:    0x0000000000000000\n" +
                                 positionBlock + exceptionBlock);
}

TEST_F(ErrorHandlerTest, AMissingMessageAndTheSystemsDetailsAreComposed) {
    LayFiles();
    const ProgramResult result = RunWithApplication({"handled exception without message", "handled system exception"});
    EXPECT_THAT(result, EndsByItself());
    EXPECT_EQ(result.errors, "Exception: Tovra::Exception\n"
                             "\tMessage: No message provided.\n"
                             "\tCode:    0x0000000000000000\n" +
                                 positionBlock +
                                 "Exception: Tovra::SystemInitializationException\n"
                                 "\tMessage: Initialization of system failed.\n"
                                 "\t\t System name: LogSystem\n"
                                 "\n"
                                 "\tCode:    0x0000000300640002\n" +
                                 positionBlock);
}

TEST_F(ErrorHandlerTest, AnUnhandledExceptionWithoutApplicationIsReportedUntilTheStackIsUsedUp) {
    LayFiles();
    // The abort's signal asserts, as there is no application; that reports the exception again, and that aborts.
    for (const auto& [action, block] : unhandledCases) {
        SCOPED_TRACE(action);
        const ProgramResult result = RunChild(GetProgramWithStack("1024", {action}));
        EXPECT_THAT(result, EndsBySignal(SIGSEGV));
        EXPECT_THAT(result.errors, StartsWith(block + unhandledAbortText + noApplicationBlock + block +
                                              noApplicationBlock + block + noApplicationBlock));
    }
}

TEST_F(ErrorHandlerTest, AForeignExceptionWithoutApplicationComesBackUntilTheStackIsUsedUp) {
    LayFiles();
    const ProgramResult result = RunChild(GetProgramWithStack("1024", {"foreign exception"}));
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    EXPECT_THAT(result.errors, StartsWith(leftHandlerText + abortText + noApplicationBlock + leftHandlerText +
                                          noApplicationBlock + leftHandlerText));
}

// The error stream

TEST_F(ErrorHandlerTest, EveryReportIsOneCallOfTheErrorStreamsBuffer) {
    LayFiles();
    const ProgramResult result =
        RunWithApplication({"take std::cerr", "handled exception", "handled std::exception",
                            "in catch of exception:", "in unwinding:", "raise 15", "tell what std::cerr was given"});
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, "initialized\n<" + exceptionBlock + ">\n<" + standardBlock + ">\n<" + terminationText +
                                 ">\n<" + inFlightText + ">\n<" + unhandledExceptionBlock +
                                 ">\nflushed\ncaught\nend\n");
}

TEST_F(ErrorHandlerTest, AnExceptionLeavesTheErrorStreamHexadecimalAndDecimalAtOnce) {
    LayFiles();
    const std::string tell = "tell the base of std::cerr";
    const ProgramResult result =
        RunWithApplication({tell, "handled std::exception", tell, "handled exception", tell, "handled exception"});
    EXPECT_EQ(result.output, "initialized\nbase dec ' '\nbase dec ' '\nbase dec hex ' '\nend\n");
    EXPECT_EQ(result.errors, standardBlock + exceptionBlock + exceptionBlock);
}

// The search for a file

struct MissingFileCase {
    std::string name;
    Actions actions;
};

void PrintTo(const MissingFileCase& missingFileCase, std::ostream* stream) {
    *stream << missingFileCase.name;
}

class ErrorHandlerMissingFileTest : public ErrorHandlerTest, public ::testing::WithParamInterface<MissingFileCase> {};

TEST_P(ErrorHandlerMissingFileTest, NothingIsReportedWithoutAFileThatIsThere) {
    const ProgramResult result = RunChild(GetParam().actions);
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, "");
    ForEachLog([](const auto& path) {
        EXPECT_EQ(Tests::Read(path), "");
        std::filesystem::remove(path);
    });
    EXPECT_TRUE(std::filesystem::is_empty(GetLogFolder()));
    EXPECT_TRUE(std::filesystem::is_empty(GetWorkingFolder()));
}

INSTANTIATE_TEST_SUITE_P(
    Causes, ErrorHandlerMissingFileTest,
    ::testing::Values(
        MissingFileCase{"AssertionAlone", {"assertion"}}, MissingFileCase{"HandledAlone", {"handled exception"}},
        MissingFileCase{"ExceptionWithApplication", {"application", "initialize silently", "exception"}},
        MissingFileCase{"Assertion", {"application", "initialize silently", "logger", "assertion"}},
        MissingFileCase{"AssertionInCatch",
                        {"application", "initialize silently", "logger", "in catch of exception:", "assertion"}},
        MissingFileCase{"Exception", {"application", "initialize silently", "logger", "exception"}},
        MissingFileCase{"StandardException", {"application", "initialize silently", "logger", "std::exception"}},
        MissingFileCase{"HandledException", {"application", "initialize silently", "logger", "handled exception"}},
        MissingFileCase{"HandledStandardException",
                        {"application", "initialize silently", "logger", "handled std::exception"}}),
    [](const auto& info) { return info.param.name; });

/// File name at the time 1,000,000,000 without an application.
const std::string searchedStem = "ERROR_2001-09-09T01-46-40";

TEST_F(ErrorHandlerTest, TheSearchStopsAtTheFirstFileThatIsThere) {
    // Numbers start at 1.
    std::ofstream(GetWorkingFolder() / (searchedStem + "_0.log"));
    std::ofstream(GetWorkingFolder() / (searchedStem + "_1.log"));
    std::ofstream(GetWorkingFolder() / (searchedStem + "_3.log"));
    const std::string start = "found " + GetWorkingFolder().string() + "/" + searchedStem;
    EXPECT_EQ(RunChild(Actions{"search"}).output, start + "_1.log\nend\n");
    std::ofstream(GetWorkingFolder() / (searchedStem + ".log"));
    EXPECT_EQ(RunChild(Actions{"search"}).output, start + ".log\nend\n");
}

TEST_F(ErrorHandlerTest, TheSearchLooksForAMillionFiles) {
    std::ofstream(GetWorkingFolder() / (searchedStem + "_1000000.log"));
    EXPECT_EQ(RunChild(Actions{"search"}).output, "nothing untouched\nend\n");
    std::ofstream(GetWorkingFolder() / (searchedStem + "_999999.log"));
    EXPECT_EQ(RunChild(Actions{"search"}).output,
              "found " + GetWorkingFolder().string() + "/" + searchedStem + "_999999.log\nend\n");
}

TEST_F(ErrorHandlerTest, WhateverStandsUnderTheNameCountsAsAFile) {
    std::filesystem::create_directory(GetWorkingFolder() / (searchedStem + "_2.log"));
    // Dangling links and links to themselves don't count.
    std::filesystem::create_symlink("nowhere", GetWorkingFolder() / (searchedStem + ".log"));
    std::filesystem::create_symlink(searchedStem + "_1.log", GetWorkingFolder() / (searchedStem + "_1.log"));
    EXPECT_THAT(RunChild(Actions{"search"}).output, HasSubstr(searchedStem + "_2.log\n"));
}

TEST_F(ErrorHandlerTest, TheNameTellsTheLocalTime) {
    std::ofstream(GetWorkingFolder() / "ERROR_2001-09-09T07-16-40.log");
    Program program = GetProgram({"search"});
    program.environment["TZ"] = "XYZ-5:30";
    EXPECT_THAT(RunChild(program).output, HasSubstr("/ERROR_2001-09-09T07-16-40.log\n"));
}

TEST_F(ErrorHandlerTest, TheNameFollowsAChangeOfTheTimeZone) {
    std::ofstream(GetWorkingFolder() / "ERROR_2001-09-09T01-46-40.log");
    std::ofstream(GetWorkingFolder() / "ERROR_2001-09-09T07-16-40.log");
    const std::string start = "found " + GetWorkingFolder().string() + "/ERROR_2001-09-09T";
    EXPECT_EQ(RunChild(Actions{"search", "TZ=XYZ-5:30", "search"}).output,
              start + "01-46-40.log\n" + start + "07-16-40.log\nend\n");
}

TEST_F(ErrorHandlerTest, AFolderWhoseNameIsNoUtf8IsSearchedAndWrittenTo) {
    const std::filesystem::path folder = GetWorkingFolder() / "\xC3\xA4\xFF\x80";
    LayFiles(folder, "ERROR_");
    std::ofstream(folder / (searchedStem + ".log"));
    Program program = GetProgram({"search", "assertion"});
    program.folder = folder;
    const ProgramResult result = RunChild(program);
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    // Each byte beyond ASCII is given as U+DC00 plus the byte.
    EXPECT_EQ(result.output,
              "found " + GetWorkingFolder().string() + "/<dcc3><dca4><dcff><dc80>/" + searchedStem + ".log\n");
    EXPECT_EQ(result.errors, assertionBlock);
    EXPECT_THAT(GetDumps(), ElementsAre(assertionBlock));
}

TEST_F(ErrorHandlerTest, AFolderWhoseNameIsUtf8IsGivenAsItsCharacters) {
    const std::filesystem::path folder = GetWorkingFolder() / "\xC3\xA4";
    std::filesystem::create_directory(folder);
    std::ofstream(folder / (searchedStem + "_1.log"));
    Program program = GetProgram({"search"});
    program.folder = folder;
    EXPECT_EQ(RunChild(program).output,
              "found " + GetWorkingFolder().string() + "/<e4>/" + searchedStem + "_1.log\nend\n");
}

TEST_F(ErrorHandlerTest, AFolderThatCantBeOpenedIsSearchedAllTheSame) {
    std::ofstream(GetWorkingFolder() / (searchedStem + "_2.log"));
    EXPECT_EQ(RunChild(Actions{"use up the descriptors", "search"}).output,
              "found " + GetWorkingFolder().string() + "/" + searchedStem + "_2.log\nend\n");
    std::filesystem::create_directories(GetLogFolder());
    std::ofstream(GetLogFolder() / ("Name_" + searchedStem + "_1.log"));
    EXPECT_EQ(RunChild(Actions{"application", "initialize", "use up the descriptors", "search"}).output,
              "initialized\nfound " + GetLogFolder().string() + "/Name_" + searchedStem + "_1.log\nend\n");
}

TEST_F(ErrorHandlerTest, AFileIsFoundThoughOnlyItsFoldersPathIsShortEnoughForTheSystem) {
    const std::string rest = "/.tovra/Logs";
    const std::string file = "Name_" + searchedStem + ".log";
    std::filesystem::path home = GetHomeFolder();
    for (std::size_t left = PATH_MAX - file.size() - rest.size() - home.native().size(); left > 0;) {
        const std::size_t part = left > 200 ? 100 : left;
        home /= std::string(part - 1, 'x'); // And the separator.
        left -= part;
    }
    const std::filesystem::path folder = home.native() + rest;
    ASSERT_EQ(folder.native().size() + file.size(), PATH_MAX);
    std::filesystem::create_directories(folder);
    const int opened = open(folder.c_str(), O_RDONLY | O_DIRECTORY);
    close(openat(opened, file.c_str(), O_WRONLY | O_CREAT, 0600));
    Program program = GetProgram({"application", "initialize", "search"});
    program.environment["HOME"] = home;
    EXPECT_EQ(RunChild(program).output, "initialized\nfound " + folder.string() + "/" + file + "\nend\n");
    unlinkat(opened, file.c_str(), 0);
    close(opened);
}

TEST_F(ErrorHandlerTest, ASearchLeavesNoDescriptorOpen) {
    std::ofstream(GetWorkingFolder() / (searchedStem + ".log"));
    EXPECT_THAT(RunChild(Actions{"search", "tell the next descriptor"}).output, HasSubstr("\nnext descriptor 3\n"));
}

TEST_F(ErrorHandlerTest, TheNameIsThatOfTheApplicationOnceInitialized) {
    std::filesystem::create_directories(GetLogFolder());
    std::ofstream(GetLogFolder() / ("Name_" + searchedStem + ".log"));
    std::ofstream(GetLogFolder() / (searchedStem + ".log"));
    std::ofstream(GetWorkingFolder() / (searchedStem + ".log"));
    const std::string found = "found " + GetLogFolder().string() + "/";
    EXPECT_EQ(RunChild(Actions{"application", "initialize", "search"}).output,
              "initialized\n" + found + "Name_" + searchedStem + ".log\nend\n");
    EXPECT_EQ(RunChild(Actions{"nameless application", "initialize", "search"}).output,
              "initialized\n" + found + searchedStem + ".log\nend\n");
    EXPECT_EQ(RunChild(Actions{"application", "search"}).output,
              "found " + GetWorkingFolder().string() + "/" + searchedStem + ".log\nend\n");
}

TEST_F(ErrorHandlerTest, ANameThatNoFileCanHaveFindsNothing) {
    EXPECT_EQ(RunChild(Actions{"application of a long name", "initialize", "search"}).output,
              "initialized\nnothing untouched\nend\n");
}

TEST_F(ErrorHandlerTest, ANameThatBeginsAtTheRootIsLookedForThere) {
    std::ofstream(GetWorkingFolder() / ("Name_" + searchedStem + "_2.log"));
    EXPECT_EQ(RunChild(Actions{"application of an absolute name", "initialize", "search"}).output,
              "initialized\nfound " + GetWorkingFolder().string() + "/Name_" + searchedStem + "_2.log\nend\n");
}

TEST_F(ErrorHandlerTest, AWorkingFolderThatIsGoneFindsNothing) {
    EXPECT_EQ(RunChild(Actions{"remove the working folder", "search"}).output, "nothing untouched\nend\n");
}

TEST_F(ErrorHandlerTest, AFileThatIsThereIsOverwrittenAndNoFurtherOneMade) {
    LayFiles();
    std::set<std::filesystem::path> before;
    std::ranges::copy(std::filesystem::recursive_directory_iterator(m_folder.GetPath()),
                      std::inserter(before, before.end()));
    RunWithApplication({"assertion"});
    EXPECT_THAT(GetDumps(), ElementsAre(assertionBlock));
    std::set<std::filesystem::path> after;
    std::ranges::copy(std::filesystem::recursive_directory_iterator(m_folder.GetPath()),
                      std::inserter(after, after.end()));
    EXPECT_EQ(after, before);
}

TEST_F(ErrorHandlerTest, AFileThatCannotBeOpenedIsPassedOverInSilence) {
    ForEachCandidate(GetLogFolder(), "Name_ERROR_", [](const auto& path) { std::filesystem::create_directory(path); });
    ProgramResult result = RunWithApplication({"assertion"});
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    EXPECT_EQ(result.errors, assertionBlock);
    result = RunWithApplication({"handled exception", "handled std::exception"});
    EXPECT_THAT(result, EndsByItself());
    EXPECT_EQ(result.errors, exceptionBlock + standardBlock);
}

TEST_F(ErrorHandlerTest, AFullDiskIsPassedOverInSilence) {
    LayFiles();
    const ProgramResult result = RunWithApplication({"let no file grow", "handled exception"});
    EXPECT_THAT(result, EndsByItself());
    EXPECT_EQ(result.errors, exceptionBlock);
    EXPECT_THAT(GetDumps(), ElementsAre(""));
}

TEST_F(ErrorHandlerTest, WhatIsNoFileOfOursAloneIsPassedOverInSilence) {
    const std::filesystem::path precious = m_folder.GetPath() / "precious";
    std::ofstream(precious) << laidText;
    const std::vector<std::function<void(const std::filesystem::path&)>> ways{
        [&](const auto& path) { std::filesystem::create_symlink(precious, path); },
        [&](const auto& path) { std::filesystem::create_hard_link(precious, path); },
        [](const auto& path) { mkfifo(path.c_str(), 0600); },
        [](const auto& path) { std::filesystem::create_symlink("/dev/full", path); }};
    for (const auto& way : ways) {
        SCOPED_TRACE(&way - ways.data());
        ForEachCandidate(GetLogFolder(), "Name_ERROR_", way);
        for (const auto& [action, block] :
             {std::pair("assertion", assertionBlock), std::pair("handled exception", exceptionBlock),
              std::pair("handled std::exception", standardBlock)}) {
            const ProgramResult result = RunWithApplication({action});
            EXPECT_FALSE(result.timedOut);
            EXPECT_EQ(result.errors, block);
        }
        EXPECT_EQ(Tests::Read(precious), laidText);
        std::filesystem::remove_all(GetLogFolder());
    }
}

TEST_F(ErrorHandlerTest, AClosedStandardErrorStreamLeavesTheFile) {
    LayFiles();
    Program program = GetProgram({"application", "initialize", "assertion"});
    program.closedDescriptors = {STDERR_FILENO};
    EXPECT_THAT(RunChild(program), EndsBySignal(SIGSEGV));
    EXPECT_THAT(GetDumps(), ElementsAre(assertionBlock));
}

// The order of stream and file

/// The dump files, and a pipe as the error stream, which blocks the child if it is full.
class ErrorHandlerReportOrderTest : public ErrorHandlerTest {
protected:
    ErrorHandlerReportOrderTest() {
        LayFiles();
        const std::array<int, 2> ends = MakePipe();
        m_errors = ends[0];
        m_errorsOfChild = ends[1];
    }

    ~ErrorHandlerReportOrderTest() override {
        close(m_errors);
        close(m_errorsOfChild);
    }

    Program GetProgramWithErrors(const Actions& actions) const {
        Program program = GetProgram(actions);
        program.descriptors = {{STDERR_FILENO, m_errorsOfChild}};
        return program;
    }

    /// Fills a pipe, so that a child blocks on it, and returns the filling.
    static std::string Fill(int pipeEnd) {
        std::string filling;
        fcntl(pipeEnd, F_SETFL, O_NONBLOCK);
        while (write(pipeEnd, "x", 1) == 1) {
            filling += 'x';
        }
        fcntl(pipeEnd, F_SETFL, 0);
        return filling;
    }

    /// Returns when the child, which has only one thread, is blocked or has ended.
    static void WaitUntilItBlocks(const RunningProgram& child) {
        while (child.IsRunning() && !IsProcessBlocked(child.GetId())) {
            std::this_thread::yield();
        }
        EXPECT_TRUE(child.IsRunning());
    }

    /// Reads `size` bytes from a pipe, within a child's time limit.
    static std::string Read(int pipeEnd, std::size_t size) {
        constexpr int timeLimit = 120'000;
        std::string text;
        pollfd source{.fd = pipeEnd, .events = POLLIN, .revents = 0};
        while (text.size() < size && poll(&source, 1, timeLimit) > 0) {
            std::string part(size - text.size(), '\0');
            part.resize(static_cast<std::size_t>(std::max<ssize_t>(read(pipeEnd, part.data(), part.size()), 0)));
            text += part;
        }
        return text;
    }

    int m_errors = -1;
    int m_errorsOfChild = -1;
};

TEST_F(ErrorHandlerReportOrderTest, AnExceptionGoesToTheStreamFirst) {
    const std::string filling = Fill(m_errorsOfChild);
    for (const auto& [action, block] : handledCases) {
        SCOPED_TRACE(action);
        const std::vector<std::string> before = GetDumps();
        RunningProgram child(GetProgramWithErrors({"application", "initialize", action}));
        EXPECT_TRUE(child.WaitForOutput("initialized\n"));
        WaitUntilItBlocks(child);
        EXPECT_EQ(GetDumps(), before);
        EXPECT_EQ(Read(m_errors, filling.size() + block.size()), filling + block);
        EXPECT_THAT(child.Wait(), EndsByItself());
        EXPECT_EQ(GetDumps().back(), block);
        EXPECT_EQ(Fill(m_errorsOfChild), filling);
    }
}

TEST_F(ErrorHandlerReportOrderTest, AnAssertionGoesToTheFileFirst) {
    const std::string filling = Fill(m_errorsOfChild);
    RunningProgram child(GetProgramWithErrors({"application", "initialize", "assertion"}));
    EXPECT_TRUE(child.WaitForOutput("initialized\n"));
    WaitUntilItBlocks(child);
    EXPECT_THAT(GetDumps(), ElementsAre(assertionBlock));
    EXPECT_EQ(Read(m_errors, filling.size() + assertionBlock.size()), filling + assertionBlock);
    EXPECT_THAT(child.Wait(), EndsBySignal(SIGSEGV));
}

TEST_F(ErrorHandlerReportOrderTest, TheLogComesLast) {
    const std::array<int, 2> output = MakePipe();
    const std::string filling = Fill(output[1]);
    for (const auto& [action, block, line] : {std::tuple("assertion", assertionBlock, assertionLine),
                                              std::tuple("handled exception", exceptionBlock, exceptionLine),
                                              std::tuple("handled std::exception", standardBlock, standardLine)}) {
        SCOPED_TRACE(action);
        Program program = GetProgramWithErrors({"application", "initialize silently", "logger", action, "raise 9"});
        program.descriptors[STDOUT_FILENO] = output[1];
        RunningProgram child(program);
        EXPECT_EQ(Read(m_errors, block.size()), block);
        WaitUntilItBlocks(child);
        EXPECT_EQ(GetDumps().back(), block);
        EXPECT_EQ(Read(output[0], filling.size()), filling);
        EXPECT_FALSE(child.Wait().timedOut);
        EXPECT_EQ(WithoutTimes(Read(output[0], line.size() + std::string("2026-11-13T16:13:08.1234560Z").size() - 1)),
                  line);
        Fill(output[1]);
    }
    close(output[0]);
    close(output[1]);
}

// Initialising

TEST_F(ErrorHandlerTest, InitializingMakesTheFolder) {
    EXPECT_FALSE(std::filesystem::exists(GetHomeFolder()));
    EXPECT_EQ(RunChild(Actions{"application", "initialize"}).output, "initialized\nend\n");
    EXPECT_TRUE(std::filesystem::is_directory(GetLogFolder()));
}

TEST_F(ErrorHandlerTest, InitializingMakesTheFolderForItsOwnerAlone) {
    EXPECT_EQ(RunChild(Actions{"allow everyone everything", "application", "initialize"}).output, "initialized\nend\n");
    for (const std::filesystem::path& folder : {GetHomeFolder(), GetLogFolder().parent_path(), GetLogFolder()}) {
        EXPECT_EQ(std::filesystem::status(folder).permissions(), std::filesystem::perms(0700)) << folder;
    }
}

TEST_F(ErrorHandlerTest, InitializingTakesWhateverStandsThere) {
    std::filesystem::create_directories(GetLogFolder());
    EXPECT_EQ(RunChild(Actions{"application", "initialize", "initialize"}).output, "initialized\ninitialized\nend\n");
    std::filesystem::remove(GetLogFolder());
    std::ofstream(GetLogFolder()) << "a file";
    EXPECT_EQ(RunChild(Actions{"application", "initialize"}).output, "initialized\nend\n");
    EXPECT_EQ(Tests::Read(GetLogFolder()), "a file");
}

TEST_F(ErrorHandlerTest, InitializingFailsIfTheFolderCannotBeMade) {
    EXPECT_EQ(RunChild(Actions{"application without home folder", "initialize"}).output, "not initialized\nend\n");
    std::filesystem::create_directories(GetLogFolder().parent_path());
    for (const std::string& target : {"nowhere", "Logs"}) {
        std::filesystem::create_symlink(target, GetLogFolder());
        EXPECT_EQ(RunChild(Actions{"application", "initialize"}).output, "not initialized\nend\n");
        std::filesystem::remove(GetLogFolder());
    }
}

TEST_F(ErrorHandlerTest, AFailedInitializationForgetsTheFolderAndKeepsTheName) {
    LayFiles(GetWorkingFolder(), "Name_ERROR_");
    const ProgramResult result = RunChild(
        Actions{"application", "initialize", "application without home folder", "initialize", "handled exception"});
    EXPECT_EQ(result.output, "initialized\nnot initialized\nend\n");
    EXPECT_THAT(GetDumps(), ElementsAre(exceptionBlock));
}

TEST_F(ErrorHandlerTest, InitializingMissesTheApplication) {
    LayFiles();
    const ProgramResult result = RunChild(Actions{"initialize without application"});
    EXPECT_THAT(result, EndsBySignal(SIGSEGV));
    EXPECT_THAT(result.errors, StartsWith("Assertion: s_instance != nullptr\n"
                                          "\tMessage: Ilegal attempt to access a non-existent application instance.\n"
                                          "\n"
                                          "Callstack:\n"));
}

TEST_F(ErrorHandlerTest, AProcessThatDoesNothingEndsWell) {
    const ProgramResult result = RunChild(Actions{});
    EXPECT_THAT(result, EndsByItself());
    EXPECT_EQ(result.errors, "");
    EXPECT_TRUE(std::filesystem::is_empty(m_folder.GetPath() / "work"));
    EXPECT_FALSE(std::filesystem::exists(GetHomeFolder()));
}

TEST_F(ErrorHandlerTest, ALostTerminateHandlerIsSaidAndTheSignalsAreTakenOverAllTheSame) {
    Program program = GetProgram({"application", "raise 15"});
    program.path = GetBinaryFolder() / "ErrorHandlerChildWithoutTermination";
    const ProgramResult result = RunChild(program);
    EXPECT_THAT(result, EndsBySignal(SIGABRT));
    EXPECT_EQ(result.errors, "Failed to register termination handler.\n" + terminationText);
}

void ErrorHandlerTest::ForEachCandidate(const std::filesystem::path& folder, const std::string& prefix,
                                        const std::function<void(const std::filesystem::path&)>& lay) {
    std::filesystem::create_directories(folder);
    constexpr int secondsBefore = 1;
    constexpr int secondsBehind = 600;
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    for (std::time_t time = now - secondsBefore; time < now + secondsBehind; ++time) {
        std::tm fields{};
        gmtime_r(&time, &fields);
        std::array<char, 32> text{};
        std::strftime(text.data(), text.size(), "%FT%H-%M-%S.log", &fields);
        m_candidates.push_back(folder / (prefix + text.data()));
        lay(m_candidates.back());
    }
}

std::vector<std::string> ErrorHandlerTest::GetDumps() const {
    std::vector<std::string> dumps;
    for (const std::filesystem::path& path : m_candidates) {
        if (const std::string text = Read(path); text != laidText) {
            dumps.push_back(WithoutOwnLines(text));
        }
    }
    return dumps;
}

Program ErrorHandlerTest::GetProgram(const Actions& actions) const {
    Program program{.path = GetBinaryFolder() / "ErrorHandlerChild", .arguments = actions};
    program.environment["HOME"] = GetHomeFolder();
    program.environment["TZ"] = "UTC";
    program.folder = GetWorkingFolder();
    // The search for a million files is slow on a busy machine.
    program.timeLimit = std::chrono::seconds(120);
    return program;
}

Program ErrorHandlerTest::GetProgramWithStack(const std::string& limit, const Actions& actions) const {
    Program program = GetProgram(actions);
    program.arguments.insert(program.arguments.begin(),
                             {"-c", "ulimit -S -s \"$0\"; exec \"$@\"", limit, program.path});
    program.path = "/bin/sh";
    return program;
}

ProgramResult ErrorHandlerTest::RunChild(const Program& program) {
    ProgramResult result = Tests::Run(program);
    result.errors = WithoutOwnLines(result.errors);
    return result;
}

ProgramResult ErrorHandlerTest::RunWithApplication(Actions actions) const {
    actions.insert(actions.begin(), {"application", "initialize"});
    ProgramResult result = RunChild(actions);
    EXPECT_THAT(result.output, StartsWith("initialized\n"));
    return result;
}

LoggedResult ErrorHandlerTest::RunWithLogger(Actions actions, const std::string& logger) const {
    RemoveLogs();
    actions.insert(actions.begin(), logger);
    const ProgramResult result = RunWithApplication(actions);
    std::string file;
    ForEachLog([&file](const auto& path) { file += Tests::Read(path); });
    return {.result = result, .console = WithoutTimes(result.output), .file = WithoutTimes(file)};
}

void ErrorHandlerTest::ForEachLog(const std::function<void(const std::filesystem::path&)>& visit) const {
    std::filesystem::create_directories(GetLogFolder());
    for (const auto& entry : std::filesystem::directory_iterator(GetLogFolder())) {
        if (entry.path().filename().string().starts_with("Name_2")) {
            visit(entry.path());
        }
    }
}

std::string WithoutOwnLines(const std::string& text) {
    static const std::regex pattern(R"((ErrorHandler\.cpp at )\d+)");
    return std::regex_replace(text, pattern, "$1N");
}

std::string Read(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string WithoutTimes(const std::string& text) {
    static const std::regex pattern(R"(\[\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{7}Z \| )");
    return std::regex_replace(text, pattern, "[T | ");
}

} // namespace

} // namespace Tovra::Tests
