#include "SetupTool.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <string>
#include <vector>

namespace Tovra::Tests {

namespace {

using ::testing::ElementsAreArray;

/// Other processors and C libraries have other calls for the same.
std::string GetCommonName(const std::string& call) {
    static const std::map<std::string, std::string> s_commonNames{
        {"readlinkat", "readlink"}, {"dup3", "dup2"}, {"fstat", "newfstatat"}};
    const auto found = s_commonNames.find(call);
    return found == s_commonNames.end() ? call : found->second;
}

/// The names of the calls in what strace wrote, in their order.
std::vector<std::string> ReadCalls(const std::filesystem::path& log) {
    std::vector<std::string> calls;
    std::ifstream file(log);
    for (std::string line; std::getline(file, line);) {
        if (const std::size_t end = line.find('('); end != std::string::npos) {
            calls.push_back(GetCommonName(line.substr(0, end)));
        }
    }
    return calls;
}

/// The calls that the document lists, each as often as it says. Several in one row follow each other.
std::vector<std::string> ReadDocument() {
    std::ifstream file(GetScriptsFolder().parent_path() / "Documentation" / "Performance.md");
    static const std::regex s_row(R"(\| ((?:`[a-z0-9_]+`(?:, )?)+) \| ([0-9]+) \| (.+) \|)");
    static const std::regex s_name("[a-z0-9_]+");
    std::vector<std::string> calls;
    bool isInSection = false;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("## ")) {
            isInSection = line == "## System calls of `-Help`";
        }
        std::smatch row;
        if (!isInSection || !std::regex_match(line, row, s_row)) {
            continue;
        }
        const std::string names = row[1];
        for (int count = std::stoi(row[2]); count > 0; --count) {
            std::copy(std::sregex_token_iterator(names.begin(), names.end(), s_name), {}, std::back_inserter(calls));
        }
    }
    return calls;
}

class HelpSystemCallsTest : public ::testing::Test {
protected:
    HelpSystemCallsTest() {
        std::filesystem::copy(GetBinaryFolder() / "Schemas", m_tool.GetFolder() / "Schemas");
        // Makes the folder of the logs, which is there from the second start on.
        EXPECT_THAT(m_tool.Run({"-Help"}), IsHelp());
    }

    /// The calls of a program, as the second process of a process namespace of its own.
    std::vector<std::string> Trace(const std::filesystem::path& path, std::vector<std::string> arguments = {}) const {
        const std::filesystem::path log = m_tool.GetFolder() / "calls";
        arguments.insert(arguments.begin(), {log, path});
        Program program = m_tool.GetIsolatedScript(R"(shift; exec strace -o "$@")", arguments);
        // The memory for the process table depends on how many processes the machine has.
        program.environment["GLIBC_TUNABLES"] = "glibc.malloc.top_pad=67108864:glibc.malloc.mmap_threshold=67108864";
        const ProgramResult result = Tests::Run(program);
        EXPECT_EQ(result.status, 0) << result.errors;
        return ReadCalls(log);
    }

    const SetupTool m_tool;
};

TEST_F(HelpSystemCallsTest, AreThoseOfAnyProgramAndThoseThatTheDocumentGivesAReasonFor) {
    std::vector<std::string> expected = Trace(GetBinaryFolder() / "EmptyProgram");
    ASSERT_FALSE(expected.empty());
    ASSERT_EQ(expected.back(), "exit_group");
    expected.pop_back();
    const std::vector<std::string> documented = ReadDocument();
    ASSERT_FALSE(documented.empty());
    expected.insert(expected.end(), documented.begin(), documented.end());
    EXPECT_THAT(Trace(m_tool.GetPath(), {"-Help"}), ElementsAreArray(expected));
}

TEST_F(HelpSystemCallsTest, AreAtLeastThoseOfTheLimitThatHelpIsMeasuredAgainst) {
    const std::filesystem::path schema = m_tool.GetFolder() / "Schemas" / "Halvorn-Configuration-2501.json";
    std::vector<std::string> limit = Trace(GetBinaryFolder() / "HelpLimitUnderTest", {"1254", schema});
    const std::vector<std::string> empty = Trace(GetBinaryFolder() / "EmptyProgram");
    ASSERT_GT(limit.size(), empty.size());
    // What the loader does comes first.
    limit.erase(limit.begin(), limit.begin() + static_cast<std::ptrdiff_t>(empty.size()) - 1);
    EXPECT_THAT(limit, ::testing::Contains("getdents64"));
    EXPECT_THAT(limit, ::testing::IsSubsetOf(ReadDocument()));
}

TEST_F(HelpSystemCallsTest, AreOneMoreForEachFurtherProcess) {
    const auto count = [this](const std::string& processes) {
        const std::filesystem::path log = m_tool.GetFolder() / "calls";
        Program program = m_tool.GetIsolatedScript(R"(for number in $3; do sleep 60 & done; strace -o "$2" "$1" -Help)",
                                                   {log, processes});
        EXPECT_EQ(Tests::Run(program).status, 0);
        return ReadCalls(log).size();
    };
    const std::size_t few = count("1");
    EXPECT_EQ(count("1 2 3 4 5 6"), few + 5);
}

} // namespace

} // namespace Tovra::Tests
