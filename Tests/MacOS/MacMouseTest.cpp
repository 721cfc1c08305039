#include <Support/RecordedSleeps.h>
#include <System/Device/Mouse/Mouse.h>
#include <System/Device/Mouse/MouseOperations.h>

#include <MacOS/Doubles/CoreGraphics.h>
#include <MacOS/MacHostTest.h>

#include <algorithm>
#include <chrono>
#include <format>

namespace {

using namespace std::chrono_literals;
using namespace Tovra::System::Device::Mouse;

using ::testing::ElementsAre;
using Tovra::Tests::MacHostTest;
using Tovra::Tests::RecordedSleeps;
using Tovra::Tests::Doubles::events;

const Tovra::System::Types::EnumFlags<MouseButtonEvent> click =
    Tovra::System::Types::EnumFlags(MouseButtonEvent::Press) | MouseButtonEvent::Release;

class MacMouseTest : public MacHostTest {
protected:
    MacMouseTest() { events.pointer = {10.5, -20.25}; }

    static std::string TakePosted() {
        std::string posted;
        for (const std::string& event : std::exchange(events.posted, {})) {
            posted += (posted.empty() ? "" : "; ") + event;
        }
        return posted;
    }
};

TEST_F(MacMouseTest, FindsThePointerByAnEvent) {
    const auto [x, y] = GetPointerPosition();
    EXPECT_EQ(x, 10.5);
    EXPECT_EQ(y, -20.25);
    EXPECT_THAT(TakeCalls(), ElementsAre("CGEventCreate(null)", "CGEventGetLocation(Event#1)", "CFRelease(Event#1)"));
}

TEST_F(MacMouseTest, TakesThePointerForTheOriginWithoutAnEvent) {
    Sweep(
        [] {
            const auto [x, y] = GetPointerPosition();
            return std::format("{}, {}", x, y);
        },
        {{"CGEventCreate", "0, 0"}});
}

TEST_F(MacMouseTest, MovesThePointerByAnEventOfButtonZero) {
    Mouse::SetPosition({.x = 300, .y = -4});
    EXPECT_THAT(TakeCalls(), ElementsAre("CGEventCreateMouseEvent(null, 5, 300, -4, 0)", "CGEventPost(0, Event#1)",
                                         "CFRelease(Event#1)"));
    EXPECT_EQ(TakePosted(), "type 5 at 300, -4, button 0, click 1");
    Mouse::Move({.x = 1, .y = 2});
    EXPECT_EQ(TakePosted(), "type 5 at 1, 2, button 0, click 1");
    Position<0> position;
    EXPECT_TRUE(Mouse::GetCurrentPosition(position));
    EXPECT_EQ(position, (Position<0>{.x = 1, .y = 2}));
}

TEST_F(MacMouseTest, MovesNothingWithoutAnEvent) {
    Sweep(
        [] {
            Mouse::SetPosition({.x = 3, .y = 4});
            return TakePosted();
        },
        {{"CGEventCreateMouseEvent", ""}});
}

TEST_F(MacMouseTest, ClicksTwiceWithRisingClickStates) {
    const RecordedSleeps sleeps;
    EXPECT_EQ(Mouse::ButtonEvent(MouseButton::Right, click, 2), 2u);
    std::vector<std::string> calls = TakeCalls();
    ASSERT_GE(calls.size(), 2u);
    // Released in any order.
    std::sort(calls.end() - 2, calls.end());
    EXPECT_THAT(calls,
                ElementsAre("CGEventCreate(null)", "CGEventGetLocation(Event#1)", "CFRelease(Event#1)",
                            "CGEventCreateMouseEvent(null, 3, 10, -20, 2)",
                            "CGEventCreateMouseEvent(null, 4, 10, -20, 2)", "CGEventPost(0, Event#2)",
                            "CGEventPost(0, Event#3)", "CGEventSetIntegerValueField(Event#2, 1, 2)",
                            "CGEventSetIntegerValueField(Event#3, 1, 2)", "CGEventPost(0, Event#2)",
                            "CGEventPost(0, Event#3)", "CGEventSetIntegerValueField(Event#2, 1, 3)",
                            "CGEventSetIntegerValueField(Event#3, 1, 3)", "CFRelease(Event#2)", "CFRelease(Event#3)"));
    EXPECT_THAT(events.posted,
                ElementsAre("type 3 at 10, -20, button 2, click 1", "type 4 at 10, -20, button 2, click 1",
                            "type 3 at 10, -20, button 2, click 2", "type 4 at 10, -20, button 2, click 2"));
    EXPECT_THAT(sleeps.Get(), ElementsAre(10ms, 10ms, 10ms));
}

TEST_F(MacMouseTest, HasAnEventForEachButton) {
    const auto press = [](MouseButton button) {
        Mouse::ButtonEvent(button, MouseButtonEvent::Press, 1);
        return TakePosted();
    };
    EXPECT_EQ(press(MouseButton::Left), "type 1 at 10, -20, button 0, click 1");
    EXPECT_EQ(press(MouseButton::Middle), "type 25 at 10, -20, button 1, click 1");
    EXPECT_EQ(press(MouseButton::Right), "type 3 at 10, -20, button 2, click 1");
}

TEST_F(MacMouseTest, PostsTheEventsThatThereAre) {
    const RecordedSleeps sleeps;
    Sweep(
        [] {
            Mouse::ButtonEvent(MouseButton::Left, click, 1);
            return TakePosted();
        },
        {{"CGEventCreate", "type 1 at 0, 0, button 0, click 1; type 2 at 0, 0, button 0, click 1", ""},
         {"CGEventCreateMouseEvent", "type 2 at 10, -20, button 0, click 1", ""},
         {"CGEventCreateMouseEvent", "type 1 at 10, -20, button 0, click 1"}});
}

TEST_F(MacMouseTest, ScrollsByTheFirstOrTheSecondWheel) {
    Mouse::Scroll(MouseWheelDirection::Vertical, -3, true);
    EXPECT_THAT(TakeCalls(), ElementsAre("CGEventCreateScrollWheelEvent(null, 1, 1, -3, -3)", "CGEventPost(0, Event#1)",
                                         "CFRelease(Event#1)"));
    EXPECT_EQ(TakePosted(), "scroll 1: -3");
    Mouse::Scroll(MouseWheelDirection::Horizontal, 7, false);
    EXPECT_THAT(TakeCalls(), ElementsAre("CGEventCreateScrollWheelEvent(null, 0, 2, 0, 7)", "CGEventPost(0, Event#2)",
                                         "CFRelease(Event#2)"));
    EXPECT_EQ(TakePosted(), "scroll 0: 0 7");
}

TEST_F(MacMouseTest, DoesNotScrollWithoutAnEvent) {
    Sweep(
        [] {
            Mouse::Scroll(MouseWheelDirection::Vertical, 1, false);
            EXPECT_THAT(Tovra::Tests::Doubles::calls.made.size(), events.posted.empty() ? 1 : 3);
            return TakePosted();
        },
        {{"CGEventCreateScrollWheelEvent", ""}});
}

} // namespace
