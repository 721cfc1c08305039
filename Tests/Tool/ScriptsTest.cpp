#include <Support/Folders.h>
#include <Support/Program.h>
#include <Support/TemporaryFolder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace Tovra::Tests {

namespace {

using ::testing::HasSubstr;

/// The scripts, with replacements for some of the programs that they call.
class ScriptsTest : public ::testing::Test {
protected:
    /// Replaces a program by a shell script.
    void StandIn(const std::string& name, const std::string& script) const {
        std::filesystem::permissions(m_folder.Write(name, "#!/bin/sh\n" + script + '\n'),
                                     std::filesystem::perms::owner_all);
    }

    ProgramResult Run(const std::string& script, const std::vector<std::string>& arguments) const {
        Program program{.path = GetScriptsFolder() / script, .arguments = arguments};
        std::string& path = program.environment["PATH"];
        path = m_folder.GetPath().string() + ':' + path;
        return Tests::Run(program);
    }

    /// A script run by an unprivileged user on a machine without any of the packages.
    ProgramResult RunWithoutPackages(const std::string& script, const std::vector<std::string>& arguments) const {
        StandIn("dpkg-query", "exit 1");
        StandIn("id", "echo 1000");
        StandIn("sudo", "exit 1");
        StandIn("apt-get", "echo installed");
        return Run(script, arguments);
    }

    ProgramResult RunSetup(const std::string& purpose) const { return RunWithoutPackages("setup", {purpose}); }

    TemporaryFolder m_folder;
};

TEST_F(ScriptsTest, IsolateACommandFromAllOtherProcesses) {
    const ProgramResult result =
        Run("isolated", {"sh", "-c", "echo $$ \"$@\"; echo /proc/[0-9]*; exit 7", "sh", "a b", "c"});
    EXPECT_EQ(result.output, "1 a b c\n/proc/1\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, 7);
}

TEST_F(ScriptsTest, SayOnceWhatTheMachineForbidsBeforeTheyBuildAndTest) {
    StandIn("unshare", "echo 'unshare: unshare failed: Operation not permitted' >&2; exit 1");
    StandIn("cmake", "echo built");
    StandIn("ctest", "echo tested");
    const ProgramResult result = Run("test", {});
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors,
                ::testing::MatchesRegex("Scripts/isolated: this machine forbids a process namespace with a /proc of "
                                        "its own: unshare: unshare failed: Operation not permitted[,;][^\n]*\\.\n"));
    EXPECT_EQ(result.status, 1);
}

TEST_F(ScriptsTest, PrintTheCommandThatInstallsWhatIsMissing) {
    const ProgramResult result = RunSetup("run");
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors, ::testing::MatchesRegex(
                                   "Scripts/setup: packages are missing, and only root may install them:\n"
                                   "sudo sh -c 'apt-get update && apt-get install [^\n']* clang-19 [^\n']* xauth'\n"));
    EXPECT_EQ(result.status, 1);
}

TEST_F(ScriptsTest, PrintTheCommandForSuAtATerminalTooAsItsPasswordCouldNotBeTyped) {
    StandIn("dpkg-query", "exit 1");
    StandIn("id", "echo 1000");
    for (const std::string name : {"bash", "dirname", "readlink"}) {
        StandIn(name, "exec /usr/bin/" + name + " \"$@\"");
    }
    // No other program is found, in particular not sudo.
    const ProgramResult result = Tests::Run({.path = "/usr/bin/script",
                                             .arguments = {"-qec", "/bin/bash \"$SETUP\" run", "/dev/null"},
                                             .environment = {{"PATH", m_folder.GetPath().string()},
                                                             {"SHELL", "/bin/sh"},
                                                             {"SETUP", (GetScriptsFolder() / "setup").string()}}});
    EXPECT_THAT(result.output, HasSubstr("Scripts/setup: packages are missing, and only root may install them:\r\n"
                                         "su --login --command 'apt-get update && apt-get install "));
    EXPECT_EQ(result.status, 1);
}

TEST_F(ScriptsTest, InstallOnlyWhatTheirPurposeNeeds) {
    for (const std::string purpose : {"run", "test", "bench", "check"}) {
        const std::string packages = RunSetup(purpose).errors;
        const auto expect = [&packages, &purpose](const std::string& package, bool isNeeded) {
            EXPECT_EQ(packages.find(' ' + package) != std::string::npos, isNeeded) << purpose << ": " << package;
        };
        expect("xvfb", true);
        expect("googletest", purpose != "run");
        expect("weston", purpose != "run");
        expect("hyperfine", purpose == "bench");
        expect("clang-tidy-19", purpose == "check");
    }
    EXPECT_EQ(RunSetup("nothing").status, 2);
}

TEST_F(ScriptsTest, AskForThePackagesOfTheirOwnPurposeAndOfNoOther) {
    StandIn("unshare", "exit 0");
    for (const std::string program : {"cmake", "ctest", "find"}) {
        StandIn(program, "echo " + program);
    }
    const std::vector<std::string> samples{"googletest", "hyperfine", "clang-tidy-19"};
    using Samples = std::vector<std::string>;
    const auto ask = [&](const std::string& script, const std::vector<std::string>& arguments) {
        const ProgramResult result = RunWithoutPackages(script, arguments);
        EXPECT_EQ(result.output, "") << script;
        EXPECT_EQ(result.status, 1) << script;
        EXPECT_THAT(result.errors, HasSubstr(" clang-19 ")) << script;
        Samples asked;
        std::ranges::copy_if(samples, std::back_inserter(asked), [&result](const std::string& package) {
            return result.errors.find(' ' + package) != std::string::npos;
        });
        return asked;
    };
    EXPECT_EQ(ask("run", {}), Samples{});
    EXPECT_EQ(ask("build", {"release"}), Samples{});
    EXPECT_EQ(ask("build", {}), Samples{"googletest"});
    EXPECT_EQ(ask("build", {"asan"}), Samples{"googletest"});
    EXPECT_EQ(ask("test", {}), Samples{"googletest"});
    EXPECT_EQ(ask("bench", {}), (Samples{"googletest", "hyperfine"}));
    EXPECT_EQ(ask("check", {}), (Samples{"googletest", "clang-tidy-19"}));
    EXPECT_EQ(ask("build", {"macos-cross"}), (Samples{"googletest", "clang-tidy-19"}));
}

TEST_F(ScriptsTest, InstallAllWithoutAPurposeAndAreSilentWhereNothingIsMissing) {
    RunSetup("run");
    const std::string packages = Run("setup", {}).errors;
    for (const std::string package : {"xvfb", "googletest", "hyperfine", "clang-tidy-19"}) {
        EXPECT_THAT(packages, HasSubstr(' ' + package));
    }
    StandIn("dpkg-query", "while [ $# -gt 3 ]; do shift; echo \"installed $3\"; done");
    const ProgramResult result = Run("setup", {});
    EXPECT_EQ(result.output + result.errors, "");
    EXPECT_EQ(result.status, 0);
}

} // namespace

} // namespace Tovra::Tests
