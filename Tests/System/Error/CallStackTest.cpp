#include <System/Error/CallStack.h>

#include <gtest/gtest.h>

namespace {

using Tovra::System::Debug::CallStack;

const char* Shortened(const char* path) {
    return CallStack(path, 7, "Function").file;
}

TEST(CallStack, BeginsAtTheSeparatorBehindSource) {
    EXPECT_STREQ(Shortened("/home/x/Source/System/Log/Log"), "/System/Log/Log");
    EXPECT_STREQ(Shortened("C:\\x\\Source\\System\\Log"), "\\System\\Log");
}

TEST(CallStack, PointsIntoTheGivenText) {
    const char* const path = "./Source/Main.cpp";
    EXPECT_EQ(Shortened(path), path + 8);
}

TEST(CallStack, IsCutAtTheLastSource) {
    EXPECT_STREQ(Shortened("/Source/a/Source/b.cpp"), "/b.cpp");
}

TEST(CallStack, KeepsAPathThatEndsInSource) {
    EXPECT_STREQ(Shortened("/a/Source"), "/a/Source");
}

TEST(CallStack, IsNotCutAtANameThatOnlyEndsInSource) {
    EXPECT_STREQ(Shortened("/a/MySource/b.cpp"), "/a/MySource/b.cpp");
}

TEST(CallStack, IsNotCutAtANameThatOnlyBeginsWithSource) {
    EXPECT_STREQ(Shortened("/a/Sources/b.cpp"), "/a/Sources/b.cpp");
}

TEST(CallStack, NeedsASeparatorBeforeSource) {
    EXPECT_STREQ(Shortened("Source/b.cpp"), "Source/b.cpp");
    EXPECT_STREQ(Shortened("/Source/b.cpp"), "/b.cpp");
}

TEST(CallStack, TakesNothingBeforeThePathForItsSeparator) {
    const char* const longer = "/Source/b.cpp";
    EXPECT_EQ(Shortened(longer + 1), longer + 1);
}

TEST(CallStack, KeepsAPathInWhichSourceDoesNotFitBeforeASeparator) {
    for (const char* const path : {"/b.cpp", "a/b", "1234/b", "12345/b", "123456/b", "1234567/b"}) {
        EXPECT_STREQ(Shortened(path), path);
    }
}

TEST(CallStack, KeepsAnEmptyPath) {
    EXPECT_STREQ(Shortened(""), "");
}

TEST(CallStack, KeepsLineAndFunction) {
    const CallStack callStack("/a/Source/b.cpp", 7, "Function");
    EXPECT_EQ(callStack.line, 7u);
    EXPECT_STREQ(callStack.function, "Function");
}

} // namespace
