#include <Support/Program.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

namespace Tovra::Tests {

namespace {

Program GetShell(const std::string& script) {
    return {.path = "sh", .arguments = {"-c", script}};
}

TEST(Program, CollectsBothStreamsAndTheStatus) {
    const ProgramResult result = Tests::Run(GetShell("printf 'a\\000b'; echo c >&2; exit 7"));
    EXPECT_EQ(result.output, std::string("a\0b", 3));
    EXPECT_EQ(result.errors, "c\n");
    EXPECT_EQ(result.status, 7);
    EXPECT_EQ(result.signal, 0);
    EXPECT_FALSE(result.timedOut);
}

TEST(Program, TellsTheSignalThatEndedAProgram) {
    const ProgramResult result = Tests::Run(GetShell("kill -TERM $$"));
    EXPECT_EQ(result.signal, SIGTERM);
    EXPECT_EQ(result.status, -1);
}

TEST(Program, KillsAProgramThatReadsItsStandardInput) {
    Program program = GetShell("echo before; cat");
    program.timeLimit = std::chrono::seconds(1);
    const ProgramResult result = Tests::Run(program);
    EXPECT_TRUE(result.timedOut);
    EXPECT_EQ(result.signal, SIGKILL);
    EXPECT_EQ(result.output, "before\n");
}

TEST(Program, GivesStatus127ToWhatCanNotBeExecuted) {
    EXPECT_EQ(Tests::Run({.path = "/does/not/exist"}).status, 127);
}

TEST(Program, ClosesDescriptorsAndPassesNoOthers) {
    // A pipeline or a directory listing would open further descriptors.
    Program program = GetShell("for number in 0 1 2 3 4 5 6 7 8 9; do"
                               " test ! -e /proc/$$/fd/$number || printf '%s ' $number; done");
    program.closedDescriptors = {STDIN_FILENO, STDERR_FILENO};
    EXPECT_EQ(Tests::Run(program).output, "1 ");
}

TEST(Program, PassesTheGivenEnvironmentAlone) {
    Program program{.path = "env"};
    program.environment = {{"PATH", "/usr/bin"}, {"A", "b c"}};
    EXPECT_EQ(Tests::Run(program).output, "A=b c\nPATH=/usr/bin\n");
}

TEST(Program, WaitsForOutputOfARunningProgram) {
    RunningProgram program(GetShell("echo ready; cat"));
    EXPECT_TRUE(program.WaitForOutput("ready\n"));
    EXPECT_TRUE(program.IsRunning());
    program.Signal(SIGKILL);
    EXPECT_EQ(program.Wait().signal, SIGKILL);
    EXPECT_FALSE(program.IsRunning());
}

} // namespace

} // namespace Tovra::Tests
