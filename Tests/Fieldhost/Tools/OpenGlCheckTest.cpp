#include "SetupToolTest.h"

#include <Fakes/ChildOperations.h>
#include <Fakes/PlatformApplication.h>

#include <iostream>
#include <sstream>

namespace Tovra::Tests {

namespace {

using Fakes::glContextPlatformNative;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

class OpenGlCheckTest : public SetupToolTest {
protected:
    static std::vector<std::string>& GetWindowCalls() { return Fakes::windowPlatformNative.calls; }

    /// The report must be written before anything is destroyed.
    static void ExpectTheReportBeforeTheCleanUp() {
        Fakes::standardStreams.onWrite = [] {
            EXPECT_THAT(GetWindowCalls(), Not(Contains(StartsWith("Destroy"))));
            EXPECT_THAT(glContextPlatformNative.calls, Not(Contains(StartsWith("Destroy"))));
        };
        Fakes::windowPlatformNative.duringDestroy = [] { EXPECT_EQ(Fakes::standardStreams.writes.size(), 1u); };
    }
};

TEST_F(OpenGlCheckTest, ReportsTheVersionAndThenDestroysContextAndWindow) {
    ExpectTheReportBeforeTheCleanUp();
    Fakes::windowPlatformNative.duringDestroy = [expectTheReport = Fakes::windowPlatformNative.duringDestroy] {
        expectTheReport();
        EXPECT_THAT(glContextPlatformNative.calls, Contains("Destroy(7, 9)"));
    };
    EXPECT_EQ(Run({"-cgl"}), GetResultOutput("Success", 0, "\"version\": \"3.2 Fake\""));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_EQ(glContextPlatformNative.calls.front(), "Initialize(7, TovraFieldhostSetupTool)");
    EXPECT_EQ(glContextPlatformNative.calls.back(), "Destroy(7, 9)");
    // The window's destructor destroys it again, which is harmless.
    EXPECT_THAT(GetWindowCalls(), ElementsAre("Initialize(0)", "Create(0, 0, 800, 600)", "Destroy(7)", "Destroy(7)"));
}

TEST_F(OpenGlCheckTest, AvoidsAShaderCacheBeforeTheWindowIsMade) {
    bool hasAvoided = false;
    Fakes::windowPlatformNative.duringCreate = [&] { hasAvoided = Fakes::platformApplication.avoidsShaderCache; };
    Run({"-cgl"});
    EXPECT_TRUE(hasAvoided);
}

TEST_F(OpenGlCheckTest, FailsWithABoolWhereTheWindowIsNotMade) {
    ExpectTheReportBeforeTheCleanUp();
    Fakes::windowPlatformNative.createResult = nullptr;
    EXPECT_EQ(Run({"-cgl"}), GetResultOutput("Failed", 1, "\"version\": false"));
    EXPECT_EQ(GetStatus(), 1);
    EXPECT_THAT(glContextPlatformNative.calls, IsEmpty());
    // Only the window's destructor calls it, with a null handle.
    EXPECT_THAT(GetWindowCalls(), ElementsAre("Initialize(0)", "Create(0, 0, 800, 600)", "Destroy(0)"));
}

TEST_F(OpenGlCheckTest, FailsWhereThePlatformIsNotInitialised) {
    Fakes::windowPlatformNative.initializeResult = false;
    EXPECT_EQ(Run({"-cgl"}), GetResultOutput("Failed", 1, "\"version\": false"));
    EXPECT_EQ(GetStatus(), 1);
    EXPECT_THAT(GetWindowCalls(), ElementsAre("Initialize(0)", "Destroy(0)"));
}

TEST_F(OpenGlCheckTest, CallsAMissingContextUnsupportedWithoutAVersion) {
    ExpectTheReportBeforeTheCleanUp();
    glContextPlatformNative.context = nullptr;
    EXPECT_EQ(Run({"-cgl"}), GetResultOutput("Platform Unsupported", -1, "\"version\": \"\""));
    EXPECT_EQ(GetStatus(), -1);
    EXPECT_THAT(glContextPlatformNative.calls, ElementsAre("Initialize(7, TovraFieldhostSetupTool)"));
    EXPECT_THAT(GetWindowCalls(), Contains("Destroy(7)"));
}

TEST_F(OpenGlCheckTest, KeepsTheVersionThatWasReadBeforeTheContextFailed) {
    ExpectTheReportBeforeTheCleanUp();
    glContextPlatformNative.missing = {"glDrawArraysInstanced"};
    EXPECT_EQ(Run({"-cgl"}), GetResultOutput("Platform Unsupported", -1, "\"version\": \"3.2 Fake\""));
    EXPECT_EQ(GetStatus(), -1);
    EXPECT_THAT(glContextPlatformNative.calls, Each(Not(StartsWith("Destroy"))));
    EXPECT_THAT(GetWindowCalls(), Contains("Destroy(7)"));
}

TEST_F(OpenGlCheckTest, CallsADriverThatEndsItsProcessUnsupportedWithoutAVersion) {
    Fakes::childOperations.dies = true;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(Run({"-cgl"}), GetResultOutput("Platform Unsupported", -1, "\"version\": \"\""));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Exception: The OpenGL driver gave no result.\n");
    EXPECT_EQ(Fakes::childOperations.limit, std::chrono::minutes(2));
    EXPECT_EQ(GetStatus(), -1);
    EXPECT_THAT(GetWindowCalls(), IsEmpty());
}

// Both streams may end in one file.
TEST_F(OpenGlCheckTest, SaysThatTheDriverGaveNoResultBeforeItPrintsTheDocument) {
    Fakes::childOperations.dies = true;
    std::ostringstream errors;
    std::streambuf* const before = std::cerr.rdbuf(errors.rdbuf());
    Fakes::standardStreams.onWrite = [&] { EXPECT_EQ(errors.str(), "Exception: The OpenGL driver gave no result.\n"); };
    Run({"-cgl"});
    std::cerr.rdbuf(before);
    EXPECT_EQ(Fakes::standardStreams.writes.size(), 1u);
}

TEST_F(OpenGlCheckTest, HasNoPlatformGuardAndNeedsNoRights) {
    for (const PlatformType type :
         {PlatformType::Windows, PlatformType::MacOS, PlatformType::Linux, PlatformType::LinuxVariant}) {
        Renew(type, "1.0");
        EXPECT_EQ(Run({"-cgl"}), GetResultOutput("Success", 0, "\"version\": \"3.2 Fake\""));
    }
}

} // namespace

} // namespace Tovra::Tests
