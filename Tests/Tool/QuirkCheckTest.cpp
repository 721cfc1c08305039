#include <Support/Folders.h>
#include <Support/Program.h>
#include <Support/TemporaryFolder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace Tovra::Tests {

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

/// A small tree with one odd rule, its test and its entry.
class QuirkCheckTest : public ::testing::Test {
protected:
    QuirkCheckTest() {
        Write("Source/System/A/X.cpp", "// Intentional: one more than\n// there are.\n"
                                       "int GetCount(int count) {\n    return count + 1;\n}\n");
        WriteEntry(m_entry);
        Write("Documentation/Reliability.md", "# Before\n\n<!-- Scripts/check-quirks writes from here -->\n"
                                              "<!-- to here -->\n\nAfter\n");
        // In place of GoogleTest: it runs its one test, whatever the filter, and reports that.
        Write("Tests/System/A/XTest.cpp", "#include <stdio.h>\n#include <stdlib.h>\n#include <string.h>\n"
                                          "int GetCount(int count);\n"
                                          "#define TEST(suite, name) bool suite##name()\n"
                                          "TEST(X, CountsOneMore) { return GetCount(1) == 2; }\n"
                                          "TEST(X, IsNotRun) { return true; }\n"
                                          "int main(int, char** arguments) {\n"
                                          "    if (GetCount(0) < 0) abort();\n"
                                          "    if (GetCount(0) > 9) exit(3);\n"
                                          "    const bool holds = XCountsOneMore();\n"
                                          "    FILE* report = fopen(strchr(arguments[2], ':') + 1, \"w\");\n"
                                          "    fprintf(report, \"{\\\"testsuites\\\": [{\\\"name\\\": \\\"X\\\", "
                                          "\\\"testsuite\\\": [{\\\"name\\\": \\\"CountsOneMore\\\", "
                                          "\\\"result\\\": \\\"COMPLETED\\\"%s}]}]}\",\n"
                                          "            holds ? \"\" : \", \\\"failures\\\": [{\\\"failure\\\": "
                                          "\\\"It counts otherwise.\\\"}]\");\n"
                                          "    fclose(report);\n"
                                          "    return !holds;\n"
                                          "}\n");
    }

    /// Writes a file of the tree.
    void Write(const std::string& name, const std::string& text) const {
        std::filesystem::create_directories((m_root / name).parent_path());
        std::ofstream stream(m_root / name);
        stream << text;
    }

    void WriteEntry(const std::string& text) const { Write("Tests/Quirks/A.toml", text); }

    /// The entry with one text in the place of another.
    std::string Replace(const std::string& find, const std::string& put) const {
        std::string entry = m_entry;
        return entry.replace(entry.find(find), find.size(), put);
    }

    ProgramResult Check(const std::vector<std::string>& options) const {
        Program program{.path = GetScriptsFolder() / "isolated",
                        .arguments = {GetTestsFolder() / "Quirks" / "check_quirks.py", m_root, m_root / "build/debug"}};
        program.arguments.insert(program.arguments.end(), options.begin(), options.end());
        return Tests::Run(program);
    }

    ProgramResult CheckMarks() const { return Check({"--marks", "--write"}); }

    /// Builds the tree and makes the changes.
    ProgramResult CheckChanges() const {
        const std::string link = ": && clang++-19 X.o XTest.o -o bin/UnitTests && :";
        Write("build/debug/build.ninja", "rule compile\n  command = clang++-19 -c \"$in\" -o $out\n"
                                         "rule link\n  command = " +
                                             link +
                                             "\nbuild X.o: compile ../../Source/System/A/X.cpp\n"
                                             "build XTest.o: compile ../../Tests/System/A/XTest.cpp\n"
                                             "build bin/UnitTests: link X.o XTest.o\n");
        const std::string source = (m_root / "Source/System/A/X.cpp").string();
        Write("build/debug/compile_commands.json",
              "[{\"file\": \"" + source + "\", \"command\": \"clang++-19 -c '" + source + "' -o X.o\"}]");
        const ProgramResult built = Tests::Run({.path = "ninja", .arguments = {"-C", m_root / "build/debug"}});
        EXPECT_EQ(built.status, 0) << built.output << built.errors;
        return Check({"--write"});
    }

    std::string ReadDocument() const {
        std::ifstream stream(m_root / "Documentation/Reliability.md");
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    void Git(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"-C", m_root, "-c", "user.name=Test", "-c", "user.email=test@localhost"});
        const ProgramResult result = Tests::Run({.path = "git", .arguments = arguments});
        ASSERT_EQ(result.status, 0) << result.errors;
    }

    void Commit() const {
        Git({"add", "--all"});
        Git({"commit", "--quiet", "--message=Change"});
    }

    /// The programs that are needed for what differs from main.
    std::string FindChangedPrograms() const {
        const ProgramResult result = Check({"--changed", "--programs", "--write"});
        EXPECT_EQ(result.status, 0) << result.errors;
        return result.output;
    }

    TemporaryFolder m_folder;
    std::filesystem::path m_root = m_folder.GetPath() / "Größe and more";
    const std::string m_entry = "[[quirk]]\n"
                                "marks = [\"Source/System/A/X.cpp: one more than there\"]\n"
                                "find = \"count + 1\"\n"
                                "put = \"count\"\n"
                                "test = \"UnitTests X.CountsOneMore\"\n";
};

TEST_F(QuirkCheckTest, PassesAMarkWithItsEntry) {
    const ProgramResult result = CheckMarks();
    EXPECT_EQ(result.output, "1 mark, 1 entry: 1 change, and 0 reasons for none.\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, 0);
}

TEST_F(QuirkCheckTest, PassesAMarkWithAReason) {
    WriteEntry("[[quirk]]\nmarks = [\"Source/System/A/X.cpp: one more\"]\nreason = \"It is not seen.\"\n");
    const ProgramResult result = CheckMarks();
    EXPECT_EQ(result.output, "1 mark, 1 entry: 0 changes, and 1 reason for none.\n");
    EXPECT_EQ(result.status, 0) << result.errors;
}

TEST_F(QuirkCheckTest, FailsOnAMarkWithoutAnEntry) {
    Write("Source/System/A/Y.h", "/// Gives nothing.\n    /// Intentional: never.\nint y;\n");
    const ProgramResult result = CheckMarks();
    EXPECT_EQ(result.errors, "no entry has the mark Source/System/A/Y.h: never.\n");
    EXPECT_EQ(result.status, 1);
}

TEST_F(QuirkCheckTest, FailsOnAnEntryWhoseMarkIsNotThereOrNotAlone) {
    WriteEntry(m_entry + Replace("one more", "two more"));
    EXPECT_EQ(CheckMarks().errors, "A: the mark stands 0 times: Source/System/A/X.cpp: two more than there\n");
    WriteEntry(m_entry);
    Write("Source/System/A/X.cpp", "// Intentional: one more than there are.\n// Intentional: one more than there is.\n"
                                   "int GetCount(int count) { return count + 1; }\n");
    const ProgramResult result = CheckMarks();
    EXPECT_THAT(result.errors, HasSubstr("A: the mark stands 2 times: Source/System/A/X.cpp: one more than there\n"));
    EXPECT_EQ(result.status, 1);
}

TEST_F(QuirkCheckTest, FailsOnAMarkThatDoesNotBeginItsLine) {
    Write("Source/System/A/Y.cpp", "int y; // Intentional: never.\n");
    EXPECT_THAT(CheckMarks().errors,
                HasSubstr("no entry has the mark Source/System/A/Y.cpp: a mark that does not begin its line\n"));
}

TEST_F(QuirkCheckTest, FailsOnAMarkOutsideOfTheSources) {
    Write("Tests/System/A/YTest.cpp", "// Intentional: never.\nint y; // Not \"Intentional:\"\n");
    const ProgramResult result = CheckMarks();
    EXPECT_EQ(result.errors, "the mark stands outside of Source: Tests/System/A/YTest.cpp: never.\n");
    EXPECT_EQ(result.status, 1);
}

TEST_F(QuirkCheckTest, WritesItsCountsIntoTheDocumentAndComparesThem) {
    ProgramResult result = Check({"--marks"});
    EXPECT_EQ(result.errors, "Documentation/Reliability.md has other counts: Scripts/check-quirks --marks --write\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(CheckMarks().status, 0);
    const std::string document = "# Before\n\n<!-- Scripts/check-quirks writes from here -->\n\n"
                                 "| | |\n| --- | ---: |\n"
                                 "| marks | 1 |\n"
                                 "| changes that would repair them | 1 |\n"
                                 "| of these to be noticed by an assertion of the test | 1 |\n"
                                 "| of these to be noticed as the test throws | 0 |\n"
                                 "| of these to be noticed as a signal ends the test's program | 0 |\n"
                                 "| marks without a change | 0 |\n\n"
                                 "<!-- to here -->\n\nAfter\n";
    EXPECT_EQ(ReadDocument(), document);
    EXPECT_EQ(Check({"--marks"}).status, 0);
    WriteEntry(m_entry + "end = \"crash\"\n");
    EXPECT_EQ(Check({"--marks"}).status, 1);
    WriteEntry(Replace("count + 1", "count + 2"));
    EXPECT_EQ(CheckMarks().status, 1);
    EXPECT_EQ(ReadDocument(), document) << "Nothing is written if something is wrong.";
}

TEST_F(QuirkCheckTest, FailsOnATextThatDoesNotStandThereOnce) {
    for (const auto& [find, times] : {std::pair("count + 2", "0"), std::pair("int ", "2")}) {
        WriteEntry(Replace("count + 1", find));
        const ProgramResult result = CheckMarks();
        EXPECT_THAT(result.errors,
                    HasSubstr(std::string(": the text to find stands ") + times + " times in Source/System/A/X.cpp:"));
        EXPECT_EQ(result.status, 1);
    }
}

TEST_F(QuirkCheckTest, FailsOnATestThatIsNotThere) {
    WriteEntry(Replace("X.CountsOneMore", "X.CountsTwoMore"));
    const ProgramResult result = CheckMarks();
    EXPECT_THAT(result.errors, ::testing::EndsWith(": there is no test X.CountsTwoMore\n"));
    EXPECT_EQ(result.status, 1);
}

TEST_F(QuirkCheckTest, FailsOnAnEntryThatIsNotWhole) {
    for (const auto& [find, put] :
         {std::pair("put = \"count\"\n", ""), std::pair("put = \"count\"", "put = \"count + 1\""),
          std::pair("put", "puts"), std::pair("test = \"UnitTests ", "test = \""),
          std::pair("find", "reason = \"None.\"\nfind"), std::pair("find", "end = \"time\"\nfind")}) {
        WriteEntry(Replace(find, put));
        const ProgramResult result = CheckMarks();
        EXPECT_THAT(result.errors, HasSubstr("A: Source/System/A/X.cpp: one more than there: ")) << find << put;
        EXPECT_EQ(result.status, 1) << find << put;
    }
}

TEST_F(QuirkCheckTest, PassesAChangeThatItsTestNotices) {
    const ProgramResult result = CheckChanges();
    EXPECT_THAT(result.output, MatchesRegex(".*\nNoticed by their tests: 1 of 1 change, in [0-9]+ s\\.\n"));
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_FALSE(std::filesystem::exists(m_root / "build/quirks"));
}

TEST_F(QuirkCheckTest, FailsOnAChangeThatItsTestDoesNotNotice) {
    WriteEntry(Replace("put = \"count\"", "put = \"1 + count\""));
    const ProgramResult result = CheckChanges();
    EXPECT_THAT(result.errors, ::testing::EndsWith(": X.CountsOneMore does not notice the change\n"));
    EXPECT_THAT(result.output, HasSubstr("\nNoticed by their tests: 0 of 1 change, in "));
    EXPECT_EQ(result.status, 1);
}

TEST_F(QuirkCheckTest, FailsOnAChangeThatDoesNotCompile) {
    WriteEntry(Replace("put = \"count\"", "put = \"cuont\""));
    const ProgramResult result = CheckChanges();
    EXPECT_THAT(result.errors, AllOf(HasSubstr(": can't be built:\n"), HasSubstr("'cuont'")));
    EXPECT_EQ(result.status, 1);
}

TEST_F(QuirkCheckTest, TakesACrashForANoticeOnlyIfTheEntrySaysSo) {
    const std::string crash = Replace("put = \"count\"", "put = \"count - 1\"");
    WriteEntry(crash);
    ProgramResult result = CheckChanges();
    EXPECT_THAT(result.errors, HasSubstr(": X.CountsOneMore ends its program by a crash:\n"));
    EXPECT_EQ(result.status, 1);
    WriteEntry(crash + "end = \"crash\"\n");
    result = Check({"--write"});
    EXPECT_EQ(result.status, 0) << result.errors;
    WriteEntry(m_entry + "end = \"crash\"\n");
    result = Check({"--write"});
    EXPECT_THAT(result.errors, HasSubstr(": X.CountsOneMore ends by this failure:\n"));
    EXPECT_EQ(result.status, 1);
    WriteEntry(Replace("put = \"count\"", "put = \"count + 10\"") + "end = \"crash\"\n");
    result = Check({"--write"});
    EXPECT_THAT(result.errors, HasSubstr(": X.CountsOneMore ends its program by a status 3:\n"));
    EXPECT_EQ(result.status, 1);
}

TEST_F(QuirkCheckTest, FailsOnATestThatDoesNotRunOrFailsWithoutTheChange) {
    WriteEntry(Replace("CountsOneMore", "IsNotRun"));
    EXPECT_THAT(CheckChanges().errors, HasSubstr(": UnitTests runs no test X.IsNotRun\n"));
    Write("Source/System/A/X.cpp", "// Intentional: one more than there are.\n"
                                   "int GetCount(int count) { return count + 1 + 1; }\n");
    WriteEntry(m_entry);
    const ProgramResult result = CheckChanges();
    EXPECT_THAT(result.errors, HasSubstr(": X.CountsOneMore fails without the change:\n"));
    EXPECT_EQ(result.status, 1);
}

TEST_F(QuirkCheckTest, MakesOnlyTheChangesThatABranchMayHaveAffected) {
    Write("Source/System/A/Y.cpp", "int y;\n");
    Git({"init", "--quiet", "--initial-branch=main"});
    Git({"config", "gc.auto", "0"});
    Commit();
    EXPECT_EQ(FindChangedPrograms(), "\n") << "There is nothing to compare with.";
    Git({"checkout", "--quiet", "-b", "branch"});
    Write("Source/System/A/Y.cpp", "int y = 1;\n");
    Commit();
    EXPECT_EQ(FindChangedPrograms(), "\n");
    const ProgramResult result = Check({"--changed"});
    EXPECT_THAT(result.output, ::testing::EndsWith("\nThere is no change to make.\n"));
    EXPECT_EQ(result.status, 0) << result.errors;
    for (const std::string file : {"Source/System/A/X.cpp", "Tests/System/A/XTest.cpp"}) {
        std::ofstream(m_root / file, std::ios::app) << "// Another line\n";
        EXPECT_EQ(FindChangedPrograms(), "UnitTests\n") << file;
        Git({"checkout", "--quiet", file});
        EXPECT_EQ(FindChangedPrograms(), "\n") << file;
    }
    WriteEntry(Replace("put = \"count\"", "put = \"count + 2\""));
    EXPECT_EQ(FindChangedPrograms(), "UnitTests\n");
    WriteEntry("# The same entry\n" + m_entry);
    EXPECT_EQ(FindChangedPrograms(), "\n");
    // What lands on main differs from its first parent.
    WriteEntry(Replace("put = \"count\"", "put = \"count + 2\""));
    Commit();
    Git({"branch", "--quiet", "--force", "main"});
    EXPECT_EQ(FindChangedPrograms(), "UnitTests\n");
}

TEST_F(QuirkCheckTest, MakesTheChangesOfARoomAlone) {
    EXPECT_EQ(CheckChanges().status, 0);
    EXPECT_EQ(Check({"A"}).status, 0);
    WriteEntry(Replace("put = \"count\"", "put = \"1 + count\""));
    Write("Tests/Quirks/B.toml",
          "[[quirk]]\nmarks = [\"Source/System/A/Y.cpp: never\"]\nreason = \"It is not seen.\"\n");
    Write("Source/System/A/Y.cpp", "// Intentional: never.\n");
    EXPECT_EQ(Check({"--write", "B"}).status, 0) << "The wrong change is in the other room.";
    EXPECT_EQ(Check({"B", "A"}).status, 1);
}

TEST_F(QuirkCheckTest, RefusesUnknownArgumentsAndSaysWhichThereAre) {
    for (const std::string argument : {"B", "--chnaged", "--change", "../Quirks/A"}) {
        const ProgramResult result = Check({"--marks", argument});
        EXPECT_THAT(result.errors, AllOf(::testing::StartsWith("usage: Scripts/check-quirks "), HasSubstr(argument)));
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.status, 2) << argument;
    }
    const ProgramResult result = Check({"--help"});
    EXPECT_THAT(result.output, AllOf(HasSubstr("\n  room "), HasSubstr("\n  --marks "), HasSubstr("\n  --changed "),
                                     HasSubstr("\n  --write ")));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(Check({"--parse", "A"}).output, "");
}

} // namespace

} // namespace Tovra::Tests
