#include <Support/Folders.h>
#include <Support/Program.h>
#include <Support/TemporaryFolder.h>

#include <Programs.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Tovra::Tests {

namespace {

using Benchmarks::RunForUsage;
using ::testing::ContainsRegex;
using ::testing::ExitedWithCode;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

/// A command that runs a shell script.
Benchmarks::Command MakeScript(const std::string& script) {
    return {"sh", "-c", script};
}

/// Programs, with these arguments.
ProgramResult RunPrograms(const std::vector<std::string>& arguments) {
    return Run({.path = GetBinaryFolder() / "ProgramsUnderTest", .arguments = arguments});
}

TEST(Programs, TellWhatAProgramUsedThatEndsWithTheExpectedStatus) {
    EXPECT_GT(RunForUsage({"true"}).ru_maxrss, 0);
    EXPECT_GT(RunForUsage(MakeScript("exit 3"), 3).ru_minflt, 0);
    EXPECT_NO_FATAL_FAILURE(Benchmarks::MakeRun({"true"})());
}

TEST(ProgramsDeathTest, AProgramThatFailsIsNoMeasurement) {
    EXPECT_EXIT(RunForUsage(MakeScript("exit 3")), ExitedWithCode(2),
                "^sh -c exit 3 ended with status 3 instead of status 0.\n$");
    EXPECT_EXIT(RunForUsage(MakeScript("exit 0"), 1), ExitedWithCode(2),
                "^sh -c exit 0 ended with status 0 instead of status 1.\n$");
    EXPECT_EXIT(RunForUsage(MakeScript("kill -s KILL $$")), ExitedWithCode(2),
                "was ended by signal 9 instead of status 0.\n$");
    EXPECT_EXIT(Benchmarks::MakeRun({"false"})(), ExitedWithCode(2), "^false ended with status 1");
}

TEST(ProgramsDeathTest, AProgramThatIsMissingIsNoMeasurement) {
    EXPECT_EXIT(RunForUsage({"/nowhere/program"}), ExitedWithCode(2), "^It does not run: /nowhere/program\n$");
}

TEST(Programs, PrintTimesPageFaultsAndResidentSetsOfEachProgram) {
    const ProgramResult result = RunPrograms({"3", "0", "echo", "text", "--", "1", "false"});
    EXPECT_EQ(result.status, 0) << result.errors;
    const std::string line = "[0-9]+ [0-9]+ [0-9]+\t[0-9]+ [0-9]+ [0-9]+\t[0-9]+ [0-9]+ [0-9]+ [0-9]+ [0-9]+\n";
    EXPECT_THAT(result.output, MatchesRegex(line + line));
}

TEST(Programs, RunOnceMoreThanTheyAreTimedAndFiveTimesForTheirResidentSets) {
    const TemporaryFolder folder;
    const std::string log = folder.GetPath() / "runs";
    EXPECT_EQ(RunPrograms({"4", "0", "sh", "-c", "echo >>\"$0\"", log}).status, 0);
    EXPECT_EQ(folder.Read("runs").size(), 1U + 4U + 5U);
}

TEST(Programs, FailIfOneOfThemFails) {
    const ProgramResult result = RunPrograms({"1", "0", "true", "--", "0", "sh", "-c", "exit 4"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "sh -c exit 4 ended with status 4 instead of status 0.\n");
}

TEST(Programs, FailIfOneFailsOnlyAfterItsTimesWereTaken) {
    const TemporaryFolder folder;
    const std::string script =
        R"-(echo >>"$0"; [ "$(wc -l <"$0")" -lt 3 ])-"; // The first and the second run are timed.
    const ProgramResult result = RunPrograms({"1", "0", "sh", "-c", script, folder.GetPath() / "runs"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.errors, ContainsRegex("ended with status 1 instead of status 0.\n$"));
}

TEST(Programs, RefuseOtherArguments) {
    const std::vector<std::vector<std::string>> wrong{{},
                                                      {"1"},
                                                      {"1", "0"},
                                                      {"1", "true"},
                                                      {"x", "0", "true"},
                                                      {"1", "0", "true", "--"},
                                                      {"1", "0", "true", "--", "0"}};
    for (const std::vector<std::string>& arguments : wrong) {
        const ProgramResult result = RunPrograms(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.errors, StartsWith("Usage: Programs <rounds> <status> <program>"));
    }
}

} // namespace

} // namespace Tovra::Tests
