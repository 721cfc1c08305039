#include "SetupTool.h"

#include <fstream>
#include <sstream>

namespace Tovra::Tests {

using namespace std::string_literals;

namespace {

/// Runs the tool in unusual surroundings, in which its output must be the usual one.
class SurroundingsTest : public ::testing::Test {
protected:
    /// Runs `program` for each kind of output.
    void ExpectTheUsual(Program program, const std::string& what) {
        const std::vector<std::string> before = program.arguments;
        const auto runWith = [&](const std::string& option) {
            program.arguments = before;
            program.arguments.push_back(option);
            return Tests::Run(program);
        };
        EXPECT_THAT(runWith("-h"), IsHelp()) << what;
        EXPECT_THAT(runWith("-src"), IsCatalogue()) << what;
        EXPECT_THAT(runWith("-cba"), IsUnsupported("value")) << what;
        EXPECT_THAT(runWith("-nosuch"), IsWrongParameters()) << what;
        const ProgramResult check = runWith("-cgl");
        EXPECT_EQ(check.output, GetResultOutput("Failed", 1, "\"version\": false")) << what;
        EXPECT_EQ(check.status, 1) << what;
    }

    SetupTool m_tool;
};

TEST_F(SurroundingsTest, AnEmptyArgumentVectorGivesTheHelp) {
    Program program = m_tool.GetProgram({});
    program.hasOwnName = false;
    EXPECT_THAT(Tests::Run(program), IsHelp());
}

TEST_F(SurroundingsTest, AnEmptyEnvironmentIsEnough) {
    Program program = m_tool.GetProgram({});
    program.environment = {};
    ExpectTheUsual(program, "no environment");
}

TEST_F(SurroundingsTest, TheHomeFolderMayBeAnything) {
    const std::string file = m_tool.GetPath();
    for (const std::string& home :
         {""s, "relative"s, "."s, "/"s, "/proc/nothing/here"s, "/dev/null"s, file, "\xff\xfe\x80"s, "/\xc3\x28"s,
          std::string(5000, 'x'), "/" + std::string(100000, 'y')}) {
        Program program = m_tool.GetProgram({});
        program.environment["HOME"] = home;
        program.folder = m_tool.GetFolder();
        ExpectTheUsual(program, home.substr(0, 40));
    }
    Program program = m_tool.GetProgram({});
    program.environment.erase("HOME");
    ExpectTheUsual(program, "unset");
}

TEST_F(SurroundingsTest, TheLocaleMayBeAnything) {
    for (const std::string& locale : {""s, "C"s, "POSIX"s, "C.UTF-8"s, "de_DE.UTF-8"s, "tr_TR"s, "xx_YY.nonsense@odd"s,
                                      "\xff\xfe"s, "../../etc"s, std::string(10000, 'l')}) {
        for (const std::string name : {"LC_ALL", "LANG", "LC_NUMERIC"}) {
            Program program = m_tool.GetProgram({});
            program.environment[name] = locale;
            ExpectTheUsual(program, name + '=' + locale.substr(0, 40));
        }
    }
}

TEST_F(SurroundingsTest, TheWorkingFolderMayBeGone) {
    Program program =
        m_tool.GetProgram({"-c", "mkdir gone; cd gone; rmdir ../gone; exec \"$0\" \"$1\"", m_tool.GetPath()});
    program.path = "/bin/sh";
    program.folder = m_tool.GetFolder();
    ExpectTheUsual(program, "no working folder");
}

TEST_F(SurroundingsTest, ARelativePathStartsItToo) {
    Program program = m_tool.GetProgram({});
    program.path = "./" + m_tool.GetPath().filename().string();
    program.folder = m_tool.GetFolder();
    ExpectTheUsual(program, "relative path");
}

TEST_F(SurroundingsTest, TheExecutableMayBeUnlinked) {
    Program program = m_tool.GetProgram(
        {"-c", "cp \"$0\" \"$0.gone\"; exec 5<\"$0.gone\"; rm \"$0.gone\"; exec /proc/self/fd/5 \"$1\"",
         m_tool.GetPath()});
    program.path = "/bin/sh";
    ExpectTheUsual(program, "unlinked");
}

TEST_F(SurroundingsTest, TheFileSystemMayBeReadOnly) {
    // Over a folder of /proc, since mounts elsewhere may propagate out of the namespace.
    const Program program =
        m_tool.GetIsolatedScript("export HOME=/proc/sys; mount -t tmpfs -o ro none \"$HOME\"; cd \"$HOME\"; "
                                 "if touch here 2>/dev/null; then exit 99; fi; exec \"$1\" \"$2\"");
    ExpectTheUsual(program, "read-only");
}

TEST_F(SurroundingsTest, TheProcessTableMayBeMissing) {
    const Program program = m_tool.GetIsolatedScript("mount -t tmpfs none /proc; exec \"$1\" \"$2\"");
    ExpectTheUsual(program, "no /proc");
}

TEST_F(SurroundingsTest, ABrokenSchemaBesideTheExecutableIsNoMatter) {
    const std::filesystem::path schemas = m_tool.GetFolder() / "Schemas";
    std::filesystem::create_directory(schemas);
    const std::string circle = R"({"$ref": "#"})";
    const std::string senseless = R"x({"pattern": "a()"})x";
    for (const std::string& text :
         {""s, "{"s, "{}"s, "[1, 2]"s, std::string(100, '\0'), "\xff\xfe"s, circle, senseless}) {
        std::ofstream(schemas / "Halvorn-Configuration-2501.json", std::ios::binary) << text;
        ExpectTheUsual(m_tool.GetProgram({}), text);
    }
}

TEST_F(SurroundingsTest, OnlyTheCLibraryIsNeeded) {
    const ProgramResult result = Tests::Run({.path = "ldd", .arguments = {m_tool.GetPath()}});
    ASSERT_EQ(result.status, 0) << result.errors;
    std::istringstream lines(result.output);
    const ::testing::Matcher<std::string> isOfTheCLibrary =
        ::testing::MatchesRegex("\\s*(linux-vdso|libc|/lib[^ ]*/ld-linux)[^ ]*\\.so.*");
    for (std::string line; std::getline(lines, line);) {
        EXPECT_THAT(line, isOfTheCLibrary);
    }
}

// A C library before 2.36 starts no program whose relocations are packed.
TEST_F(SurroundingsTest, ItsRelocationsAreNotPacked) {
    const ProgramResult result = Tests::Run({.path = "readelf", .arguments = {"--dynamic", m_tool.GetPath()}});
    ASSERT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, ::testing::HasSubstr("(RELA)"));
    EXPECT_THAT(result.output, ::testing::Not(::testing::HasSubstr("RELR")));
}

} // namespace

} // namespace Tovra::Tests
