#include <Support/Folders.h>
#include <Support/Program.h>
#include <Support/TemporaryFolder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace Tovra::Tests {

namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::vector<std::string> scriptsOnAMac{"build", "check", "format", "host", "run", "setup", "sources", "test"};

/// What a Mac has of itself and of Homebrew.
struct Mac {
    std::string version = "13.3";
    std::string architecture = "arm64";
    bool hasTools = true;
    bool hasHomebrew = true;
    std::vector<std::string> packages = {"cmake", "googletest", "llvm@19", "ninja", "rapidjson"};
};

/// A small tree with the scripts in it, and replacements for what they call, on a machine that calls itself a Mac. The
/// tools that macOS has of BSD refuse the long options that only GNU's have.
class ScriptsOnAMacTest : public ::testing::Test {
protected:
    ScriptsOnAMacTest() {
        std::filesystem::create_directories(m_root);
        std::filesystem::copy(GetScriptsFolder(), m_root / "Scripts", std::filesystem::copy_options::recursive);
        for (const std::string folder : {"Benchmarks", "Examples", "Packaging", "Source", "Tests"}) {
            std::filesystem::create_directory(m_root / folder);
        }
        Write("Source/Both_Linux.cpp");
        Write("Source/Both_MacOS.cpp");
        Write("Source/Both_MacOS.mm");
        Write("Source/Rule.cpp");
        for (const std::string tool :
             {"basename", "cat", "dirname", "find", "grep", "mktemp", "readlink", "rm", "sed", "sort", "uniq"}) {
            StandIn(tool, "for option; do case $option in --include=*|--exclude=*) ;; --*) echo \"" + tool +
                              ": $option\" >&2; exit 64 ;; esac; done; exec /usr/bin/" + tool + " \"$@\"");
        }
        // What follows the name of the command is the command's.
        StandIn("xargs", "case $1 in --*) echo \"xargs: $1\" >&2; exit 64 ;; esac; exec /usr/bin/xargs \"$@\"");
        for (const std::string missing :
             {"apt-get", "dpkg-query", "mcookie", "nproc", "realpath", "unshare", "xauth"}) {
            StandIn(missing, "echo \"" + missing + " is not there\" >&2; exit 127");
        }
        for (const std::string program : {"cmake", "ctest"}) {
            StandIn(program, "echo " + program + " \"$@\"");
        }
        StandIn("clang-format", "echo clang-format \"$@\"");
        StandIn("clang-tidy", "for file; do :; done; echo \"clang-tidy $file\"; exit 1");
        WriteProgram("build/debug/bin/StructureTests", "echo structure");
        WriteProgram("build/release/bin/TovraFieldhostSetupTool", "echo tool \"$@\"");
        Become({});
    }

    void Become(const Mac& mac) const {
        StandIn("uname", "case $1 in -m) echo " + mac.architecture + " ;; *) echo Darwin ;; esac");
        StandIn("sw_vers", "echo " + mac.version);
        StandIn("xcode-select", mac.hasTools ? "echo /Library/Developer/CommandLineTools" : "exit 2");
        std::string brew = "case $1 in list) printf '%s\\n'";
        for (const std::string& package : mac.packages) {
            brew += ' ' + package;
        }
        StandIn("brew", brew + " ;; *) echo brew \"$@\" ;; esac");
        if (!mac.hasHomebrew) {
            std::filesystem::remove(m_programs / "brew");
        }
    }

    ProgramResult Run(const std::string& script, const std::vector<std::string>& arguments) const {
        Program program{.path = m_root / "Scripts" / script, .arguments = arguments};
        program.environment["PATH"] = m_programs.string() + ":/usr/bin:/bin";
        program.environment["HOMEBREW_PREFIX"] = "/nowhere";
        program.timeLimit = std::chrono::minutes(2);
        return Tests::Run(program);
    }

    void StandIn(const std::string& name, const std::string& script) const { WriteProgram(m_programs / name, script); }

    void Write(const std::filesystem::path& path, const std::string& text = "") const {
        std::filesystem::create_directories((m_root / path).parent_path());
        std::ofstream(m_root / path) << text;
    }

    void WriteProgram(const std::filesystem::path& path, const std::string& script) const {
        Write(path, "#!/bin/bash\n" + script + '\n');
        std::filesystem::permissions(m_root / path, std::filesystem::perms::owner_all);
    }

    TemporaryFolder m_folder;
    std::filesystem::path m_programs = m_folder.GetPath() / "programs";
    std::filesystem::path m_root = m_folder.GetPath() / "Größe and more/it's";
};

TEST_F(ScriptsOnAMacTest, InstallOfEachPurposeOnlyWhatIsMissing) {
    Become({.packages = {"cmake", "ninja-build", "openllvm@19"}});
    const std::string runs = "brew install ninja rapidjson llvm@19";
    for (const auto& [purpose, command] : std::map<std::string, std::string>{{"run", runs},
                                                                             {"test", runs + " googletest"},
                                                                             {"check", runs + " googletest"},
                                                                             {"all", runs + " googletest"}}) {
        const ProgramResult result = Run("setup", {purpose});
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.errors, HasSubstr('\n' + command + '\n')) << purpose;
        EXPECT_EQ(result.status, 0);
    }
    Become({});
    const ProgramResult result = Run("setup", {});
    EXPECT_EQ(result.output + result.errors, "");
    EXPECT_EQ(result.status, 0);
}

TEST_F(ScriptsOnAMacTest, SayWhatTheyCanNotDoWithout) {
    const auto expect = [this](const Mac& mac, const std::string& purpose, const std::string& errors) {
        Become(mac);
        const ProgramResult result = Run("setup", {purpose});
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, errors);
        EXPECT_EQ(result.status, 1);
    };
    for (const std::string version : {"12.6.3", "13.0", "13.2.1", "9"}) {
        expect({.version = version}, "run",
               "Scripts/setup: macOS 13.3 or later is needed, and this is " + version + ".\n");
    }
    expect({.architecture = "x86_64"}, "run",
           "Scripts/setup: a Mac with Apple silicon is needed, and this is x86_64.\n");
    expect({.hasTools = false}, "run",
           "Scripts/setup: Xcode's command line tools are missing:\nScripts/setup: xcode-select --install\n");
    expect({.hasHomebrew = false}, "run", "Scripts/setup: Homebrew is missing, see https://brew.sh.\n");
    for (const std::string purpose : {"bench", "fuzz", "package", "places"}) {
        expect({}, purpose, "Scripts/setup: this is for Linux alone.\n");
    }
    for (const std::string version : {"13.3.1", "13.10", "14", "14.0", "26.1"}) {
        Become({.version = version});
        EXPECT_EQ(Run("setup", {"run"}).status, 0) << version;
    }
}

TEST_F(ScriptsOnAMacTest, BuildTestAndRunAsOnLinux) {
    EXPECT_EQ(Run("build", {}).output, "cmake --preset debug\ncmake --build --preset debug\n");
    EXPECT_EQ(Run("build", {"release", "--target", "X"}).output,
              "cmake --preset release\ncmake --build --preset release --target X\n");
    EXPECT_EQ(Run("test", {"-R", "a b"}).output,
              "cmake --preset debug\ncmake --build --preset debug\nctest --preset debug -R a b\n");
    const ProgramResult result = Run("run", {"-CheckOpenGL", "a b"});
    EXPECT_EQ(result.output, "tool -CheckOpenGL a b\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(ScriptsOnAMacTest, FormatAllSourcesAndLintThoseOfTheirHost) {
    EXPECT_EQ(Run("format", {}).output, "clang-format -i Source/Both_Linux.cpp Source/Both_MacOS.cpp "
                                        "Source/Both_MacOS.mm Source/Rule.cpp\n");
    const ProgramResult result = Run("check", {});
    EXPECT_THAT(result.output, HasSubstr("clang-format --dry-run -Werror Source/Both_Linux.cpp "));
    EXPECT_THAT(result.output, HasSubstr("\nstructure\n"));
    EXPECT_THAT(result.output, HasSubstr("clang-tidy Source/Both_MacOS.cpp\n"));
    EXPECT_THAT(result.output, HasSubstr("clang-tidy Source/Rule.cpp\n"));
    EXPECT_THAT(result.output, ::testing::Not(HasSubstr("clang-tidy Source/Both_Linux.cpp")));
    EXPECT_NE(result.status, 0);
    Write("Scripts/check-comments", "#!/bin/sh\nexit 1\n");
    StandIn("clang-tidy", "");
    EXPECT_EQ(Run("check", {}).status, 0);
}

/// What bash 3.2 does not know, the bash of macOS, or does otherwise than later ones.
TEST(ScriptsOnAMac, UseNothingThatCameAfterBash32) {
    // The variable that `exec {name}<` sets is used on Linux alone, by Scripts/run.
    const std::map<std::string, std::regex> constructs{
        {"mapfile", std::regex("\\b(mapfile|readarray)\\b")},
        {"associative arrays and references", std::regex("\\b(declare|local|typeset) +-[A-Za-z]*[Ang]")},
        {"${name,,}, ${name^^}, ${name@Q}", std::regex("\\$\\{[A-Za-z_]+(,|\\^|@[A-Z])")},
        {"negative positions", std::regex("\\$\\{[A-Za-z_]+: -|\\[-[0-9]+\\]")},
        {"&>> and |&", std::regex("&>>|\\|&")},
        {";& and ;;&", std::regex(";;?&")},
        {"coproc", std::regex("\\bcoproc\\b")},
        {"wait -n", std::regex("\\bwait +-[np]")},
        {"[[ -v name ]]", std::regex("\\[\\[? +-v ")},
        {"$EPOCHSECONDS", std::regex("\\$\\{?EPOCH")},
        {"globstar", std::regex("\\bglobstar\\b")}};
    for (const std::string& script : scriptsOnAMac) {
        std::ifstream file(GetScriptsFolder() / script);
        ASSERT_TRUE(file.is_open()) << script;
        int number = 0;
        for (std::string line; std::getline(file, line);) {
            ++number;
            for (const auto& [name, pattern] : constructs) {
                EXPECT_FALSE(std::regex_search(line, pattern)) << script << ':' << number << ": " << name;
            }
        }
    }
}

} // namespace

} // namespace Tovra::Tests
