#include "Desktop.h"

#include <System/Desktop/WindowPlatformNative.h>
#include <System/Device/Display/DisplayCache.h>
#include <System/Processes/ActivateAppPlatformNative.h>

#include <MacOS/Doubles/CoreGraphics.h>
#include <MacOS/MacHostTest.h>
#include <gmock/gmock.h>

namespace Tovra::Tests::AppKit {

namespace {

using namespace System::Desktop;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

/// What needs no application object runs in this process.
class AppKitHostTest : public MacHostTest {
protected:
    AppKitHostTest() { GetToolkit() = {}; }
};

TEST_F(AppKitHostTest, MayChangeTheCursorInTheBackgroundAndFollowsDisplayChanges) {
    int userInfo = 0;
    EXPECT_TRUE(WindowInitializePlatformNative(&userInfo));
    EXPECT_THAT(TakeCalls(),
                ElementsAre("CFStringCreateWithCString(null, \"SetsCursorInBackground\", 0)", "_CGSDefaultConnection()",
                            "_CGSDefaultConnection()", "CGSSetConnectionProperty(5, 5, String#1, true)",
                            "CFRelease(String#1)", "CGDisplayRegisterReconfigurationCallback()"));
    EXPECT_THAT(Doubles::connection.properties, ElementsAre("SetsCursorInBackground=true"));
    EXPECT_THAT(Doubles::displays.callbacks,
                ElementsAre(Pair(&System::Device::Display::DisplayReconfigurationCallback, &userInfo)));
}

TEST_F(AppKitHostTest, IsReadyForWindowsWhateverFails) {
    Sweep(
        [] {
            Doubles::connection = {};
            Doubles::displays = {};
            const bool isReady = WindowInitializePlatformNative(nullptr);
            return std::string(isReady ? "ready" : "not") +
                   (Doubles::connection.properties.empty() ? "" : ", property") +
                   (Doubles::displays.callbacks.empty() ? "" : ", callback");
        },
        {{"CFStringCreateWithCString", "ready, callback", "ready"},
         {"CGSSetConnectionProperty", "ready, callback", "ready"},
         {"CGDisplayRegisterReconfigurationCallback", "ready, property"}});
}

TEST_F(AppKitHostTest, ShowsAndHidesTheCursorOfTheMainDisplay) {
    Doubles::displays.all = {{.id = 7}, {.id = 8}};
    EXPECT_EQ(WindowHideCursorPlatformNative(), 0);
    EXPECT_EQ(Doubles::displays.hidings, 1);
    EXPECT_EQ(WindowShowCursorPlatformNative(), 0);
    EXPECT_EQ(Doubles::displays.hidings, 0);
    EXPECT_THAT(TakeCalls(), ElementsAre("CGMainDisplayID()", "CGDisplayHideCursor(7)", "CGMainDisplayID()",
                                         "CGDisplayShowCursor(7)"));
}

TEST_F(AppKitHostTest, TellsTheErrorOfTheCursor) {
    Doubles::displays.all = {{.id = 7}};
    Sweep([] { return std::to_string(WindowHideCursorPlatformNative()); },
          {{"CGMainDisplayID", "0", "1000"}, {"CGDisplayHideCursor", "1000"}});
    Sweep([] { return std::to_string(WindowShowCursorPlatformNative()); },
          {{"CGMainDisplayID", "0", "1000"}, {"CGDisplayShowCursor", "1000"}});
}

TEST_F(AppKitHostTest, ActivatesAllWindowsOfAnApplicationAboveOthers) {
    GetToolkit().processIds = {123};
    EXPECT_TRUE(WindowActivateAppPlatformNative(123)) << "Whatever the activation answers.";
    EXPECT_THAT(TakeMessages(), ElementsAre("runningApplicationWithProcessIdentifier: 123", "activateWithOptions: 3"));
    EXPECT_EQ(GetToolkit().objects["Temporary"], 0);
}

TEST_F(AppKitHostTest, ActivatesNoProcessThatIsNoApplication) {
    GetToolkit().processIds = {123};
    EXPECT_FALSE(WindowActivateAppPlatformNative(124));
    EXPECT_THAT(TakeMessages(), ElementsAre("runningApplicationWithProcessIdentifier: 124"));
    EXPECT_EQ(GetToolkit().objects["Temporary"], 0);
}

} // namespace

} // namespace Tovra::Tests::AppKit
