#include <Tool/SetupTool.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace Tovra::Tests {

namespace {

TEST(MacOSOpenGlCheck, SucceedsWithTheVersionOfACoreContext) {
    const SetupTool tool;
    const ProgramResult result = tool.Run({"-cgl"});
    // Apple's OpenGL is 4.1 in a core context, on any Mac since 2012.
    EXPECT_THAT(result.output, ::testing::StartsWith("{\n    \"name\": \"Success\",\n    \"code\": 0,\n"
                                                     "    \"data\": {\n        \"version\": \"4.1 "))
        << result.errors;
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.signal, 0);
    EXPECT_FALSE(result.timedOut);
}

TEST(MacOSOpenGlCheck, ReportsOnceHoweverOftenItIsAsked) {
    const SetupTool tool;
    const std::string first = tool.Run({"-cgl"}).output;
    for (int run = 0; run < 5; ++run) {
        EXPECT_EQ(tool.Run({"--CheckOpenGL"}).output, first);
    }
}

} // namespace

} // namespace Tovra::Tests
