#include <Fakes/WindowPlatformNative.h>
#include <System/Processes/Helpers.h>
#include <System/Processes/Process.h>
#include <System/Processes/ProcessWindow.h>
#include <System/Processes/ProcessWindowOperations.h>

#include <MacOS/Doubles/Accessibility.h>
#include <MacOS/Doubles/CoreGraphics.h>
#include <MacOS/MacHostTest.h>

#include <format>
#include <string>
#include <vector>

namespace {

using namespace Tovra::System::Processes;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tovra::System::VisitorAction;
using Tovra::Tests::FailedCall;
using Tovra::Tests::MacHostTest;
using Tovra::Tests::Doubles::accessibility;
using Tovra::Tests::Doubles::Dictionary;
using Tovra::Tests::Doubles::Failure;
using Tovra::Tests::Doubles::MakeBounds;
using Tovra::Tests::Doubles::Value;
using Tovra::Tests::Doubles::windowList;
using Tovra::Tests::Fakes::windowPlatformNative;

/// An entry of the window list.
Dictionary MakeEntry(int number, int owner, int layer, const Dictionary& bounds, const char* name, bool isOnScreen) {
    Dictionary entry = {
        {"kCGWindowNumber", number},        {"kCGWindowOwnerPID", owner}, {"kCGWindowLayer", layer},
        {"kCGWindowBounds", bounds},        {"kCGWindowName", name},      {"kCGWindowOwnerName", "Owner"},
        {"kCGWindowIsOnscreen", isOnScreen}};
    if (!isOnScreen) {
        entry.erase("kCGWindowIsOnscreen");
    }
    return entry;
}

/// A menu bar, and below it an application's window and a hidden one. The accessibility layer lists the hidden one
/// first.
class MacProcessWindowTest : public MacHostTest {
protected:
    MacProcessWindowTest() {
        windowList.entries = {MakeEntry(3, 88, 25, MakeBounds(0, 0, 1440, 24), "Menu", true),
                              MakeEntry(11, 501, 0, MakeBounds(10.9, 20, 20.9, 200), "Document", true),
                              MakeEntry(12, 501, 0, MakeBounds(400, 20, 300, 200), "Notes", false)};
        accessibility.applications[501] = {.windows = {{.number = 1, .position = {400, 20}, .size = {300, 200}},
                                                       {.number = 2, .position = {12, 20}, .size = {21, 200}}},
                                           .focusedWindow = 2};
        accessibility.frontProcessId = 501;
    }

    static Dictionary& GetDocument() { return windowList.entries[1]; }

    static std::string GetName(unsigned long number) {
        std::string name = "before";
        ProcessWindow(number).GetName(name);
        return name;
    }

    static std::string GetFrame(unsigned long number) {
        const auto [left, top, right, bottom] = ProcessWindow(number).GetFrame();
        return std::format("{}, {}, {}, {}", left, top, right, bottom);
    }
};

TEST_F(MacProcessWindowTest, FindsTheFocusedWindowOfTheApplicationInFront) {
    EXPECT_EQ(ProcessWindow::GetActive().handle, 11u);
    EXPECT_THAT(
        TakeCalls(),
        ElementsAre("GetFrontProcess()", "GetProcessPID(0, 77)", "AXUIElementCreateApplication(501)",
                    "AXUIElementCopyAttributeValue(Element#1, \"AXFocusedWindow\")", "CFRelease(Element#1)",
                    "AXUIElementCopyAttributeValue(Element#2, \"AXPosition\")", "AXValueGetValue(Geometry#1, 1)",
                    "CFRelease(Geometry#1)", "AXUIElementCopyAttributeValue(Element#2, \"AXSize\")",
                    "AXValueGetValue(Geometry#2, 2)", "CFRelease(Geometry#2)", "CGWindowListCopyWindowInfo(1, 0)",
                    "CFArrayGetCount(Array#1)",
                    // The menu bar.
                    "CFArrayGetValueAtIndex(Array#1, 0)", "CFDictionaryGetValue(Dictionary#1, \"kCGWindowNumber\")",
                    "CFNumberGetValue(Number#6, 3, *)", "CFDictionaryGetValue(Dictionary#1, \"kCGWindowOwnerPID\")",
                    "CFNumberGetValue(Number#7, 9, *)", "CFDictionaryGetValue(Dictionary#1, \"kCGWindowBounds\")",
                    "CGRectMakeWithDictionaryRepresentation(Dictionary#2, *)",
                    // The window.
                    "CFArrayGetValueAtIndex(Array#1, 1)", "CFDictionaryGetValue(Dictionary#3, \"kCGWindowNumber\")",
                    "CFNumberGetValue(Number#13, 3, *)", "CFDictionaryGetValue(Dictionary#3, \"kCGWindowOwnerPID\")",
                    "CFNumberGetValue(Number#14, 9, *)", "CFDictionaryGetValue(Dictionary#3, \"kCGWindowBounds\")",
                    "CGRectMakeWithDictionaryRepresentation(Dictionary#4, *)", "CFRelease(Array#1)",
                    "CFRelease(Element#2)"));
}

TEST_F(MacProcessWindowTest, FindsTheApplicationInFront) {
    EXPECT_EQ(GetFrontProcessId(), 501);
    Sweep([] { return std::to_string(GetFrontProcessId()); }, {{"GetFrontProcess", "0"}, {"GetProcessPID", "0"}});
}

TEST_F(MacProcessWindowTest, FindsTheFocusedWindowOfAProcess) {
    EXPECT_EQ(ProcessWindow::Get(Process{501}).handle, 11u);
    EXPECT_EQ(TakeCalls().front(), "AXUIElementCreateApplication(501)");
    EXPECT_EQ(ProcessWindow::Get(Process{502}).handle, 0u);
    accessibility.applications[501].focusedWindow = 0;
    EXPECT_EQ(ProcessWindow::Get(Process{501}).handle, 0u);
}

TEST_F(MacProcessWindowTest, HasNoActiveWindowIfACallFails) {
    const auto find = [] { return std::to_string(ProcessWindow::GetActive().handle); };
    Sweep(find, {{"GetFrontProcess", "0"},
                 {"GetProcessPID", "0"},
                 {"AXUIElementCreateApplication", "0"},
                 {"AXUIElementCopyAttributeValue", "0"},
                 {"AXUIElementCopyAttributeValue", "0"},
                 {"AXValueGetValue", "0"},
                 {"AXUIElementCopyAttributeValue", "0"},
                 {"AXValueGetValue", "0"},
                 {"CGWindowListCopyWindowInfo", "0"},
                 // The menu bar's number, owner and bounds.
                 {"CFDictionaryGetValue", "11", "0"},
                 {"CFNumberGetValue", "11", "0"},
                 {"CFDictionaryGetValue", "11", "0"},
                 {"CFNumberGetValue", "11", "0"},
                 {"CFDictionaryGetValue", "11", "0"},
                 {"CGRectMakeWithDictionaryRepresentation", "11", "0"},
                 // The window's.
                 {"CFDictionaryGetValue", "0"},
                 {"CFNumberGetValue", "0"},
                 {"CFDictionaryGetValue", "0"},
                 {"CFNumberGetValue", "0"},
                 {"CFDictionaryGetValue", "0"},
                 {"CGRectMakeWithDictionaryRepresentation", "0"}});
    Sweep(Failure::OtherKind, find,
          {{"AXUIElementCopyAttributeValue", "0"},
           {"AXUIElementCopyAttributeValue", "0"},
           {"AXUIElementCopyAttributeValue", "0"},
           {"CFArrayGetValueAtIndex", "11", "0"},
           {"CFDictionaryGetValue", "11", "0"},
           {"CFDictionaryGetValue", "11", "0"},
           {"CFDictionaryGetValue", "11", "0"},
           {"CFArrayGetValueAtIndex", "0"},
           {"CFDictionaryGetValue", "0"},
           {"CFDictionaryGetValue", "0"},
           {"CFDictionaryGetValue", "0"}});
}

TEST_F(MacProcessWindowTest, MatchesGeometriesWithinTwoPoints) {
    accessibility.applications[501].windows[1].position.x = 12.9;
    EXPECT_EQ(ProcessWindow::GetActive().handle, 11u);
    accessibility.applications[501].windows[1].position.x = 13;
    EXPECT_EQ(ProcessWindow::GetActive().handle, 0u);
}

TEST_F(MacProcessWindowTest, FindsTheNormalWindowUnderAPoint) {
    EXPECT_EQ(ProcessWindow::Get(15, 22).handle, 11u) << "Below the menu bar.";
    EXPECT_EQ(ProcessWindow::Get(410, 30).handle, 0u) << "It is hidden.";
    TakeCalls();
    const auto find = [] { return std::to_string(ProcessWindow::Get(15, 22).handle); };
    Sweep(find, {{"CGWindowListCopyWindowInfo", "0"},
                 // The menu bar's number, layer and bounds.
                 {"CFDictionaryGetValue", "11", "0"},
                 {"CFNumberGetValue", "11", "0"},
                 {"CFDictionaryGetValue", "11", "0"},
                 {"CFNumberGetValue", "11", "0"},
                 {"CFDictionaryGetValue", "11", "0"},
                 {"CGRectMakeWithDictionaryRepresentation", "11", "0"},
                 // The window's.
                 {"CFDictionaryGetValue", "0"},
                 {"CFNumberGetValue", "0"},
                 {"CFDictionaryGetValue", "0"},
                 {"CFNumberGetValue", "0"},
                 {"CFDictionaryGetValue", "0"},
                 {"CGRectMakeWithDictionaryRepresentation", "0"}});
    EXPECT_EQ(Tovra::Tests::Doubles::calls.made.front(), "CGWindowListCopyWindowInfo(1, 0)");
}

TEST_F(MacProcessWindowTest, VisitsTheWindowsOfAProcess) {
    const auto visit = [](std::string_view filter) {
        std::string visited;
        const auto count = ProcessWindow::ForEachWindow(
            Process{501},
            [&visited](const ProcessWindow& window) {
                visited += std::format(" {}", window.handle);
                return VisitorAction::Stop;
            },
            filter);
        return std::to_string(count) + ":" + visited;
    };
    EXPECT_EQ(visit(""), "2: 11 12");
    EXPECT_EQ(visit("Notes"), "1: 12");
    EXPECT_EQ(TakeCalls().front(), "CGWindowListCopyWindowInfo(0, 0)");
    EXPECT_EQ(ProcessWindow::Get(Process{501}, 12).handle, 12u);
    EXPECT_EQ(ProcessWindow::Get(Process{501}, 3).handle, 0u);
    GetDocument().erase("kCGWindowOwnerPID");
    EXPECT_EQ(visit(""), "1: 12");
    const auto visitAll = [&visit] { return visit(""); };
    const std::string all = "1: 12";
    const std::string none = "0:";
    Sweep(visitAll, {{"CGWindowListCopyWindowInfo", none},
                     {"CFDictionaryGetValue", all, none},
                     {"CFNumberGetValue", all, none},
                     {"CFDictionaryGetValue", all, none},
                     {"CFNumberGetValue", all, none},
                     // The one without an owner.
                     {"CFDictionaryGetValue", all, none},
                     {"CFNumberGetValue", all, none},
                     {"CFDictionaryGetValue", all, none},
                     // The hidden one.
                     {"CFDictionaryGetValue", none},
                     {"CFNumberGetValue", none},
                     {"CFDictionaryGetValue", none},
                     {"CFNumberGetValue", none}});
}

TEST_F(MacProcessWindowTest, ReadsTheTitleOrTheOwnersName) {
    EXPECT_EQ(GetName(11), "Document");
    GetDocument()["kCGWindowName"] = "";
    EXPECT_EQ(GetName(11), "Owner");
    GetDocument().erase("kCGWindowOwnerName");
    EXPECT_EQ(GetName(11), "");
    GetDocument().erase("kCGWindowName");
    EXPECT_EQ(GetName(11), "before");
    EXPECT_EQ(GetName(99), "before");
}

TEST_F(MacProcessWindowTest, ReadsATitleThatFitsIntoTheBuffer) {
    GetDocument()["kCGWindowName"] = std::string(255, 'x');
    EXPECT_EQ(GetName(11), std::string(255, 'x'));
    TakeCalls();
    GetDocument()["kCGWindowName"] = std::string(256, 'x');
    EXPECT_EQ(GetName(11), "before");
    EXPECT_THAT(TakeCalls(),
                ::testing::Contains(::testing::MatchesRegex("CFStringGetCString.String.*, ., 256, 134217984.")));
}

TEST_F(MacProcessWindowTest, LeavesTheNameIfACallFails) {
    const auto getName = [] { return GetName(11); };
    const std::string none = "before";
    const std::string found = "Document";
    Sweep(getName, {{"CGWindowListCopyWindowInfo", none},
                    // Number, title and owner's name of the menu bar.
                    {"CFDictionaryGetValue", found, none},
                    {"CFNumberGetValue", found, none},
                    {"CFDictionaryGetValue", found, none},
                    {"CFStringGetCString", found, none},
                    {"CFDictionaryGetValue", found, none},
                    {"CFStringGetCString", found, none},
                    // And of the window.
                    {"CFDictionaryGetValue", none},
                    {"CFNumberGetValue", none},
                    {"CFDictionaryGetValue", none},
                    {"CFStringGetCString", none},
                    {"CFDictionaryGetValue", found},
                    {"CFStringGetCString", found}});
    Sweep(Failure::OtherKind, getName,
          {{"CFArrayGetValueAtIndex", found, none},
           {"CFDictionaryGetValue", found, none},
           {"CFDictionaryGetValue", found, none},
           {"CFDictionaryGetValue", found, none},
           {"CFArrayGetValueAtIndex", none},
           {"CFDictionaryGetValue", none},
           {"CFDictionaryGetValue", none},
           {"CFDictionaryGetValue", found}});
}

TEST_F(MacProcessWindowTest, TruncatesTheFrame) {
    EXPECT_EQ(GetFrame(11), "10, 20, 30, 220");
    EXPECT_EQ(GetFrame(99), "0, 0, 0, 0");
    GetDocument()["kCGWindowBounds"] = Dictionary{{"X", 1}, {"Y", 2}, {"Width", 3}};
    EXPECT_EQ(GetFrame(11), "0, 0, 0, 0");
    GetDocument()["kCGWindowBounds"] = "nowhere";
    EXPECT_EQ(GetFrame(11), "0, 0, 0, 0");
}

TEST_F(MacProcessWindowTest, TakesMissingNumbersOfAWindowByItsNumberForZero) {
    const auto getBounds = [] {
        std::string found = "none";
        WalkWindowList({.option = WindowListOption::IncludingWindow, .fields = WindowListField::Bounds, .window = 11},
                       [&found](const WindowListEntry& entry) {
                           const WindowBounds bounds = entry.bounds.value_or(WindowBounds{.x = -1});
                           found = std::format("{}, {}, {}, {}", bounds.x, bounds.y, bounds.width, bounds.height);
                           return VisitorAction::Stop;
                       });
        return found;
    };
    EXPECT_EQ(getBounds(), "10.9, 20, 20.9, 200");
    GetDocument()["kCGWindowBounds"] = Dictionary{{"Y", "text"}, {"Width", 3}};
    EXPECT_EQ(getBounds(), "0, 0, 3, 0");
}

TEST_F(MacProcessWindowTest, NamesAWindowToTheServerOnlyToGetThatOne) {
    WalkWindowList({.option = WindowListOption::All, .window = 11},
                   [](const WindowListEntry&) { return VisitorAction::Stop; });
    EXPECT_EQ(TakeCalls().front(), "CGWindowListCopyWindowInfo(0, 0)");
}

TEST_F(MacProcessWindowTest, HasAnEmptyFrameIfACallFails) {
    const std::string none = "0, 0, 0, 0";
    const std::string found = "10, 20, 30, 220";
    Sweep([] { return GetFrame(11); }, {{"CGWindowListCopyWindowInfo", none},
                                        {"CFDictionaryGetValue", found, none},
                                        {"CFNumberGetValue", found, none},
                                        {"CFDictionaryGetValue", found, none},
                                        {"CGRectMakeWithDictionaryRepresentation", found, none},
                                        {"CFDictionaryGetValue", none},
                                        {"CFNumberGetValue", none},
                                        {"CFDictionaryGetValue", none},
                                        {"CGRectMakeWithDictionaryRepresentation", none}});
}

TEST_F(MacProcessWindowTest, KnowsOwnerAndVisibility) {
    EXPECT_EQ(ProcessWindow(11).GetProcessId(), 501u);
    EXPECT_EQ(ProcessWindow(99).GetProcessId(), 0u);
    EXPECT_TRUE(ProcessWindow(11).IsVisible());
    EXPECT_FALSE(ProcessWindow(12).IsVisible());
    GetDocument()["kCGWindowIsOnscreen"] = false;
    EXPECT_FALSE(ProcessWindow(11).IsVisible());
    GetDocument()["kCGWindowIsOnscreen"] = 1;
    EXPECT_FALSE(ProcessWindow(11).IsVisible()) << "A number is no flag.";
}

TEST_F(MacProcessWindowTest, KnowsNeitherOwnerNorVisibilityIfACallFails) {
    Sweep([] { return std::to_string(ProcessWindow(11).GetProcessId()); }, {{"CGWindowListCopyWindowInfo", "0"},
                                                                            {"CFDictionaryGetValue", "501", "0"},
                                                                            {"CFNumberGetValue", "501", "0"},
                                                                            {"CFDictionaryGetValue", "501", "0"},
                                                                            {"CFNumberGetValue", "501", "0"},
                                                                            {"CFDictionaryGetValue", "0"},
                                                                            {"CFNumberGetValue", "0"},
                                                                            {"CFDictionaryGetValue", "0"},
                                                                            {"CFNumberGetValue", "0"}});
    const auto isVisible = [] { return std::string(ProcessWindow(11).IsVisible() ? "visible" : "hidden"); };
    Sweep(isVisible, {{"CGWindowListCopyWindowInfo", "hidden"},
                      {"CFDictionaryGetValue", "visible", "hidden"},
                      {"CFNumberGetValue", "visible", "hidden"},
                      {"CFDictionaryGetValue", "visible", "hidden"},
                      {"CFDictionaryGetValue", "hidden"},
                      {"CFNumberGetValue", "hidden"},
                      {"CFDictionaryGetValue", "hidden"}});
    EXPECT_EQ(Tovra::Tests::Doubles::calls.made.front(), "CGWindowListCopyWindowInfo(1, 0)");
    Sweep(Failure::OtherKind, isVisible,
          {{"CFArrayGetValueAtIndex", "visible", "hidden"},
           {"CFDictionaryGetValue", "visible", "hidden"},
           {"CFDictionaryGetValue", "visible", "hidden"},
           {"CFArrayGetValueAtIndex", "hidden"},
           {"CFDictionaryGetValue", "hidden"},
           {"CFDictionaryGetValue", "hidden"}});
}

TEST_F(MacProcessWindowTest, TakesTheOwnersFirstNormalWindowForTheRoot) {
    EXPECT_EQ(ProcessWindow(12).GetRootWindow().handle, 11u);
    EXPECT_FALSE(ProcessWindow(12).IsTopLevel());
    EXPECT_TRUE(ProcessWindow(11).IsTopLevel());
    EXPECT_EQ(ProcessWindow(3).GetRootWindow().handle, 3u) << "Its owner has no normal window.";
    EXPECT_TRUE(ProcessWindow(99).IsTopLevel());
    Sweep([] { return std::to_string(ProcessWindow(12).GetRootWindow().handle); },
          {{"CGWindowListCopyWindowInfo", "12"},
           {"CFDictionaryGetValue", "11", "12"},
           {"CFNumberGetValue", "11", "12"},
           {"CFDictionaryGetValue", "11", "12"},
           {"CFNumberGetValue", "11", "12"},
           {"CFDictionaryGetValue", "11", "12"},
           {"CFNumberGetValue", "11", "12"},
           // The first normal window, whose owner, number or layer is then missing.
           {"CFDictionaryGetValue", "12"},
           {"CFNumberGetValue", "12"},
           {"CFDictionaryGetValue", "12"},
           {"CFNumberGetValue", "12"},
           {"CFDictionaryGetValue", "12"},
           {"CFNumberGetValue", "12"},
           // The window itself: without number or owner it has no other root; its layer does not count.
           {"CFDictionaryGetValue", "12"},
           {"CFNumberGetValue", "12"},
           {"CFDictionaryGetValue", "12"},
           {"CFNumberGetValue", "12"},
           {"CFDictionaryGetValue", "11"},
           {"CFNumberGetValue", "11"}});
}

TEST_F(MacProcessWindowTest, ActivatesAWindow) {
    EXPECT_TRUE(ProcessWindow(11).SetActive());
    EXPECT_THAT(windowPlatformNative.calls, ElementsAre("ActivateApp(501)"));
    EXPECT_EQ(accessibility.applications[501].focusedWindow, 2);
    EXPECT_EQ(accessibility.applications[501].windows.front().number, 2);
    std::vector<std::string> calls = TakeCalls();
    const auto begin = std::ranges::find(calls, "CGWindowListCopyWindowInfo(8, 11)");
    EXPECT_THAT(
        std::vector<std::string>(begin, calls.end()),
        ElementsAre("CGWindowListCopyWindowInfo(8, 11)", "CFArrayGetCount(Array#2)",
                    "CFArrayGetValueAtIndex(Array#2, 0)", "CFDictionaryGetValue(Dictionary#7, \"kCGWindowBounds\")",
                    "CFDictionaryGetValue(Dictionary#8, \"X\")", "CFNumberGetValue(Number#24, 13, *)",
                    "CFDictionaryGetValue(Dictionary#8, \"Y\")", "CFNumberGetValue(Number#25, 13, *)",
                    "CFDictionaryGetValue(Dictionary#8, \"Width\")", "CFNumberGetValue(Number#23, 13, *)",
                    "CFDictionaryGetValue(Dictionary#8, \"Height\")", "CFNumberGetValue(Number#22, 13, *)",
                    "CFRelease(Array#2)", "AXUIElementCreateApplication(501)",
                    "AXUIElementCopyAttributeValues(Element#1, \"AXWindows\", 0, 1000)", "CFArrayGetCount(Array#3)",
                    "CFArrayGetValueAtIndex(Array#3, 0)", "CFRetain(Element#2)", "CFArrayGetCount(Array#3)",
                    "CFArrayGetValueAtIndex(Array#3, 1)", "CFRetain(Element#3)", "CFArrayGetCount(Array#3)",
                    "CFRelease(Array#3)",
                    // The hidden one.
                    "AXUIElementCopyAttributeValue(Element#2, \"AXPosition\")", "AXValueGetValue(Geometry#1, 1)",
                    "CFRelease(Geometry#1)", "AXUIElementCopyAttributeValue(Element#2, \"AXSize\")",
                    "AXValueGetValue(Geometry#2, 2)", "CFRelease(Geometry#2)",
                    // The document.
                    "AXUIElementCopyAttributeValue(Element#3, \"AXPosition\")", "AXValueGetValue(Geometry#3, 1)",
                    "CFRelease(Geometry#3)", "AXUIElementCopyAttributeValue(Element#3, \"AXSize\")",
                    "AXValueGetValue(Geometry#4, 2)", "CFRelease(Geometry#4)", "CFRelease(Element#2)",
                    "CFRelease(Element#1)", "AXUIElementCreateApplication(501)",
                    "AXUIElementSetAttributeValue(Element#4, \"AXFocusedWindow\", Element#3)", "CFRelease(Element#4)",
                    "AXUIElementPerformAction(Element#3, \"AXRaise\")", "CFRelease(Element#3)"));
}

TEST_F(MacProcessWindowTest, ActivatesNoWindowThatIsGone) {
    EXPECT_FALSE(ProcessWindow(99).SetActive());
    EXPECT_THAT(windowPlatformNative.calls, ElementsAre("ActivateApp(0)"));
}

TEST_F(MacProcessWindowTest, SaysIfItCouldNotActivateAWindow) {
    windowList.entries = {windowList.entries[1]};
    accessibility.applications[501].windows = {{.number = 2, .position = {10.9, 20}, .size = {20.9, 200}}};
    const auto activate = [] {
        windowPlatformNative.calls.clear();
        accessibility.applications[501].focusedWindow = 0;
        const bool isActive = ProcessWindow(11).SetActive();
        return windowPlatformNative.calls.front() + (isActive ? ", raised" : "") +
               (accessibility.applications[501].focusedWindow != 0 ? ", focused" : "");
    };
    const std::string nothing = "ActivateApp(501)";
    const std::string all = nothing + ", raised, focused";
    const std::string unknown = "ActivateApp(0)";
    Sweep(activate, {// The owner.
                     {"CGWindowListCopyWindowInfo", unknown},
                     {"CFDictionaryGetValue", unknown},
                     {"CFNumberGetValue", unknown},
                     {"CFDictionaryGetValue", unknown},
                     {"CFNumberGetValue", unknown},
                     // The bounds.
                     {"CGWindowListCopyWindowInfo", nothing},
                     {"CFDictionaryGetValue", nothing},
                     {"CFDictionaryGetValue", nothing},
                     {"CFNumberGetValue", nothing},
                     {"CFDictionaryGetValue", nothing},
                     {"CFNumberGetValue", nothing},
                     {"CFDictionaryGetValue", nothing},
                     {"CFNumberGetValue", nothing},
                     {"CFDictionaryGetValue", nothing},
                     {"CFNumberGetValue", nothing},
                     // The element of these bounds.
                     {"AXUIElementCreateApplication", nothing},
                     {"AXUIElementCopyAttributeValues", nothing},
                     {"AXUIElementCopyAttributeValue", nothing},
                     {"AXValueGetValue", nothing},
                     {"AXUIElementCopyAttributeValue", nothing},
                     {"AXValueGetValue", nothing},
                     // Focus, which is not asked for its success, and raise.
                     {"AXUIElementCreateApplication", nothing + ", raised", nothing},
                     {"AXUIElementSetAttributeValue", nothing + ", raised", nothing},
                     {"AXUIElementPerformAction", nothing + ", focused"}});
    Sweep(Failure::OtherKind, activate,
          {{"CFArrayGetValueAtIndex", unknown},
           {"CFDictionaryGetValue", unknown},
           {"CFDictionaryGetValue", unknown},
           {"CFArrayGetValueAtIndex", nothing},
           {"CFDictionaryGetValue", nothing},
           {"CFDictionaryGetValue", nothing},
           {"CFDictionaryGetValue", nothing},
           {"CFDictionaryGetValue", nothing},
           {"CFDictionaryGetValue", nothing},
           {"CFArrayGetValueAtIndex", nothing},
           {"AXUIElementCopyAttributeValue", nothing},
           {"AXUIElementCopyAttributeValue", nothing}});
}

TEST_F(MacProcessWindowTest, PassesOnTheErrorsOfTheAccessibilityLayer) {
    const HeldAccessibilityElement application = CreateApplicationElement(501);
    const HeldAccessibilityElement window = CopyFocusedWindow(*application);
    double first = 7;
    double second = 8;
    Sweep([&] { return std::to_string(CopyWindowPosition(*window, first, second)); },
          {{"AXUIElementCopyAttributeValue", "-25204"}, {"AXValueGetValue", "-25200"}});
    Sweep([&] { return std::to_string(CopyWindowSize(*window, first, second)); },
          {{"AXUIElementCopyAttributeValue", "-25204"}, {"AXValueGetValue", "-25200"}});
    Sweep([&] { return std::to_string(SetFocusedWindow(*application, *window)); },
          {{"AXUIElementSetAttributeValue", "-25204"}});
    Sweep([&] { return std::to_string(RaiseWindow(*window)); }, {{"AXUIElementPerformAction", "-25204"}});
    EXPECT_FALSE(CopyWindows(*window, 10)) << "A window has none.";
}

TEST_F(MacProcessWindowTest, TakesTheFocusedWindowWhateverTheResultOfCopyingIt) {
    const HeldAccessibilityElement application = CreateApplicationElement(501);
    accessibility.copying.result = kAXErrorFailure;
    EXPECT_NE(CopyFocusedWindow(*application), nullptr);
}

TEST_F(MacProcessWindowTest, TakesNothingElseThatComesWithAnError) {
    const HeldAccessibilityElement application = CreateApplicationElement(501);
    const HeldAccessibilityElement window = CopyFocusedWindow(*application);
    accessibility.copying.result = kAXErrorIllegalArgument;
    double first = 0;
    double second = 0;
    EXPECT_EQ(CopyWindowPosition(*window, first, second), kAXErrorIllegalArgument);
    EXPECT_EQ(CopyWindowSize(*window, first, second), kAXErrorIllegalArgument);
    EXPECT_FALSE(CopyWindows(*application, 10));
}

TEST_F(MacProcessWindowTest, TakesSuccessWithoutAValueForAFailure) {
    const HeldAccessibilityElement application = CreateApplicationElement(501);
    const HeldAccessibilityElement window = CopyFocusedWindow(*application);
    accessibility.copying.givesValue = false;
    double first = 0;
    double second = 0;
    EXPECT_EQ(CopyFocusedWindow(*application), nullptr);
    EXPECT_EQ(CopyWindowPosition(*window, first, second), kAXErrorFailure);
    EXPECT_EQ(CopyWindowSize(*window, first, second), kAXErrorFailure);
    EXPECT_FALSE(CopyWindows(*application, 10));
}

} // namespace
