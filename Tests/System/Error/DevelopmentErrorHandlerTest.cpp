#include <Support/Folders.h>
#include <Support/Program.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

namespace Tovra::Tests {

namespace {

using ::testing::IsEmpty;
using ::testing::MatchesRegex;

ProgramResult Fail(const std::string& way) {
    return Run({.path = GetBinaryFolder() / "DevelopmentErrorHandlerChild", .arguments = {way}});
}

} // namespace

TEST(DevelopmentErrorHandler, PrintsAnAssertionAndAborts) {
    const ProgramResult result = Fail("assert");
    EXPECT_EQ(result.signal, SIGABRT);
    EXPECT_THAT(result.errors, MatchesRegex("Assertion: s_ways.empty\\(\\)\n\tMessage: It is not empty.\n\n"
                                            "Callstack:\n\t\\[0\\]: [^\n]+Child.cpp at [0-9]+: [^\n]+\n"));
}

TEST(DevelopmentErrorHandler, PrintsAnExceptionThatNobodyCatchesAndAborts) {
    const ProgramResult result = Fail("throw");
    EXPECT_EQ(result.signal, SIGABRT);
    EXPECT_THAT(result.errors,
                MatchesRegex("Unhandled Exception: [^\n]+\n\tMessage: [^\n]*What failed.[^\n]*\n"
                             "\tCode:    0x[0-9a-f]+\n\nCallstack:\n\t\\[0\\]: File.cpp at 7: Function\n"));
    const ProgramResult standard = Fail("throw standard");
    EXPECT_EQ(standard.signal, SIGABRT);
    EXPECT_EQ(standard.errors, "Unhandled Exception: std::exception\n\tMessage: What failed.\n");
    const ProgramResult number = Fail("throw number");
    EXPECT_EQ(number.signal, SIGABRT);
    EXPECT_EQ(number.errors, "Unhandled Exception: of an unknown type\n");
}

TEST(DevelopmentErrorHandler, SaysThatThereIsNoExceptionAndAborts) {
    const ProgramResult result = Fail("terminate");
    EXPECT_EQ(result.signal, SIGABRT);
    EXPECT_EQ(result.errors, "Terminated without an exception.\n");
}

TEST(DevelopmentErrorHandler, PrintsAHandledExceptionAndGoesOn) {
    const ProgramResult result = Fail("handle");
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.errors, MatchesRegex("Exception: [^\n]+\n\tMessage: [^\n]*What failed.[^\n]*\n(.|\n)*"
                                            "Exception: std::exception\n\tMessage: What else failed.\n"));
}

TEST(DevelopmentErrorHandler, LeavesSignalsTheirActions) {
    const ProgramResult result = Fail("interrupt");
    EXPECT_EQ(result.signal, SIGINT);
    EXPECT_THAT(result.errors, IsEmpty());
}

TEST(DevelopmentErrorHandler, EndsTheProcessByASignalThatItIsToHandle) {
    const ProgramResult result = Fail("handle signal");
    EXPECT_EQ(result.signal, SIGTERM);
    EXPECT_THAT(result.errors, IsEmpty());
}

TEST(DevelopmentErrorHandler, IsReadyWithoutAFolderForDumps) {
    EXPECT_EQ(Fail("initialize").errors, "initialized");
}

TEST(DevelopmentErrorHandler, HasNoFileForADump) {
    EXPECT_EQ(Fail("find dump").errors, "none");
}

} // namespace Tovra::Tests
