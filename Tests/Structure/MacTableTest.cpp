#include <Structure/MacTable.h>
#include <Support/Folders.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tovra::Tests::FindMacTableViolations;

TEST(MacTable, HasARowForEachFileOfTheHost) {
    const std::filesystem::path root = Tovra::Tests::GetSourceFolder().parent_path();
    std::vector<std::string> paths;
    for (const std::string folder : {"Benchmarks", "Examples", "Source", "Tests"}) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root / folder)) {
            paths.push_back(entry.path().lexically_relative(root));
        }
    }
    EXPECT_THAT(paths, Contains("Source/System/Desktop/Window_MacOS.mm"));
    std::ifstream file(root / "Documentation/Architecture.md");
    const std::string document(std::istreambuf_iterator<char>(file), {});
    EXPECT_THAT(FindMacTableViolations(paths, document), IsEmpty());
}

TEST(MacTable, MissesAFileWithoutARow) {
    const std::vector<std::string> paths{"Source/A_MacOS.cpp", "Source/A_Linux.cpp", "Source/B_MacOS.mm",
                                         "Source/C_MacOS.h"};
    EXPECT_THAT(FindMacTableViolations(paths, "| file | executed on | left |\n| `Source/A_MacOS.cpp` | doubles | a |\n"
                                              "Text with `Source/B_MacOS.mm` in it.\n"),
                ElementsAre("Source/B_MacOS.mm has no row", "Source/C_MacOS.h has no row"));
}

TEST(MacTable, RefusesARowTooMany) {
    EXPECT_THAT(FindMacTableViolations({"A_MacOS.cpp"}, "| `A_MacOS.cpp` | a | b |\n| `A_MacOS.cpp` | a | b |\n"),
                ElementsAre("A_MacOS.cpp has several rows"));
    EXPECT_THAT(FindMacTableViolations({}, "| `A_MacOS.cpp` | a | b |"),
                ElementsAre("A_MacOS.cpp has a row, but is not there"));
}

TEST(MacTable, RefusesAnEmptyCell) {
    constexpr auto fault = "A_MacOS.cpp has not three cells with a text in each";
    for (const char* const cells : {" a | |", " | b |", " a |", " a | b | c |", ""}) {
        EXPECT_THAT(FindMacTableViolations({"A_MacOS.cpp"}, std::string("| `A_MacOS.cpp` |") + cells),
                    ElementsAre(fault));
    }
}

} // namespace
