#include "Desktop.h"

#include <Support/Monitors.h>
#include <System/Desktop/PanelRules.h>
#include <System/Desktop/Window.h>
#include <System/Desktop/WindowPlatformNative.h>

#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>

namespace Tovra::Tests::AppKit {

namespace {

using namespace System::Desktop;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

/// The height of the servers' only screen, 1024 by 768.
constexpr double screenHeight = 768;

void* CreatePanel() {
    void* const handle = WindowCreatePlatformNative(100, 50, 300, 200);
    EXPECT_NE(handle, nullptr);
    TakeMessages();
    return handle;
}

/// Runs `body` with a new panel. Expects nothing on the standard error stream.
void RunWithPanel(const std::function<void(void* handle)>& body) {
    RunOnDesktop([&body] { body(CreatePanel()); });
}

/// A function on a panel, with what it sends.
struct PanelFunction {
    const char* message;
    std::function<void(void* handle)> call;
};

/// Each function on a panel once.
const std::vector<PanelFunction>& GetPanelFunctions() {
    static const std::vector<PanelFunction> s_functions{
        {"setFrame:display:", [](void* handle) { WindowSetSizePlatformNative(handle, 1, 2); }},
        {"setFrame:display:", [](void* handle) { WindowSetPositionPlatformNative(handle, 1, 2); }},
        {"setFrame:display:", [](void* handle) { WindowSetRectanglePlatformNative(handle, 1, 2, 3, 4); }},
        {"setIsVisible:", WindowShowPlatformNative},
        {"setAlphaValue:", WindowHidePlatformNative},
        {"setIgnoresMouseEvents:", [](void* handle) { WindowPassthroughCursorPlatformNative(handle, true); }},
        {"setSharingType:", [](void* handle) { WindowExcludeFromCapturePlatformNative(handle, true); }},
        {"orderFrontRegardless", WindowToFrontPlatformNative},
        {"close", WindowDestroyPlatformNative},
    };
    return s_functions;
}

TEST(AppKitPanel, IsCreatedInThisOrder) {
    RunOnDesktop([] {
        void* const handle = WindowCreatePlatformNative(100, 50, 300, 200);
        EXPECT_THAT(TakeMessages(), ElementsAre("initWithContentRect:styleMask:backing:defer: 100 518 300 200 128 2 NO",
                                                "setOpaque: NO", "setHasShadow: NO", "setBackgroundColor: clearColor",
                                                "setLevel: 26", "orderFrontRegardless"));
        const PanelProperties properties = GetProperties(handle);
        EXPECT_EQ(properties.frame, (Frame{100, screenHeight - 200 - 50, 300, 200}));
        EXPECT_EQ(properties.styleMask, 128U);
        EXPECT_EQ(properties.level, 26);
        EXPECT_EQ(properties.alpha, 1);
        EXPECT_TRUE(properties.isVisible);
        EXPECT_FALSE(properties.isOpaque);
        EXPECT_FALSE(properties.hasShadow);
        EXPECT_TRUE(properties.hasClearBackground);
        EXPECT_FALSE(properties.isReleasedWhenClosed);
        EXPECT_FALSE(properties.ignoresMouseEvents);
        EXPECT_FALSE(properties.canBecomeKey);
        EXPECT_FALSE(properties.canBecomeMain);
    });
}

TEST(AppKitPanel, KeepsFractionsOfItsPlace) {
    RunOnDesktop([] {
        WindowCreatePlatformNative(0.5F, 0.25F, 300, 200);
        EXPECT_THAT(TakeMessages().front(), HasSubstr(": 0.5 567.75 300 200 128 "));
    });
}

TEST(AppKitPanel, ResizedItKeepsItsLowerLeftCorner) {
    RunWithPanel([](void* handle) {
        WindowSetSizePlatformNative(handle, 400, 100);
        EXPECT_THAT(TakeMessages(), ElementsAre("setFrame:display: 100 518 400 100 NO"));
        EXPECT_EQ(GetProperties(handle).frame, (Frame{100, 518, 400, 100}));
    });
}

TEST(AppKitPanel, MovedItKeepsItsSize) {
    RunWithPanel([](void* handle) {
        WindowSetPositionPlatformNative(handle, 20, 30);
        EXPECT_THAT(TakeMessages(), ElementsAre("setFrame:display: 20 538 300 200 NO"));
        EXPECT_EQ(GetProperties(handle).frame, (Frame{20, screenHeight - 200 - 30, 300, 200}));
    });
}

TEST(AppKitPanel, TakesARectangleInOneStep) {
    RunWithPanel([](void* handle) {
        WindowSetRectanglePlatformNative(handle, 20, 30, 40, 50);
        EXPECT_THAT(TakeMessages(), ElementsAre("setFrame:display: 20 688 40 50 NO"));
        EXPECT_EQ(GetProperties(handle).frame, (Frame{20, screenHeight - 50 - 30, 40, 50}));
    });
}

TEST(AppKitPanel, IsShownAndHiddenByItsAlphaAlone) {
    RunWithPanel([](void* handle) {
        WindowHidePlatformNative(handle);
        EXPECT_THAT(TakeMessages(), ElementsAre("setAlphaValue: 0"));
        EXPECT_EQ(GetProperties(handle).alpha, 0);
        EXPECT_TRUE(GetProperties(handle).isVisible) << "It stays in the order of windows.";
        WindowShowPlatformNative(handle);
        EXPECT_THAT(TakeMessages(), ElementsAre("setIsVisible: YES", "setAlphaValue: 1"));
        EXPECT_EQ(GetProperties(handle).alpha, 1);
    });
}

TEST(AppKitPanel, TakesTheFocusOnlyWhileThePointerDoesNotPassThrough) {
    RunWithPanel([](void* handle) {
        WindowToFrontPlatformNative(handle);
        EXPECT_THAT(TakeMessages(), ElementsAre("orderFrontRegardless")) << "A new panel may not have the keyboard.";
        EXPECT_FALSE(GetProperties(handle).isKey);

        WindowPassthroughCursorPlatformNative(handle, false);
        EXPECT_THAT(TakeMessages(), ElementsAre("setIgnoresMouseEvents: NO"));
        EXPECT_TRUE(GetProperties(handle).canBecomeKey);
        EXPECT_TRUE(GetProperties(handle).canBecomeMain);
        WindowToFrontPlatformNative(handle);
        EXPECT_THAT(TakeMessages(), ElementsAre("makeKeyAndOrderFront: nil"));
        EXPECT_TRUE(GetProperties(handle).isKey);

        WindowPassthroughCursorPlatformNative(handle, true);
        EXPECT_THAT(TakeMessages(), ElementsAre("setIgnoresMouseEvents: YES"));
        EXPECT_TRUE(GetProperties(handle).ignoresMouseEvents);
        EXPECT_FALSE(GetProperties(handle).canBecomeKey);
        EXPECT_FALSE(GetProperties(handle).canBecomeMain);
        WindowToFrontPlatformNative(handle);
        EXPECT_THAT(TakeMessages(), ElementsAre("orderFrontRegardless"));
    });
}

TEST(AppKitPanel, IsExcludedFromCaptureByItsSharingType) {
    RunWithPanel([](void* handle) {
        WindowExcludeFromCapturePlatformNative(handle, true);
        WindowExcludeFromCapturePlatformNative(handle, false);
        EXPECT_THAT(TakeMessages(), ElementsAre("setSharingType: 0", "setSharingType: 1"));
    });
}

TEST(AppKitPanel, IsClosedTwiceButNeverReleased) {
    RunWithPanel([](void* handle) {
        WindowDestroyPlatformNative(handle);
        EXPECT_FALSE(GetProperties(handle).isVisible);
        WindowDestroyPlatformNative(handle);
        EXPECT_THAT(TakeMessages(), ElementsAre("close", "close"));
        EXPECT_EQ(GetToolkit().objects["Panel"], 1);
    });
}

TEST(AppKitPanel, TheNullHandleIsLeftAlone) {
    RunOnDesktop([] {
        for (const PanelFunction& function : GetPanelFunctions()) {
            function.call(nullptr);
        }
        EXPECT_THAT(TakeMessages(), IsEmpty());
    });
}

TEST(AppKitPanel, AnExceptionOfTheToolkitIsPrintedAndSwallowed) {
    const XServer server;
    for (const PanelFunction& function : GetPanelFunctions()) {
        const std::string errors = RunOn(server, [&function] {
            void* const handle = CreatePanel();
            GetToolkit().raisingMessage = function.message;
            function.call(handle);
        });
        EXPECT_THAT(errors, AllOf(HasSubstr("] Exception: "), HasSubstr("NAME:TestException"),
                                  HasSubstr(std::string("REASON:") + function.message), EndsWith("\n")))
            << function.message;
    }
}

TEST(AppKitPanel, IsNullIfTheToolkitRefusesAnyStepOfItsCreation) {
    const std::vector<std::string> steps{"initWithContentRect:styleMask:backing:defer:",
                                         "setOpaque:",
                                         "setHasShadow:",
                                         "setBackgroundColor:",
                                         "setLevel:",
                                         "orderFrontRegardless"};
    const XServer server;
    for (const std::string& step : steps) {
        const std::string errors = RunOn(server, [&step] {
            GetToolkit().raisingMessage = step;
            EXPECT_EQ(WindowCreatePlatformNative(100, 50, 300, 200), nullptr);
            EXPECT_EQ(GetToolkit().objects["Panel"], 0) << step << " leaves a panel that nobody can close.";
        });
        EXPECT_THAT(errors, HasSubstr("Exception: ")) << step;
    }
}

TEST(AppKitPanel, OfAWorkerIsMadeByTheMainThreadWhileThatRunsItsLoop) {
    RunOnDesktop([] {
        Window turns(nullptr, "Turns", {}, {.width = 1, .height = 1}, Window::Style{});
        ASSERT_TRUE(turns.Create());
        turns.SetEventCallback([](const WindowEvent&) { return true; });
        TakeMessages();

        std::atomic<bool> isCalling = false;
        std::atomic<bool> isDone = false;
        void* handle = nullptr;
        std::thread worker([&] {
            isCalling = true;
            handle = WindowCreatePlatformNative(100, 50, 300, 200);
            WindowSetSizePlatformNative(handle, 10, 20);
            isDone = true;
        });
        while (!isCalling) {
            std::this_thread::yield();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_FALSE(isDone) << "The caller waits.";
        EXPECT_THAT(TakeMessages(), IsEmpty());
        while (!isDone) {
            turns.Update();
        }
        worker.join();
        EXPECT_THAT(TakeMessages(), ElementsAre(HasSubstr("initWithContentRect"), "setOpaque: NO", "setHasShadow: NO",
                                                "setBackgroundColor: clearColor", "setLevel: 26",
                                                "orderFrontRegardless", "setFrame:display: 100 518 10 20 NO"));
        EXPECT_EQ(GetProperties(handle).frame, (Frame{100, 518, 10, 20}));
    });
}

TEST(AppKitPanel, IsReachedFromAWorkerOnTheMainThreadAlone) {
    RunOnDesktop([] {
        Window turns(nullptr, "Turns", {}, {.width = 1, .height = 1}, Window::Style{});
        ASSERT_TRUE(turns.Create());
        turns.SetEventCallback([](const WindowEvent&) { return true; });
        void* const handle = CreatePanel();
        for (const PanelFunction& function : GetPanelFunctions()) {
            std::atomic<bool> isDone = false;
            std::thread worker([&] {
                function.call(handle);
                isDone = true;
            });
            while (!isDone) {
                turns.Update();
            }
            worker.join();
            EXPECT_THAT(TakeMessages().front(), StartsWith(function.message));
        }
    });
}

TEST(AppKitPanel, AnExceptionOfCppPasses) {
    RunOnDesktop([] { EXPECT_THROW(RunOnMainThread([] { throw std::runtime_error("passes"); }), std::runtime_error); });
}

TEST(AppKitPanel, IsPlacedByTheFirstOfTwoScreensWhereverItIs) {
    const TemporaryFolder folder;
    // Side by side; the right one is the first screen.
    const std::string left = R"(Option "PreferredMode" "640x480")";
    const std::string right = R"(Option "Enable" "true"
        Option "PreferredMode" "1024x768"
        Option "RightOf" "0"
        Option "Primary" "true")";
    const XServer server(GetMonitorServerArguments(folder, {left, right}), "Xorg");
    EXPECT_EQ(RunOn(server,
                    [] {
                        // By the toolkit's coordinates: the left one ends at the top, 288 points higher.
                        ASSERT_THAT(GetScreens(), ElementsAre(Frame{640, 0, 1024, 768}, Frame{0, 288, 640, 480}));
                        void* const handle = WindowCreatePlatformNative(100, 50, 300, 200);
                        EXPECT_EQ(GetProperties(handle).frame, (Frame{100, 768 - 200 - 50, 300, 200}));
                        WindowSetPositionPlatformNative(handle, 700, 400);
                        EXPECT_EQ(GetProperties(handle).frame, (Frame{700, 768 - 200 - 400, 300, 200}));
                        WindowSetRectanglePlatformNative(handle, 10, -20, 30, 40);
                        EXPECT_EQ(GetProperties(handle).frame, (Frame{10, 768 - 40 + 20, 30, 40}));
                    }),
              "");
}

TEST(AppKitPanel, TheServerIsNotLost) {
    RunOnDesktop([] { EXPECT_FALSE(System::Desktop::Window::IsServerLost()); });
}

} // namespace

} // namespace Tovra::Tests::AppKit
