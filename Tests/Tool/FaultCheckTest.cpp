#include "SetupTool.h"

#include <gmock/gmock.h>

#include <chrono>
#include <sstream>
#include <string>
#include <vector>

namespace Tovra::Tests {

namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

struct Run {
    const char* family;
    const char* option;
    const char* fault;
    const char* document;
    const char* end;
    const char* report;
};

/// The kinds to which Tests/Faults/kinds.py counts such runs, "None" for those that are not allowed.
std::vector<std::string> FindKinds(const std::vector<Run>& runs) {
    const std::string script = "import sys\n"
                               "sys.path.append(sys.argv[1])\n"
                               "from kinds import End, find_kind\n"
                               "from runs import Case\n"
                               "for index in range(2, len(sys.argv), 6):\n"
                               "    family, option, fault, *end = sys.argv[index:index + 6]\n"
                               "    kind = find_kind(Case(family, 'a case', option), fault, End(*end))\n"
                               "    print(kind and kind.name)\n";
    Program python{.path = "python3", .arguments = {"-Bc", script, GetTestsFolder() / "Faults"}};
    for (const Run& run : runs) {
        for (const char* const text : {run.family, run.option, run.fault, run.document, run.end, run.report}) {
            python.arguments.emplace_back(text);
        }
    }
    std::istringstream output(Tests::Run(python).output);
    std::vector<std::string> kinds;
    for (std::string kind; std::getline(output, kind);) {
        kinds.push_back(kind);
    }
    return kinds;
}

TEST(FaultCheck, TellsKindsOfSignals) {
    EXPECT_THAT(FindKinds({
                    {"signals", "-cba", "SIGTERM", "none", "SIGABRT", "SIGTERM"},
                    {"signals", "-cba", "SIGTERM without a handler", "none", "SIGTERM", "silent"},
                    {"signals", "-CheckOpenGL", "SIGTERM ignored in the check", "right", "its status", "silent"},
                    {"signals", "-CheckOpenGL", "SIGSEGV in the check", "Platform Unsupported", "its status",
                     "SIGSEGV, driver ended"},
                    {"signals", "-CheckOpenGL", "SIGILL blocked in the check", "Platform Unsupported", "its status",
                     "SIGILL, driver ended"},
                    {"signals", "-CheckOpenGL", "SIGKILL in the check", "none", "SIGKILL", "silent"},
                    {"signals", "-CheckOpenGL", "SIGTERM blocked in the check", "right", "its status", "silent"},
                    {"process 1", "-cba", "SIGHUP", "right", "its status", "silent"},
                }),
                ElementsAre("reported and aborted", "ended by the signal", "right", "check reported and aborted",
                            "check reported and aborted", "ended as the check", "right", "right"));
}

TEST(FaultCheck, AllowsNoSignalWithoutItsEffect) {
    EXPECT_THAT(FindKinds({
                    {"signals", "-cba", "SIGTERM", "right", "its status", "silent"},
                    {"signals", "-cba", "SIGTERM", "none", "SIGTERM", "silent"},
                    {"signals", "-cba", "SIGTERM blocked", "right", "its status", "silent"},
                    {"signals", "-cba", "SIGCHLD and SIGINT", "right", "its status", "silent"},
                    {"signals", "-cba", "SIGHUP", "right", "its status", "silent"},
                    {"signals", "-CheckOpenGL", "SIGSEGV in the check", "right", "its status", "silent"},
                    {"process 1", "-cba", "SIGTERM", "right", "its status", "silent"},
                    {"reports", "-cba", "a file", "right", "its status", "silent"},
                }),
                AllOf(SizeIs(8), Each("None")));
}

TEST(FaultCheck, AllowsAnEndUnderItsOwnFaultsAlone) {
    EXPECT_THAT(FindKinds({
                    {"system calls", "-CheckOpenGL", "openat ENOENT in the check", "Failed", "its status", "silent"},
                    {"system calls", "-cba", "write EIO", "none", "its status", "silent"},
                }),
                ElementsAre("Failed", "no document"));
    EXPECT_THAT(FindKinds({
                    {"system calls", "-CheckOpenGL", "openat ENOENT", "Failed", "its status", "silent"},
                    {"homes", "-CheckOpenGL", "home", "Failed", "its status", "silent"},
                    {"system calls", "-cba", "read EIO", "none", "its status", "silent"},
                }),
                AllOf(SizeIs(3), Each("None")));
}

TEST(FaultCheck, AllowsOnlyARightEndWhereNoFaultWasMet) {
    EXPECT_THAT(FindKinds({
                    {"signals", "-cba", "", "right", "its status", "silent"},
                    {"system calls", "-cba", "", "right", "its status", "silent"},
                    {"system calls", "-cba", "", "none", "its status", "silent"},
                    {"system calls", "-CheckOpenGL", "", "Failed", "its status", "silent"},
                }),
                ElementsAre("right", "right", "None", "None"));
}

TEST(FaultCheck, DemandsThatFaultsAreMet) {
    const std::string script =
        "import sys\n"
        "sys.path.append(sys.argv[1])\n"
        "from check_faults import NOT_MET, find_unmet\n"
        "for family in ('signals', 'process 1', 'system calls', 'homes'):\n"
        "    for missed in (0, 1, 30, 31, 50, 51):\n"
        "        met = {(family, '-cba', 'right'): 60 - missed, (family, '-Help', 'right'): 40}\n"
        "        if find_unmet({**met, (family, '-cba', NOT_MET): missed}):\n"
        "            print(family, missed)\n"
        "            break\n";
    const Program python{.path = "python3", .arguments = {"-Bc", script, GetTestsFolder() / "Faults"}};
    EXPECT_EQ(Tests::Run(python).output, "signals 51\nprocess 1 51\nsystem calls 31\nhomes 1\n");
}

TEST(FaultCheck, SpreadsSignalsOverTheSystemCallsOfAnOption) {
    // Each has a beginning and an end.
    const std::string script = "import sys\n"
                               "import types\n"
                               "sys.path.append(sys.argv[1])\n"
                               "import signals\n"
                               "signals.trace_calls = lambda runner, option: ['a call'] * 20\n"
                               "runner = types.SimpleNamespace(display='')\n"
                               "for option in ('-Help', '-CheckOpenGL'):\n"
                               "    cases = signals.get_random_cases(runner, 1, option)\n"
                               "    print({case.stop_at for case in cases} in ({*range(40)}, {None}))\n";
    const Program python{.path = "python3", .arguments = {"-Bc", script, GetTestsFolder() / "Faults"}};
    EXPECT_EQ(Tests::Run(python).output, "True\nTrue\n");
}

/// Tests/Faults/check_faults.py with a program in place of the tool, which may answer wrongly.
class FaultCheckTest : public ::testing::Test {
protected:
    FaultCheckTest() {
        std::filesystem::create_directory(m_folder.GetPath() / "Schemas");
        m_folder.Write("Schemas/Any.json", "{}");
        // A link, as the tool's own path may need quotes in a shell. Another user follows it as well.
        std::filesystem::permissions(m_folder.GetPath(), std::filesystem::perms::others_exec,
                                     std::filesystem::perm_options::add);
        std::filesystem::create_symlink(GetBinaryFolder() / "TovraFieldhostSetupTool", m_folder.GetPath() / "tool");
    }

    /// Checks how that program, the tool behind lines of a shell, ends with a home folder that is missing.
    ProgramResult Check(const std::string& lines, const std::vector<std::string>& arguments = {
                                                      "--family", "homes", "--option=-cba", "--case", ": missing"}) {
        const std::string tool = m_folder.GetPath() / "tool";
        const std::filesystem::path program =
            m_folder.Write("program", "#!/bin/sh\n" + lines + "\nexec " + tool + " \"$@\"\n");
        std::filesystem::permissions(program, std::filesystem::perms::owner_all | std::filesystem::perms::others_exec |
                                                  std::filesystem::perms::others_read);
        Program check{.path = GetScriptsFolder() / "isolated",
                      .arguments = {GetTestsFolder() / "Faults" / "check_faults.py", program}};
        check.arguments.insert(check.arguments.end(), arguments.begin(), arguments.end());
        check.timeLimit = std::chrono::seconds(100);
        return Tests::Run(check);
    }

    TemporaryFolder m_folder;
};

TEST_F(FaultCheckTest, PassesAProgramThatEndsAsItShould) {
    const ProgramResult result = Check("");
    EXPECT_EQ(result.status, 0) << result.output << result.errors;
    EXPECT_THAT(result.output, HasSubstr("homes, -cba, right: 2\n"));
}

TEST_F(FaultCheckTest, FailsOnAWrongStatus) {
    const ProgramResult result = Check("[ -d \"$HOME\" ] || { HOME=/proc \"$0\" \"$@\"; exit 7; }");
    EXPECT_EQ(result.status, 1) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("document: right; end: status 7; report: silent"));
}

TEST_F(FaultCheckTest, FailsOnADocumentThatIsMissing) {
    const ProgramResult result = Check("[ -d \"$HOME\" ] || exit 255");
    EXPECT_EQ(result.status, 1) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("NOT ALLOWED: homes: '-cba: missing': document: none; end: its status; "
                                         "report: silent"));
}

TEST_F(FaultCheckTest, FailsOnASignal) {
    const ProgramResult result = Check("[ -d \"$HOME\" ] || kill -SEGV $$");
    EXPECT_EQ(result.status, 1) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("document: none; end: SIGSEGV; report: silent"));
}

TEST_F(FaultCheckTest, FailsOnWhatIsPrintedBesideTheDocument) {
    const ProgramResult result = Check("[ -d \"$HOME\" ] || echo words >&2");
    EXPECT_EQ(result.status, 1) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("document: right; end: its status; report: other"));
}

TEST_F(FaultCheckTest, FailsOnAProgramThatLastsTooLong) {
    const ProgramResult result = Check("[ -d \"$HOME\" ] || sleep 100",
                                       {"--limit", "10", "--family", "homes", "--option=-cba", "--case", ": missing"});
    EXPECT_EQ(result.status, 1) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("document: none; end: hang; report: silent"));
}

TEST_F(FaultCheckTest, PassesACheckThatCanNotSendTheWholeMessage) {
    const ProgramResult result =
        Check("", {"--family", "system calls", "--option=-CheckOpenGL", "--case", "write EIO at 1 in the check",
                   "--case", "write EIO at 2 in the check", "--case", "write EIO at 3 in the check"});
    EXPECT_EQ(result.status, 0) << result.output << result.errors;
    EXPECT_THAT(result.output, HasSubstr("system calls, -CheckOpenGL, Platform Unsupported, check ended: 3\n"));
}

TEST_F(FaultCheckTest, FailsWhereNothingIsChecked) {
    EXPECT_EQ(Check("", {"--family", "nothing"}).status, 1);
}

TEST_F(FaultCheckTest, FailsWithoutARightAnswer) {
    const ProgramResult result = Check("exit 0");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.errors, HasSubstr("check_faults.py: -Help is not answered even without a fault"));
}

} // namespace

} // namespace Tovra::Tests
