// Label: threaded

#include <Fakes/MouseOperations.h>
#include <Fakes/PanelOperations.h>
#include <Support/Assertions.h>
#include <System/Desktop/PanelRules.h>

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <vector>

namespace Tovra::System::Desktop {

namespace {

using Device::Keyboard::Key;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tests::Fakes::mouseOperations;
using Tests::Fakes::panelOperations;

class PanelRulesTest : public ::testing::Test {
protected:
    void Receive() {
        m_window.SetEventCallback([this](const WindowEvent& event) {
            m_received.push_back(event);
            return false;
        });
    }

    Window m_window{nullptr, "Window", {}, {}, Window::Style{}};
    std::vector<WindowEvent> m_received;
};

PanelEvent EventOf(int type) {
    return {.type = static_cast<PanelEventType>(type)};
}

PanelEvent KeyEvent(int type, std::uint32_t virtualKey, std::uint64_t flags = 0) {
    return {.type = static_cast<PanelEventType>(type), .virtualKey = virtualKey, .modifierFlags = flags};
}

/// Expects an event with exactly these fields.
void ExpectEvent(const PanelEvent& event, const WindowEvent& expected) {
    SCOPED_TRACE(static_cast<int>(event.type));
    const auto translated = TranslateEvent(event);
    ASSERT_TRUE(translated.has_value());
    EXPECT_EQ(translated->type, expected.type);
    EXPECT_EQ(translated->key, expected.key);
    EXPECT_EQ(translated->pressed, expected.pressed);
    EXPECT_EQ(translated->button, expected.button);
    EXPECT_EQ(translated->x, expected.x);
    EXPECT_EQ(translated->y, expected.y);
    EXPECT_THAT(translated->reserved, ElementsAre(0U, 0U));
    EXPECT_EQ(translated->delta, expected.delta);
}

WindowEvent MakeEvent(int type, bool pressed) {
    return {.type = static_cast<WindowEvent::Type>(type), .pressed = pressed};
}

WindowEvent MakeKey(Key key, bool pressed) {
    return {.type = WindowEvent::Type::Key, .key = key, .pressed = pressed};
}

TEST_F(PanelRulesTest, HeightsAreTurnedAgainstTheFirstScreen) {
    EXPECT_EQ(FlipVertically(1080, 0, 600), 480);
    EXPECT_EQ(FlipVertically(1080, 480, 600), 0);
    EXPECT_EQ(FlipVertically(1080, -100, 50), 1130);
    EXPECT_EQ(FlipVertically(1117.5, 0.25, 1), 1116.25);
}

TEST_F(PanelRulesTest, HeightsAreTurnedInDoubles) {
    // As float, the half would be lost.
    EXPECT_EQ(FlipVertically(16777216.5, 0.0F, 1.0F), 16777215.5);
}

TEST_F(PanelRulesTest, ButtonsAreTold) {
    const auto makeButton = [](bool pressed, std::uint8_t button) {
        auto event = MakeEvent(4, pressed);
        event.button = button;
        return event;
    };
    ExpectEvent(EventOf(1), makeButton(true, 1));
    ExpectEvent(EventOf(2), makeButton(false, 1));
    ExpectEvent(EventOf(3), makeButton(true, 3));
    ExpectEvent(EventOf(4), makeButton(false, 3));
    EXPECT_THAT(mouseOperations.calls, IsEmpty()) << "No one asks for the pointer.";
}

TEST_F(PanelRulesTest, MovesTellWhereThePointerIsNow) {
    mouseOperations.pointer = {.x = 12.9, .y = -3.9};
    auto move = MakeEvent(2, true);
    move.x = 12;
    move.y = -3;
    for (const int type : {5, 6, 7}) {
        ExpectEvent(EventOf(type), move);
    }
    EXPECT_THAT(mouseOperations.calls, ElementsAre("Pointer", "Pointer", "Pointer"));
    mouseOperations.pointer = {.x = -12.9, .y = 3.9};
    move.x = -12;
    move.y = 3;
    ExpectEvent(EventOf(5), move);
}

TEST_F(PanelRulesTest, AMoveBeyondAllIntegersTellsTheNearestOnes) {
    mouseOperations.pointer = {.x = 1e300, .y = -1e300};
    auto move = MakeEvent(2, true);
    move.x = std::numeric_limits<std::int32_t>::max();
    move.y = std::numeric_limits<std::int32_t>::min();
    ExpectEvent(EventOf(5), move);
}

TEST_F(PanelRulesTest, KeysAreTold) {
    ExpectEvent(KeyEvent(10, 53), MakeKey(Key::Escape, true));
    ExpectEvent(KeyEvent(11, 53), MakeKey(Key::Escape, false));
    ExpectEvent(KeyEvent(11, 56, 1U << 17), MakeKey(Key::LShift, false));
    ExpectEvent(KeyEvent(10, 71), MakeKey(Key::Numlock, true));
    ExpectEvent(KeyEvent(10, 200), MakeKey(Key::Undefined, true));
}

TEST_F(PanelRulesTest, ScrollingTellsItsDistance) {
    auto scroll = MakeEvent(3, true);
    scroll.delta = -2.5F;
    ExpectEvent({.type = PanelEventType::ScrollWheel, .scrollingDelta = -2.5}, scroll);
}

TEST_F(PanelRulesTest, OtherEventsAreNoWindowEvents) {
    for (int type = 0; type < 40; ++type) {
        const bool isTold = (type >= 1 && type <= 7) || (type >= 10 && type <= 12) || type == 22;
        EXPECT_EQ(TranslateEvent(EventOf(type)).has_value(), isTold) << type;
    }
}

TEST_F(PanelRulesTest, AModifierIsPressedByItsBitAlone) {
    struct Row {
        std::uint32_t virtualKey;
        int bit;
        Key key;
    };
    for (const auto& [virtualKey, bit, key] :
         {Row{54, 20, Key::RWin}, Row{55, 20, Key::LWin}, Row{56, 17, Key::LShift}, Row{60, 17, Key::RShift},
          Row{58, 19, Key::LMenu}, Row{61, 19, Key::RMenu}, Row{59, 18, Key::LControl}, Row{62, 18, Key::RControl}}) {
        const auto flag = std::uint64_t{1} << bit;
        ExpectEvent(KeyEvent(12, virtualKey, flag), MakeKey(key, true));
        ExpectEvent(KeyEvent(12, virtualKey, ~flag), MakeKey(key, false));
        EXPECT_EQ(GetModifierFlag(key), flag);
    }
}

TEST_F(PanelRulesTest, ReleasingOneOfTwoHeldModifiersReadsAsPressed) {
    // The left shift key is still down.
    ExpectEvent(KeyEvent(12, 60, 1U << 17), MakeKey(Key::RShift, true));
}

TEST_F(PanelRulesTest, CapsLockAndFnNeverReadAsPressed) {
    ExpectEvent(KeyEvent(12, 57, ~std::uint64_t{0}), MakeKey(Key::Capital, false));
    ExpectEvent(KeyEvent(12, 57, 0), MakeKey(Key::Capital, false));
    ExpectEvent(KeyEvent(12, 63, ~std::uint64_t{0}), MakeKey(Key::Fn, false));
}

TEST_F(PanelRulesTest, ModifiersAreFlagsChangedAndOtherKeysGoDownAndUp) {
    for (const auto key : {Key::LShift, Key::RShift, Key::LControl, Key::RControl, Key::LMenu, Key::RMenu, Key::LWin,
                           Key::RWin, Key::Capital, Key::Fn}) {
        EXPECT_EQ(GetKeyEventType(key, true), PanelEventType::FlagsChanged);
        EXPECT_EQ(GetKeyEventType(key, false), PanelEventType::FlagsChanged);
    }
    EXPECT_EQ(GetKeyEventType(Key::A, true), PanelEventType::KeyDown);
    EXPECT_EQ(GetKeyEventType(Key::Numlock, false), PanelEventType::KeyUp);
}

TEST_F(PanelRulesTest, TheMainThreadWorksInPlaceAndCatchesTheToolkitsExceptions) {
    bool isDone = false;
    RunOnMainThread([&isDone] { isDone = true; });
    EXPECT_TRUE(isDone);
    RunOnMainThread([] { throw Tests::Fakes::ToolkitException(); });
    EXPECT_THAT(panelOperations.calls,
                ElementsAre("RunCatchingToolkitExceptions", "RunCatchingToolkitExceptions", "Exception"));
}

TEST_F(PanelRulesTest, OtherExceptionsPass) {
    EXPECT_THROW(RunOnMainThread([] { throw std::runtime_error("Something else."); }), std::runtime_error);
}

TEST_F(PanelRulesTest, OtherThreadsQueueTheirWork) {
    panelOperations.isMainThread = false;
    bool isDone = false;
    RunOnMainThread([&isDone] { isDone = true; });
    EXPECT_TRUE(isDone);
    EXPECT_THAT(panelOperations.calls, ElementsAre("RunOnMainQueue"));
}

TEST_F(PanelRulesTest, WithoutACallbackNothingIsPumpedInAnyState) {
    panelOperations.events = {EventOf(1)};
    for (int state = 0; state <= 6; ++state) {
        EXPECT_FALSE(UpdatePanel(m_window, static_cast<Window::State>(state)));
    }
    EXPECT_THAT(panelOperations.calls, ::testing::Each("RunCatchingToolkitExceptions"));
    EXPECT_EQ(panelOperations.events.size(), 1U) << "The event waits.";
}

TEST_F(PanelRulesTest, AHiddenWindowRunsTheMainLoopFor8Milliseconds) {
    Receive();
    EXPECT_FALSE(UpdatePanel(m_window, Window::State::Hidden));
    EXPECT_THAT(panelOperations.calls, ElementsAre("RunCatchingToolkitExceptions", "RunMainLoop(8)"));
}

TEST_F(PanelRulesTest, AVisibleWindowReceivesWhatWaitsAndStillSaysFalse) {
    Receive();
    panelOperations.events = {EventOf(1), EventOf(8), KeyEvent(10, 53)};
    EXPECT_FALSE(UpdatePanel(m_window, Window::State::Visible));
    ASSERT_EQ(m_received.size(), 2U);
    EXPECT_EQ(m_received[0].button, 1);
    EXPECT_EQ(m_received[1].key, Key::Escape);
    EXPECT_THAT(panelOperations.calls, ElementsAre("RunCatchingToolkitExceptions", "PumpEvents"));
}

TEST_F(PanelRulesTest, InOtherStatesNothingIsPumped) {
    Receive();
    for (const int state : {0, 1, 2, 5, 6, 9}) {
        EXPECT_FALSE(UpdatePanel(m_window, static_cast<Window::State>(state)));
    }
    EXPECT_THAT(panelOperations.calls, ::testing::Each("RunCatchingToolkitExceptions"));
}

TEST_F(PanelRulesTest, AnotherThreadsUpdatePumpsOnTheMainQueue) {
    Receive();
    panelOperations.isMainThread = false;
    EXPECT_FALSE(UpdatePanel(m_window, Window::State::Visible));
    EXPECT_THAT(panelOperations.calls, ElementsAre("RunOnMainQueue", "PumpEvents"));
}

} // namespace

} // namespace Tovra::System::Desktop
