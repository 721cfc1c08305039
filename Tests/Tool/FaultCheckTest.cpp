#include "SetupTool.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace Tovra::Tests {

namespace {

using ::testing::HasSubstr;

/// Tests/Faults/check_faults.py with a program in place of the tool, which may answer wrongly.
class FaultCheckTest : public ::testing::Test {
protected:
    FaultCheckTest() {
        std::filesystem::create_directory(m_folder.GetPath() / "Schemas");
        m_folder.Write("Schemas/Any.json", "{}");
    }

    /// Checks how that program, the tool behind lines of a shell, ends with a home folder that is missing.
    ProgramResult Check(const std::string& lines, const std::vector<std::string>& arguments = {
                                                      "--family", "homes", "--option=-cba", "--case", ": missing"}) {
        const std::filesystem::path tool = GetBinaryFolder() / "TovraFieldhostSetupTool";
        const std::filesystem::path program =
            m_folder.Write("program", "#!/bin/sh\n" + lines + "\nexec '" + tool.string() + "' \"$@\"\n");
        std::filesystem::permissions(program, std::filesystem::perms::owner_all | std::filesystem::perms::others_exec |
                                                  std::filesystem::perms::others_read);
        Program check{.path = GetScriptsFolder() / "isolated",
                      .arguments = {GetTestsFolder() / "Faults" / "check_faults.py", program}};
        check.arguments.insert(check.arguments.end(), arguments.begin(), arguments.end());
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
                                       {"--limit", "3", "--family", "homes", "--option=-cba", "--case", ": missing"});
    EXPECT_EQ(result.status, 1) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("document: none; end: hang; report: silent"));
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
