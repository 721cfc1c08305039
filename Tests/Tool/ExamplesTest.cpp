#include <Support/Folders.h>
#include <Support/Program.h>
#include <Support/TemporaryFolder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

using Tovra::Tests::GetBinaryFolder;
using Tovra::Tests::Program;
using Tovra::Tests::ProgramResult;
using Tovra::Tests::TemporaryFolder;

std::vector<std::string> ReadLines(std::istream&& stream) {
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(Examples, TheClockTicksUntilTheAlarmEndsTheProgram) {
    const TemporaryFolder home;
    Program program{.path = GetBinaryFolder() / "ClockExample"};
    program.environment["HOME"] = home.GetPath();
    const ProgramResult result = Tovra::Tests::Run(program);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    const std::vector<std::string> lines = ReadLines(std::istringstream(result.output));
    for (const char* const message : {"| Default] Info: Tick 1", "| Default] Info: Tick 2", "| Default] Info: Tick 3",
                                      "| Default] Info: The alarm rings."}) {
        EXPECT_THAT(lines, testing::Contains(testing::EndsWith(message)));
    }
    ASSERT_FALSE(lines.empty());
    EXPECT_THAT(lines.back(), testing::EndsWith("| Default] Info: The clock stops."));

    const fs::path folder = home.GetPath() / ".tovra" / "Logs";
    ASSERT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
    const fs::path file = fs::directory_iterator(folder)->path();
    EXPECT_THAT(file.filename().string(), testing::StartsWith("Clock_2"));
    EXPECT_THAT(ReadLines(std::ifstream(file)), testing::UnorderedElementsAreArray(lines));
}

} // namespace
