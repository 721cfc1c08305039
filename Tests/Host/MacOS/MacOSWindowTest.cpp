#include <Support/TestApplication.h>
#include <System/Desktop/Window.h>
#include <System/Processes/ProcessWindowOperations.h>

#include <ApplicationServices/ApplicationServices.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tovra::System::VisitorAction;
using Tovra::System::Desktop::Window;
namespace Processes = Tovra::System::Processes;

/// A window of ours in the window server's list.
struct Panel {
    std::int64_t number = 0;
    std::int64_t layer = 0;
    double alpha = 0;
    CGRect bounds{};
};

template <class Number>
Number GetNumber(CFDictionaryRef window, CFStringRef key, CFNumberType type) {
    Number number{};
    const void* const value = CFDictionaryGetValue(window, key);
    EXPECT_TRUE(value != nullptr && CFNumberGetValue(static_cast<CFNumberRef>(value), type, &number));
    return number;
}

/// The windows of this process on the screen, front to back.
std::vector<Panel> ListPanels() {
    std::vector<Panel> panels;
    const CFArrayRef list = CGWindowListCopyWindowInfo(kCGWindowListOptionOnScreenOnly, kCGNullWindowID);
    EXPECT_NE(list, nullptr) << "There is no window server.";
    for (CFIndex index = 0; list != nullptr && index < CFArrayGetCount(list); ++index) {
        const auto window = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(list, index));
        if (GetNumber<std::int64_t>(window, kCGWindowOwnerPID, kCFNumberSInt64Type) != getpid()) {
            continue;
        }
        Panel panel{.number = GetNumber<std::int64_t>(window, kCGWindowNumber, kCFNumberSInt64Type),
                    .layer = GetNumber<std::int64_t>(window, kCGWindowLayer, kCFNumberSInt64Type),
                    .alpha = GetNumber<double>(window, kCGWindowAlpha, kCFNumberDoubleType)};
        EXPECT_TRUE(CGRectMakeWithDictionaryRepresentation(
            static_cast<CFDictionaryRef>(CFDictionaryGetValue(window, kCGWindowBounds)), &panel.bounds));
        panels.push_back(panel);
    }
    if (list != nullptr) {
        CFRelease(list);
    }
    return panels;
}

std::vector<double> GetLefts() {
    std::vector<double> lefts;
    for (const Panel& panel : ListPanels()) {
        lefts.push_back(panel.bounds.origin.x);
    }
    return lefts;
}

/// Two panels side by side, the second created last, with turns of the event loop for the window server.
class MacOSWindowTest : public Tovra::Tests::ApplicationTest {
protected:
    void SetUp() override {
        for (Window* const window : {&m_first, &m_second}) {
            window->SetEventCallback([](const auto&) { return true; });
            ASSERT_TRUE(window->Create());
        }
        Turn();
    }

    void Turn() {
        for (int turn = 0; turn < 20; ++turn) {
            m_first.Update();
            m_second.Update();
        }
    }

    Window m_first{nullptr, "First", {.x = 100, .y = 150}, {.width = 200, .height = 100}, Window::Style{3}};
    Window m_second{nullptr, "Second", {.x = 400, .y = 150}, {.width = 200, .height = 100}, Window::Style{3}};
};

TEST_F(MacOSWindowTest, IsAPanelAboveTheMenusWithItsBoundsFromTheTopLeft) {
    const std::vector<Panel> panels = ListPanels();
    ASSERT_EQ(panels.size(), 2u);
    const CGRect bounds = panels.back().bounds;
    EXPECT_EQ(panels.back().layer, 26);
    EXPECT_EQ(bounds.origin.x, 100);
    EXPECT_EQ(bounds.origin.y, 150);
    EXPECT_EQ(bounds.size.width, 200);
    EXPECT_EQ(bounds.size.height, 100);
}

TEST_F(MacOSWindowTest, ComesToTheFrontOfTheList) {
    EXPECT_THAT(GetLefts(), ElementsAre(400, 100));
    m_first.ToFront();
    Turn();
    EXPECT_THAT(GetLefts(), ElementsAre(100, 400));
    m_second.ToFront();
    Turn();
    EXPECT_THAT(GetLefts(), ElementsAre(400, 100));
}

TEST_F(MacOSWindowTest, IsShownHiddenMovedAndClosed) {
    m_first.Show();
    m_first.ToFront();
    Turn();
    EXPECT_EQ(ListPanels().front().alpha, 1);
    m_first.SetPosition({.x = 50, .y = 60});
    Turn();
    EXPECT_EQ(ListPanels().front().bounds.origin.x, 50);
    EXPECT_EQ(ListPanels().front().bounds.origin.y, 60);
    m_first.Hide();
    Turn();
    // What can't be seen may be missing in the list.
    for (const Panel& panel : ListPanels()) {
        EXPECT_TRUE(panel.bounds.origin.x != 50 || panel.alpha == 0);
    }
    m_first.Destroy();
    m_second.Destroy();
    Turn();
    EXPECT_THAT(ListPanels(), IsEmpty());
}

TEST_F(MacOSWindowTest, StandsInTheWalkAsInTheWindowServersList) {
    std::vector<std::int64_t> numbers;
    Processes::WalkWindowList({.option = Processes::WindowListOption::OnScreenOnly,
                               .fields = Processes::WindowListField::Number | Processes::WindowListField::OwnerId},
                              [&numbers](const Processes::WindowListEntry& entry) {
                                  if (entry.ownerId == getpid()) {
                                      numbers.push_back(entry.number.value_or(0));
                                  }
                                  return VisitorAction::Continue;
                              });
    std::vector<std::int64_t> expected;
    for (const Panel& panel : ListPanels()) {
        expected.push_back(panel.number);
    }
    EXPECT_EQ(numbers, expected);
    EXPECT_EQ(numbers.size(), 2u);
}

} // namespace
