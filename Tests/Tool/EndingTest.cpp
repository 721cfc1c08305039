#include "SetupTool.h"

#include <Support/SystemOperations.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Tovra::Tests {

namespace {

const std::vector<std::pair<int, std::string>> signalTexts{
    {SIGTERM, "Signal 'SIGTERM' was raised to terminate the program due to an unknown reason.\n"},
    {SIGSEGV, "Signal 'SIGSEGV' was raised due to an invalid memory access (segmentation fault).\n"},
    {SIGINT, "Signal 'SIGINT' was raised (most likely by an user, script, etc.) to initiate an interruption of program "
             "execution.\n"},
    {SIGILL, "Signal 'SIGILL' was raised to due to an invalid instruction. Executable may be invalid.\n"},
    {SIGABRT, "Signal 'SIGABRT' was raised due to an unknown abnormal condition.\n"},
    {SIGFPE, "Signal 'SIGFPE' was raised to due to an erronouse arithmetic operation such as a divide by zero.\n"}};

/// A tool that blocks on its output, and so doesn't end by itself.
class EndingTest : public ::testing::Test {
protected:
    EndingTest() {
        fcntl(m_ends[1], F_SETFL, O_NONBLOCK);
        while (write(m_ends[1], "x", 1) == 1) {
        }
        fcntl(m_ends[1], F_SETFL, 0);
    }

    ~EndingTest() override {
        close(m_ends[0]);
        close(m_ends[1]);
    }

    Program GetBlockedProgram() const {
        Program program = m_tool.GetProgram({"-Help"});
        program.descriptors = {{STDOUT_FILENO, m_ends[1]}};
        return program;
    }

    SetupTool m_tool;
    std::array<int, 2> m_ends = MakePipe();
};

/// Waits until the tool has made its folder, which it does after installing the signal handlers; false on a timeout.
bool WaitForFolder(const std::filesystem::path& folder) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!std::filesystem::exists(folder)) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

TEST_F(EndingTest, ASignalIsSaidAndAbortsTheTool) {
    for (const auto& [number, text] : signalTexts) {
        RunningProgram program(GetBlockedProgram());
        ASSERT_TRUE(WaitForFolder(m_tool.GetFolder() / ".tovra" / "Logs"));
        program.Signal(number);
        const ProgramResult result = program.Wait();
        EXPECT_EQ(result.signal, SIGABRT);
        EXPECT_EQ(result.errors, text);
        std::filesystem::remove_all(m_tool.GetFolder() / ".tovra");
    }
}

// The first process of a process namespace, such as a container's entry point: the kernel ignores its SIGABRT, and it
// ends by the trap of `abort`, whose signal depends on the processor.
TEST_F(EndingTest, ASignalIsSaidOnceAndEndsTheToolAsFirstProcess) {
    for (const auto& [number, text] : signalTexts) {
        SCOPED_TRACE(number);
        Program program = m_tool.GetIsolatedScript(
            "(until [ -d \"$HOME/.tovra/Logs\" ]; do sleep 0.01; done; kill -s \"$2\" 1) & exec \"$1\" -Help",
            {std::to_string(number)});
        program.descriptors = {{STDOUT_FILENO, m_ends[1]}};
        const ProgramResult result = Tests::Run(program);
        EXPECT_FALSE(result.timedOut);
        EXPECT_THAT(result.signal, ::testing::AnyOf(SIGSEGV, SIGTRAP, SIGILL));
        EXPECT_EQ(result.errors.substr(0, 1000), text);
        std::filesystem::remove_all(m_tool.GetFolder() / ".tovra");
    }
}

TEST_F(EndingTest, ASignalBeforeAndAfterMainIsSaidAndAbortsTheTool) {
    const SetupTool tool("", "SetupToolAroundMain");
    EXPECT_THAT(tool.Run({"-Help"}), IsHelp());
    for (const auto& [number, text] : signalTexts) {
        for (const auto& [variable, output] :
             {std::pair("RAISE_AT_START", std::string()), std::pair("RAISE_AT_END", GetHelpOutput())}) {
            Program program = tool.GetProgram({"-Help"});
            program.environment[variable] = std::to_string(number);
            const ProgramResult result = Tests::Run(program);
            EXPECT_EQ(result.signal, SIGABRT);
            EXPECT_EQ(result.errors, text);
            EXPECT_EQ(result.output, output);
        }
    }
}

TEST_F(EndingTest, TheLogContextOfMainIsRegisteredBeforeTheApplicationIsConstructed) {
    const SetupTool tool("", "SetupToolAroundMain");
    Program program = tool.GetProgram({"-Help"});
    program.environment["TELL_CONTEXTS"] = "";
    EXPECT_EQ(Tests::Run(program).errors, "1\n");
}

TEST_F(EndingTest, EveryStartMakesTheFolderOfReportsAndLogs) {
    EXPECT_THAT(m_tool.Run({"-Help"}), IsHelp());
    EXPECT_TRUE(std::filesystem::is_directory(m_tool.GetFolder() / ".tovra" / "Logs"));
    EXPECT_TRUE(std::filesystem::is_empty(m_tool.GetFolder() / ".tovra" / "Logs"));
}

} // namespace

} // namespace Tovra::Tests
