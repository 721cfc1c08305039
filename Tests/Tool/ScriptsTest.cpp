#include <Support/Folders.h>
#include <Support/Program.h>
#include <Support/TemporaryFolder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace Tovra::Tests {

namespace {

using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::Not;

/// The scripts, with replacements for some of the programs that they call.
class ScriptsTest : public ::testing::Test {
protected:
    /// Replaces a program by a shell script.
    void StandIn(const std::string& name, const std::string& script) const {
        std::filesystem::permissions(m_folder.Write(name, "#!/bin/sh\n" + script + '\n'),
                                     std::filesystem::perms::owner_all);
    }

    ProgramResult Run(const std::string& script, const std::vector<std::string>& arguments) const {
        return RunAt(GetScriptsFolder() / script, arguments);
    }

    ProgramResult RunAt(const std::filesystem::path& path, const std::vector<std::string>& arguments) const {
        Program program{.path = path, .arguments = arguments};
        std::string& folders = program.environment["PATH"];
        folders = m_folder.GetPath().string() + ':' + folders;
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
    for (const std::string name : {"bash", "dirname", "readlink", "uname"}) {
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
    for (const std::string purpose : {"run", "test", "bench", "fuzz", "check", "package", "places"}) {
        const bool isTested = purpose != "run" && purpose != "package" && purpose != "places";
        const std::string packages = RunSetup(purpose).errors;
        const auto expect = [&packages, &purpose](const std::string& package, bool isNeeded) {
            EXPECT_EQ(packages.find(' ' + package) != std::string::npos, isNeeded) << purpose << ": " << package;
        };
        expect("xvfb", true);
        expect("googletest", isTested);
        expect("python3-clang-19", isTested);
        expect("binutils", isTested);
        expect("weston", isTested);
        expect("libspdlog-dev", purpose == "bench");
        expect("nlohmann-json3-dev", purpose == "fuzz" || purpose == "bench");
        expect("clang-tidy-19", purpose == "check");
        expect("dpkg-dev", purpose == "package" || purpose == "places");
        expect("ansible-core", purpose == "places");
        expect("lintian", purpose == "places");
    }
    const ProgramResult result = RunSetup("nothing");
    EXPECT_EQ(result.errors, "Usage: Scripts/setup [run | test | bench | fuzz | check | package | places]\n");
    EXPECT_EQ(result.status, 2);
}

TEST_F(ScriptsTest, AskForThePackagesOfTheirOwnPurposeAndOfNoOther) {
    StandIn("unshare", "exit 0");
    for (const std::string program : {"cmake", "ctest", "find"}) {
        StandIn(program, "echo " + program);
    }
    const std::vector<std::string> samples{"googletest", "libspdlog-dev", "nlohmann-json3-dev", "clang-tidy-19"};
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
    EXPECT_EQ(ask("check-mutants", {}), Samples{"googletest"});
    EXPECT_EQ(ask("bench", {}), (Samples{"googletest", "libspdlog-dev", "nlohmann-json3-dev"}));
    EXPECT_EQ(ask("fuzz", {}), (Samples{"googletest", "nlohmann-json3-dev"}));
    EXPECT_EQ(ask("build", {"fuzz"}), (Samples{"googletest", "nlohmann-json3-dev"}));
    EXPECT_EQ(ask("check", {}), (Samples{"googletest", "clang-tidy-19"}));
    EXPECT_EQ(ask("build", {"macos-cross"}), (Samples{"googletest", "clang-tidy-19"}));
}

TEST_F(ScriptsTest, InstallAllWithoutAPurposeAndAreSilentWhereNothingIsMissing) {
    RunSetup("run");
    const std::string packages = Run("setup", {}).errors;
    for (const std::string package : {"xvfb", "googletest", "libspdlog-dev", "nlohmann-json3-dev", "clang-tidy-19"}) {
        EXPECT_THAT(packages, HasSubstr(' ' + package));
    }
    StandIn("dpkg-query", "while [ $# -gt 3 ]; do shift; echo \"installed $3\"; done");
    const ProgramResult result = Run("setup", {});
    EXPECT_EQ(result.output + result.errors, "");
    EXPECT_EQ(result.status, 0);
}

/// A small tree of sources under git, with the scripts in it and stand-ins for what they need. The first commits are on
/// main, and the branch that leaves it there is at work.
class ScriptsOnABranchTest : public ScriptsTest {
protected:
    ScriptsOnABranchTest() {
        std::filesystem::create_directories(m_root);
        std::filesystem::copy(GetScriptsFolder(), m_root / "Scripts", std::filesystem::copy_options::recursive);
        std::filesystem::create_directories(m_root / "Tests/Support");
        std::filesystem::copy_file(GetTestsFolder() / "Support/history.py", m_root / "Tests/Support/history.py");
        Write("Scripts/check-quirks", "#!/bin/sh\n");
        Write("Scripts/check-lines", "#!/bin/sh\n");
        Write("Source/System/A/Both.h", "");
        Write("Source/System/A/Both.cpp", "");
        Write("Source/System/A/Both_Linux.cpp", "");
        Write("Source/System/A/Both_MacOS.cpp", "");
        Write("Source/System/A/Panel_MacOS.mm", "#include <System/A/Mac_MacOS.h>\n");
        Write("Source/System/A/Mac_MacOS.h", "");
        Write("Source/System/A/MacUser_MacOS.cpp", "#include <System/A/Mac_MacOS.h>\n");
        Write("Source/System/A/Alone.h", "");
        Write("Source/System/A/Deeper.h", "");
        Write("Source/System/A/Between.h", "#include <System/A/Deeper.h>\n");
        Write("Source/System/A/Last.cpp", "#include <System/A/Between.h>\n");
        Write("Source/System/A/User.cpp", "#include <System/A/Alone.h>\n");
        Write("Source/System/A/Other.cpp", "#include <System/A/Alone.h>\n");
        Write("Tests/System/A/BothTest.cpp", "");
        Write("Documentation/Both.h", "");
        Git({"init", "--quiet", "--initial-branch=main"});
        Commit();
        // As long as the branch is where it left main, it is compared with the commit before.
        Git({"commit", "--quiet", "--allow-empty", "--message=Nothing"});
        Git({"checkout", "--quiet", "-b", "branch"});

        StandIn("dpkg-query", "while [ $# -gt 3 ]; do shift; echo \"installed $3\"; done");
        StandIn("cmake", "");
        StandIn("clang-format-19", "echo clang-format \"$@\"");
        StandIn("clang-tidy-19", "for file; do :; done; echo \"$file\"; exit 1");
        StandIn("yamllint", "");
        Write("Scripts/check-comments", "#!/bin/sh\n");
        Write("build/debug/bin/StructureTests", "#!/bin/sh\n");
        std::filesystem::permissions(m_root / "build/debug/bin/StructureTests", std::filesystem::perms::owner_all);
    }

    void Write(const std::string& name, const std::string& text) const {
        std::filesystem::create_directories((m_root / name).parent_path());
        std::ofstream stream(m_root / name);
        stream << text;
    }

    void Git(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"-c", "user.name=Test", "-c", "user.email=test@localhost"});
        const ProgramResult result = Tests::Run({.path = "git", .arguments = arguments, .folder = m_root});
        ASSERT_EQ(result.status, 0) << result.errors;
    }

    void Commit() const {
        Git({"add", "--all"});
        Git({"commit", "--quiet", "--message=Change"});
    }

    ProgramResult RunCopy(const std::string& script, const std::vector<std::string>& arguments) const {
        return RunAt(m_root / "Scripts" / script, arguments);
    }

    std::filesystem::path m_root = m_folder.GetPath() / "Größe and more/it's";
};

TEST_F(ScriptsOnABranchTest, FormatAndCheckTheSameSources) {
    const std::string all = " Source/System/A/Alone.h Source/System/A/Between.h Source/System/A/Both.cpp "
                            "Source/System/A/Both.h Source/System/A/Both_Linux.cpp Source/System/A/Both_MacOS.cpp "
                            "Source/System/A/Deeper.h Source/System/A/Last.cpp Source/System/A/MacUser_MacOS.cpp "
                            "Source/System/A/Mac_MacOS.h Source/System/A/Other.cpp Source/System/A/Panel_MacOS.mm "
                            "Source/System/A/User.cpp Tests/System/A/BothTest.cpp\n";
    Write("Benchmarks/None.txt", "");
    Write("Examples/None.txt", "");
    Write("Packaging/None.txt", "");
    EXPECT_EQ(RunCopy("format", {}).output, "clang-format -i" + all);
    EXPECT_EQ(RunCopy("format", {"--check"}).output, "clang-format --dry-run -Werror" + all);
    EXPECT_EQ(RunCopy("format", {"--all"}).status, 2);
    EXPECT_EQ(RunCopy("check", {"--all"}).status, 2);
}

TEST_F(ScriptsOnABranchTest, FormatWhatDiffersFromTheBranchPoint) {
    EXPECT_EQ(RunCopy("format", {"--changed"}).output, "");
    Write("Source/System/A/Both.cpp", "// Committed\n");
    std::filesystem::remove(m_root / "Source/System/A/User.cpp");
    Commit();
    Git({"checkout", "--quiet", "main"});
    Write("Source/System/A/Other.cpp", "// Changed on main since\n");
    Commit();
    Git({"checkout", "--quiet", "branch"});
    Write("Source/System/A/Both.h", "// Staged\n");
    Git({"add", "--all"});
    Write("Source/System/A/Both_Linux.cpp", "// Not staged\n");
    Write("Tests/New.cpp", "// Not known to git\n");
    Write("Documentation/Both.h", "// Not a source\n");
    EXPECT_EQ(RunCopy("format", {"--changed"}).output,
              "clang-format -i Source/System/A/Both.cpp Source/System/A/Both.h Source/System/A/Both_Linux.cpp "
              "Tests/New.cpp\n");
}

TEST_F(ScriptsOnABranchTest, FormatWhatDiffersFromTheLastCommitOnMainOrWithoutIt) {
    Write("Source/System/A/Both.cpp", "// Before\n");
    Commit();
    Write("Source/System/A/Other.cpp", "// Last\n");
    Commit();
    Git({"branch", "--quiet", "--force", "main"});
    EXPECT_EQ(RunCopy("format", {"--changed"}).output, "clang-format -i Source/System/A/Other.cpp\n");
    Git({"branch", "--quiet", "-D", "main"});
    EXPECT_EQ(RunCopy("format", {"--changed"}).output, "clang-format -i Source/System/A/Other.cpp\n");
}

TEST_F(ScriptsOnABranchTest, FailWhereGitKnowsNoChanges) {
    StandIn("git", "exit 128");
    const ProgramResult result = RunCopy("format", {"--changed"});
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors, ::testing::StartsWith("history.py: git ls-files fails in "));
    EXPECT_NE(result.status, 0);
}

TEST_F(ScriptsOnABranchTest, LintTheSourcesOfAChangedHeader) {
    EXPECT_EQ(RunCopy("check", {"--changed"}).status, 0);
    Write("Source/System/A/Both.h", "// Changed\n");
    ProgramResult result = RunCopy("check", {"--changed"});
    EXPECT_THAT(result.output, HasSubstr("Source/System/A/Both.cpp\n"));
    EXPECT_THAT(result.output, HasSubstr("Source/System/A/Both_Linux.cpp\n"));
    EXPECT_THAT(result.output, HasSubstr("Source/System/A/Both_MacOS.cpp\n"));
    EXPECT_THAT(result.output, Not(AnyOf(HasSubstr("Other"), HasSubstr("BothTest"))));
    EXPECT_NE(result.status, 0);

    Git({"checkout", "--quiet", "."});
    Write("Source/System/A/Mac_MacOS.h", "// Changed\n");
    Write("Source/System/A/Panel_MacOS.mm", "// Changed\n");
    result = RunCopy("check", {"--changed"});
    EXPECT_THAT(result.output, HasSubstr("\nSource/System/A/MacUser_MacOS.cpp\n"));
    EXPECT_THAT(result.output, Not(HasSubstr("\nSource/System/A/Panel_MacOS.mm\n")));

    Git({"checkout", "--quiet", "."});
    Write("Source/System/A/Alone.h", "// Changed\n");
    result = RunCopy("check", {"--changed"});
    EXPECT_THAT(result.output, HasSubstr("Source/System/A/Other.cpp\n"));
    EXPECT_THAT(result.output, Not(HasSubstr("User.cpp")));

    Git({"checkout", "--quiet", "."});
    Write("Source/System/A/Deeper.h", "// Changed\n");
    EXPECT_THAT(RunCopy("check", {"--changed"}).output, HasSubstr("Source/System/A/Last.cpp\n"));
}

TEST_F(ScriptsOnABranchTest, CompareTheListOfOddRulesThoughNoSourceDiffers) {
    Write("Scripts/check-quirks", "#!/bin/sh\necho quirks \"$@\"\nexit 1\n");
    const ProgramResult result = RunCopy("check", {"--changed"});
    EXPECT_EQ(result.output, "quirks --marks\n");
    EXPECT_EQ(result.status, 1);
}

TEST_F(ScriptsOnABranchTest, LookForLongLinesThoughNoSourceDiffers) {
    Write("Scripts/check-lines", "#!/bin/sh\necho lines \"$@\"\nexit 1\n");
    const ProgramResult result = RunCopy("check", {"--changed"});
    EXPECT_EQ(result.output, "lines\n");
    EXPECT_EQ(result.status, 1);
}

TEST_F(ScriptsOnABranchTest, RefuseACommitThatFailsTheCheckIfThatIsSwitchedOn) {
    const auto commit = [this](const std::string& file) {
        Write(file, "// Changed\n");
        return RunAt("git", {"-C", m_root, "-c", "user.name=Test", "-c", "user.email=test@localhost", "-c",
                             "core.hooksPath=Scripts/hooks", "commit", "--quiet", "--all", "--message=Change"});
    };
    ProgramResult result = commit("Documentation/Both.h");
    EXPECT_EQ(result.status, 0) << result.errors;
    result = commit("Source/System/A/Other.cpp");
    EXPECT_THAT(result.errors, HasSubstr("Source/System/A/Other.cpp\n"));
    EXPECT_EQ(result.status, 1);
}

/// A tree with programs that count what they run, and a stand-in that says what is made of it.
class ScriptsThatCountTest : public ScriptsOnABranchTest {
protected:
    ScriptsThatCountTest() {
        StandIn("unshare", "exit 0");
        std::filesystem::create_directories(m_root / "Tests/Coverage");
        std::filesystem::copy_file(GetTestsFolder() / "Coverage/prepare", m_root / "Tests/Coverage/prepare");
        Measure("echo \"$@\"; ls build/coverage/Profiles");
        Write("build/coverage/Profiles/Old", "");
    }

    /// Judges by this; what is wrong with options is nothing.
    void Measure(const std::string& script) const { WriteMeasure("[ \"$1\" != --parse ] || exit 0\n" + script + '\n'); }

    void WriteMeasure(const std::string& script) const {
        Write("Tests/Coverage/measure.py", "#!/bin/sh\n" + script);
        std::filesystem::permissions(m_root / "Tests/Coverage/measure.py", std::filesystem::perms::owner_all);
    }

    /// Lets the scripts make real namespaces, in which folders are mounted.
    void Isolate() const { std::filesystem::remove(m_folder.GetPath() / "unshare"); }
};

TEST_F(ScriptsThatCountTest, JudgeTheRunsOfTheirTestsAloneAndNoneBefore) {
    StandIn("ctest", "echo \"$2\" >build/coverage/Profiles/$2.profraw");
    const ProgramResult result = RunCopy("coverage", {});
    EXPECT_EQ(result.output, "build/coverage --write Documentation/Reliability.md\ncoverage.profraw\n");
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(RunCopy("coverage", {"--branches"}).output, "build/coverage --branches\ncoverage.profraw\n");
}

TEST_F(ScriptsThatCountTest, KeepTheRunOfAllTestsWhereThoseOfTheMacOSHostAreCountedAlone) {
    Isolate();
    StandIn("ctest", "echo \"$2\" >build/coverage/Profiles/$2.profraw");
    Measure("echo \"$@\"; find build/coverage/*Profiles -type f | sort");
    Write("build/coverage/MacProfiles/Older", "");
    const std::string expected = "build/coverage --macos --profiles build/coverage/MacProfiles\n"
                                 "build/coverage/MacProfiles/mac-coverage.profraw\n";
    ProgramResult result = RunCopy("mac-coverage", {});
    EXPECT_EQ(result.output, expected + "build/coverage/Profiles/Old\n");
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(std::filesystem::status(m_root / "build/coverage/MacProfiles").permissions(),
              std::filesystem::perms::all);
    // Before any run of all tests, too.
    std::filesystem::remove_all(m_root / "build/coverage");
    result = RunCopy("mac-coverage", {});
    EXPECT_EQ(result.output, expected);
    EXPECT_EQ(result.status, 0) << result.errors;
}

TEST_F(ScriptsThatCountTest, CountForAllUsers) {
    StandIn("ctest", "");
    ASSERT_EQ(RunCopy("coverage", {}).status, 0);
    EXPECT_EQ(std::filesystem::status(m_root / "build/coverage/Profiles").permissions(), std::filesystem::perms::all);
}

TEST_F(ScriptsThatCountTest, FailWithTheirTestsAndWithTheJudgement) {
    Isolate();
    for (const std::string script : {"mac-coverage", "coverage"}) {
        StandIn("ctest", "echo failed >build/coverage/tests.log; exit 8");
        ProgramResult result = RunCopy(script, {});
        EXPECT_EQ(result.output, "failed\n");
        EXPECT_EQ(result.status, 1) << script;
        StandIn("ctest", "");
        Measure("exit 1");
        EXPECT_EQ(RunCopy(script, {}).status, 1) << script;
        Measure("exit 0");
        EXPECT_EQ(RunCopy(script, {}).status, 0) << script;
    }
}

TEST_F(ScriptsThatCountTest, LookAtTheirArgumentsBeforeTheyBuild) {
    StandIn("cmake", "echo built");
    StandIn("ctest", "echo tested");
    // A judge that refuses the options, or prints its help.
    WriteMeasure("echo \"$*\" >&2; exit 2\n");
    ProgramResult result = RunCopy("coverage", {"--brnaches", "a b"});
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "--parse Scripts/coverage --brnaches a b\n");
    EXPECT_EQ(result.status, 2);
    WriteMeasure("echo help\n");
    result = RunCopy("coverage", {"--help"});
    EXPECT_EQ(result.output, "help\n");
    EXPECT_EQ(result.status, 0);

    result = RunCopy("mac-coverage", {"--branches"});
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "Usage: Scripts/mac-coverage\n");
    EXPECT_EQ(result.status, 2);
    result = RunCopy("mac-coverage", {"--help"});
    EXPECT_THAT(result.output, ::testing::StartsWith("Usage: Scripts/mac-coverage\n"));
    EXPECT_THAT(result.output, Not(HasSubstr("built")));
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(std::filesystem::exists(m_root / "build/coverage/Profiles/Old"));
}

TEST_F(ScriptsTest, LookAtTheArgumentsOfAQuirksCheckBeforeTheyBuild) {
    StandIn("cmake", "echo built");
    StandIn("unshare", "echo isolated");
    ProgramResult result = Run("check-quirks", {"--chnaged"});
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors, ::testing::StartsWith("usage: Scripts/check-quirks "));
    EXPECT_EQ(result.status, 2);
    result = Run("check-quirks", {"--help"});
    EXPECT_THAT(result.output, ::testing::StartsWith("usage: Scripts/check-quirks "));
    EXPECT_THAT(result.output, Not(AnyOf(HasSubstr("built"), HasSubstr("isolated"))));
    EXPECT_EQ(result.status, 0);
}

/// A tree with one fuzz target, which a shell script stands for.
class ScriptsThatFuzzTest : public ScriptsOnABranchTest {
protected:
    ScriptsThatFuzzTest() {
        Write("Tests/Fuzz/NameFuzz.cpp",
              "// Oracle: a peer\n// Reaches: Room::One Room::Two\n// Reaches: Room::Three\n");
        Write("Tests/Fuzz/Corpora/NameFuzz/seed", "");
    }

    /// Runs the script on a target that prints this and ends with that status.
    ProgramResult Fuzz(const std::string& output, int status = 0) const {
        const std::string target = "build/fuzz/bin/NameFuzz";
        Write(target, "#!/bin/sh\ncat <<'END'\n" + output + "END\nexit " + std::to_string(status) + '\n');
        std::filesystem::permissions(m_root / target, std::filesystem::perms::owner_all);
        return RunCopy("fuzz", {"1"});
    }

    const std::string m_covered = "COVERED_FUNC: hits: 1 edges: 2/3 Room::One() A.cpp:1\n"
                                  "UNCOVERED_FUNC: hits: 0 edges: 1/3 Room::Two(int) const A.cpp:2\n"
                                  "COVERED_FUNC: hits: 3 edges: 3/3 Room::Three(int) A.cpp:3\n";
    const std::string m_end =
        "#9\tDONE   cov: 7 ft: 8 corp: 1/1b\nOutcome: 5 a text\nstat::number_of_executed_units: 9\n";
};

TEST_F(ScriptsThatFuzzTest, SayWhatWasRunAndWhatItWasComparedWith) {
    const ProgramResult result = Fuzz(m_end + m_covered);
    EXPECT_EQ(result.output, "NameFuzz: 9 runs, 7 edges, compared with a peer\n");
    EXPECT_EQ(result.status, 0) << result.errors;
}

TEST_F(ScriptsThatFuzzTest, FailOnAFindingAndKeepIt) {
    const ProgramResult result = Fuzz("NEW\nViolated: a rule \"input\"\n", 77);
    EXPECT_EQ(result.output, "NameFuzz: a finding, see build/fuzz/findings/NameFuzz:\nViolated: a rule \"input\"\n");
    EXPECT_NE(result.status, 0);
    EXPECT_TRUE(std::filesystem::exists(m_root / "build/fuzz/findings/NameFuzz/log"));
}

TEST_F(ScriptsThatFuzzTest, FailOnAFunctionThatWasNotReached) {
    const ProgramResult result = Fuzz(m_end + "UNCOVERED_FUNC: hits: 0 edges: 0/3 Room::One() A.cpp:1\n"
                                              "COVERED_FUNC: hits: 1 edges: 1/3 Room::TwoMore(int) A.cpp:2\n"
                                              "COVERED_FUNC: hits: 3 edges: 3/3 Room::Three(int) A.cpp:3\n");
    EXPECT_THAT(result.output, HasSubstr("\n    never reached: Room::One\n    never reached: Room::Two\n"));
    EXPECT_THAT(result.output, Not(HasSubstr("Three")));
    EXPECT_NE(result.status, 0);
}

TEST_F(ScriptsThatFuzzTest, FailOnAnOutcomeThatDidNotComeUp) {
    const ProgramResult result = Fuzz("Outcome: 0 a valid text\nOutcome: 10 a text\n" + m_end + m_covered);
    EXPECT_THAT(result.output, ::testing::EndsWith("a peer\n    never came across: a valid text\n"));
    EXPECT_NE(result.status, 0);
}

TEST_F(ScriptsThatFuzzTest, FailOnATargetWithoutAnOracle) {
    Write("Tests/Fuzz/NameFuzz.cpp", "// Reaches: Room::One\n");
    const ProgramResult result = Fuzz(m_end + m_covered);
    EXPECT_THAT(result.errors, HasSubstr("NameFuzz names no oracle"));
    EXPECT_NE(result.status, 0);
}

TEST_F(ScriptsThatFuzzTest, FailOnATargetThatNamesNoFunction) {
    for (const char* const line :
         {"", "// Reaches:\n", "// Reaches:  \n", "// Reached: Room::One\n", "//Reaches: Room::One\n"}) {
        SCOPED_TRACE(line);
        Write("Tests/Fuzz/NameFuzz.cpp", std::string("// Oracle: a peer\n") + line);
        const ProgramResult result = Fuzz(m_end + m_covered);
        EXPECT_THAT(result.output, ::testing::EndsWith("a peer\n    names no function that it reaches\n"));
        EXPECT_NE(result.status, 0);
    }
}

TEST_F(ScriptsThatFuzzTest, FailOnATargetThatPrintsNoOutcome) {
    for (const char* const line : {"", "Outcome:\n", "an Outcome: 5 a text\n"}) {
        SCOPED_TRACE(line);
        const ProgramResult result =
            Fuzz("#9\tDONE   cov: 7 ft: 8 corp: 1/1b\nstat::number_of_executed_units: 9\n" + m_covered + line);
        EXPECT_THAT(result.output, ::testing::EndsWith("a peer\n    counts no outcome\n"));
        EXPECT_NE(result.status, 0);
    }
}

TEST_F(ScriptsTest, AreThereForTheHostedChecks) {
    const std::filesystem::path root = GetScriptsFolder().parent_path();
    std::ifstream file(root / ".github/workflows/check.yml");
    std::vector<std::string> commands;
    for (std::string line; std::getline(file, line);) {
        if (const std::size_t start = line.find("run: "); start != std::string::npos) {
            commands.push_back(line.substr(start + 5, line.find(' ', start + 5) - start - 5));
        }
    }
    EXPECT_THAT(commands, ::testing::IsSupersetOf({".ci/run", "Scripts/setup", "Scripts/test", "Scripts/check"}));
    for (const std::string& command : commands) {
        EXPECT_TRUE(command == "apt-get" || access((root / command).c_str(), X_OK) == 0) << command;
    }
}

TEST_F(ScriptsTest, FindPublicDeclarationsWithoutAComment) {
    m_folder.Write("Good.h", R"(
#define UNTIL_THE_END
#undef UNTIL_THE_END

namespace Room {
class Forward;

/// A macro.
#define MACRO
#define NEXT_MACRO

/// A type.
struct [[nodiscard]] Record {
    int field;

    void operator()() const;

    struct {
        int part;
    } whole;
};

template <class T>
void Template(); ///< A function.

template <>
void Template<int>();

/// A class.
class Class {
public:
    Class();

    ~Class();

    Class(const Class&) = delete;

    Class& operator=(const Class&);

    friend bool operator==(const Class&, const Class&) = default;

    /// First of a group.
    virtual void First();
    void Second();
    template <class T>
    void Third(T) {
        First();
    }
    static constexpr int fourth = 4;

private:
    struct Hidden {
        void Method();
    };

    void Method();
};

/// A function.
[[nodiscard]]
int Attributed();

/// Another class.
class Derived : Class {
public:
    void First() override;
};

/// An enumeration.
enum class Color { Red };

/// What a namespace is about.
namespace Kinds {
enum class ID {};
}
} // namespace Room
)");
    EXPECT_EQ(Run("check-comments", {m_folder.GetPath().string()}).output, "");
    EXPECT_EQ(Run("check-comments", {m_folder.GetPath().string()}).status, 0);

    m_folder.Write("Bad.h", R"(
#define MACRO_1

namespace Room {

// Not a comment of that kind.
void Function2();

struct Struct3 {
    int field4;

    /// A method.
    void operator()() const;

    void operator+=(int) { }

    friend bool operator<(const Struct3&, const Struct3&) { return false; }
};

/// A constant.
constexpr int constant = 5;

constexpr int constant6 = 6;

/// Two lines above.

enum class Enum7 {};
template <class T>
concept Concept8 = true;

template <class T>
using Alias9 = T;

} // namespace Room
)");
    const ProgramResult result = Run("check-comments", {m_folder.GetPath().string()});
    std::string findings;
    std::istringstream lines(result.output);
    for (std::string line; std::getline(lines, line);) {
        findings += line.substr(line.find("Bad.h:")) + '\n';
    }
    EXPECT_EQ(findings, "Bad.h:2: MACRO_1 has no comment\n"
                        "Bad.h:7: Function2 has no comment\n"
                        "Bad.h:9: Struct3 has no comment\n"
                        "Bad.h:10: field4 has no comment\n"
                        "Bad.h:15: operator+= has no comment\n"
                        "Bad.h:17: operator< has no comment\n"
                        "Bad.h:23: constant6 has no comment\n"
                        "Bad.h:27: Enum7 has no comment\n"
                        "Bad.h:28: Concept8 has no comment\n"
                        "Bad.h:31: Alias9 has no comment\n");
    EXPECT_EQ(result.status, 1);
}

TEST_F(ScriptsTest, FindLinesOfPythonAndShellThatAreTooLong) {
    EXPECT_EQ(Run("check-lines", {m_folder.GetPath().string()}).status, 2) << "There is nothing to check.";
    const std::string longest(119, 'x');
    // Characters count, not bytes.
    const std::string umlauts = "# " + longest.substr(1) + "\n# ä" + longest.substr(2) + '\n';
    for (const auto& [name, text] :
         {std::pair("module.py", "import os\n"), std::pair("python", "#!/usr/bin/python3 -B\n"),
          std::pair("shell", "#!/bin/sh\n"), std::pair("bash", "#!/usr/bin/env bash\n"),
          std::pair("part", "# shellcheck shell=bash\n")}) {
        SCOPED_TRACE(name);
        m_folder.Write(name, text + umlauts);
        ProgramResult result = Run("check-lines", {m_folder.GetPath().string()});
        EXPECT_EQ(result.output + result.errors, "");
        EXPECT_EQ(result.status, 0);
        m_folder.Write(name, text + umlauts + "# " + longest + '\n');
        result = Run("check-lines", {m_folder.GetPath().string()});
        EXPECT_EQ(result.output, std::string(name) + ":4: 121 columns, and 120 are allowed\n");
        EXPECT_EQ(result.status, 1);
        m_folder.Write(name, text);
    }
    m_folder.Write("text.md", longest + longest + '\n');
    std::filesystem::create_directories(m_folder.GetPath() / "build");
    m_folder.Write("build/made.py", longest + longest + '\n');
    EXPECT_EQ(Run("check-lines", {m_folder.GetPath().string()}).status, 0);
}

TEST_F(ScriptsTest, CheckNoCommentsOfHeadersThatDoNotCompile) {
    EXPECT_EQ(Run("check-comments", {m_folder.GetPath().string()}).status, 2);
    m_folder.Write("Broken.h", "Unknown Function();");
    const ProgramResult result = Run("check-comments", {m_folder.GetPath().string()});
    EXPECT_THAT(result.errors, HasSubstr("Broken.h:1:1"));
    EXPECT_EQ(result.status, 2);
}

} // namespace

} // namespace Tovra::Tests
