#include <Structure/TestRules.h>
#include <Support/Folders.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tovra::Tests::FindSuiteViolations;

TEST(TestRules, HoldForAllTests) {
    const std::filesystem::path root = Tovra::Tests::GetTestsFolder();
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        const std::string extension = entry.path().extension();
        if (extension == ".h" || extension == ".cpp") {
            std::ifstream file(entry.path());
            files[entry.path().lexically_relative(root)] = {std::istreambuf_iterator<char>(file), {}};
        }
    }
    EXPECT_TRUE(files.contains("Structure/TestRulesTest.cpp"));
    EXPECT_THAT(FindSuiteViolations(files), IsEmpty());
}

TEST(TestRules, AllowSuitesThatBearTheNameOfTheirFile) {
    EXPECT_THAT(FindSuiteViolations({{"A/FooTest.cpp", "TEST(Foo, A) {}\n"
                                                       "TEST(FooDeathTest, A) {}\n"
                                                       "TEST(FooEndDeathTest, A) {}\n"
                                                       "TEST_F(FooTest, A) {}\n"
                                                       "TEST_F(FooStartTest, A) {}\n"
                                                       "TEST_P(FooTableTest, A) {}\n"}}),
                IsEmpty());
}

TEST(TestRules, RefuseASuiteOfAnotherName) {
    EXPECT_THAT(FindSuiteViolations({{"A/FooTest.cpp", "TEST(Foo, A) {}\n\nTEST(Bar, A) {}\n"}}),
                ElementsAre("A/FooTest.cpp:3: TEST(Bar) doesn't bear the file's name"));
    EXPECT_THAT(FindSuiteViolations({{"A/FooTest.cpp", "TEST_F(OtherFooTest, A) {}"}}),
                ElementsAre("A/FooTest.cpp:1: TEST_F(OtherFooTest) doesn't bear the file's name"));
    EXPECT_THAT(FindSuiteViolations({{"A/FooTest.cpp", "\n TEST_P(\n    Bar,\n    A) {}"}}),
                ElementsAre("A/FooTest.cpp:3: TEST_P(Bar) doesn't bear the file's name"));
}

TEST(TestRules, TellSuitesWithAndWithoutAFixtureApart) {
    EXPECT_THAT(FindSuiteViolations({{"FooTest.cpp", "TEST(FooTest, A) {}\nTEST(FooStart, A) {}"}}),
                ElementsAre("FooTest.cpp:1: TEST(FooTest) doesn't bear the file's name",
                            "FooTest.cpp:2: TEST(FooStart) doesn't bear the file's name"));
    EXPECT_THAT(FindSuiteViolations({{"FooTest.cpp", "TEST_F(Foo, A) {}\nTEST_F(FooStart, A) {}"}}),
                ElementsAre("FooTest.cpp:1: TEST_F(Foo) doesn't bear the file's name",
                            "FooTest.cpp:2: TEST_F(FooStart) doesn't bear the file's name"));
}

TEST(TestRules, RefuseANameThatEndsWithinAWord) {
    EXPECT_THAT(FindSuiteViolations({{"FooTest.cpp", "TEST_F(FoosTest, A) {}"}}),
                ElementsAre("FooTest.cpp:1: TEST_F(FoosTest) doesn't bear the file's name"));
}

TEST(TestRules, RefuseASuiteThatFitsAnotherFileBetter) {
    EXPECT_THAT(FindSuiteViolations({{"A/FooTest.cpp", "TEST_F(FooBarTest, A) {}"}, {"B/FooBarTest.cpp", ""}}),
                ElementsAre("A/FooTest.cpp:1: FooBarTest would be looked for in B/FooBarTest.cpp"));
    EXPECT_THAT(FindSuiteViolations(
                    {{"A/FooTest.cpp", "TEST_F(FooTest, A) {}"}, {"B/FooBarTest.cpp", "TEST_F(FooBarTest, A) {}"}}),
                IsEmpty());
}

TEST(TestRules, RefuseTwoFilesOfOneName) {
    EXPECT_THAT(FindSuiteViolations({{"A/FooTest.cpp", ""}, {"B/FooTest.cpp", ""}}),
                ElementsAre("B/FooTest.cpp:1: has the name of A/FooTest.cpp"));
}

TEST(TestRules, RefuseTestsInAFileThatIsNoTestFile) {
    EXPECT_THAT(FindSuiteViolations({{"A/Foo.cpp", "TEST(Foo, A) {}"}, {"A/Foo.h", "TYPED_TEST(Foo, A) {}"}}),
                ElementsAre("A/Foo.cpp:1: has tests, but its name doesn't end in Test.cpp",
                            "A/Foo.h:1: has tests, but its name doesn't end in Test.cpp"));
}

TEST(TestRules, LookAtNothingButTests) {
    EXPECT_THAT(FindSuiteViolations({{"FooTest.cpp", "// TEST(Bar, A) {}\n#define MY_TEST(Bar)\nTESTED(Bar);"},
                                     {"Foo.cpp", "EXPECT_TEST(Bar, A);"}}),
                IsEmpty());
}

} // namespace
