#include <Fakes/LogFileOperations.h>
#include <Fakes/MouseOperations.h>
#include <Support/Assertions.h>
#include <Support/TestLogger.h>
#include <System/Device/Mouse/Mouse.h>

#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace Tovra::System::Device::Mouse {

namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tests::AreLogLines;
using Tests::Fakes::logFileOperations;
using Tests::Fakes::mouseOperations;
using Buttons = Types::EnumFlags<MouseButtonEvent>;
using Limits = std::numeric_limits<std::int32_t>;

constexpr Buttons press = MouseButtonEvent::Press;
constexpr Buttons release = MouseButtonEvent::Release;
constexpr Buttons click = press | release;
constexpr const char* illegalCase = "Illegal switch case.";
constexpr const char* missingCase = "Implementation of case directive is missing.";

class MouseTest : public ::testing::Test {
protected:
    ~MouseTest() override { EXPECT_EQ(mouseOperations.eventCount, 0) << "Each event is released."; }
};

/// Returns and clears the recorded calls.
std::vector<std::string> TakeCalls() {
    return std::exchange(mouseOperations.calls, {});
}

MouseButton ButtonOf(int value) {
    return static_cast<MouseButton>(value);
}

MouseWheelDirection DirectionOf(int value) {
    return static_cast<MouseWheelDirection>(value);
}

/// A move from 100, 200 to 200, 0 within a second.
MouseMoveContext MakeMove() {
    return {.duration = seconds(1), .startPosition = {.x = 100, .y = 200}, .targetPosition = {.x = 200, .y = 0}};
}

MouseScrollContext MakeScroll(double distance, double step, int sign = 1) {
    return {.direction = MouseWheelDirection::Vertical,
            .remainingDelta = distance,
            .stepDelta = step,
            .sign = sign,
            .inLines = true};
}

TEST_F(MouseTest, TheValuesOfItsEnumerationsAreSettled) {
    EXPECT_EQ(static_cast<int>(MouseButton::Undefined), 0);
    EXPECT_EQ(static_cast<int>(MouseButton::Left), 1);
    EXPECT_EQ(static_cast<int>(MouseButton::Middle), 2);
    EXPECT_EQ(static_cast<int>(MouseButton::Right), 3);
    EXPECT_EQ(sizeof(MouseButton), 1U);
    EXPECT_EQ(release.GetBits(), 1U);
    EXPECT_EQ(press.GetBits(), 2U);
    EXPECT_EQ(static_cast<int>(MouseWheelDirection::Undefined), 0);
    EXPECT_EQ(static_cast<int>(MouseWheelDirection::Vertical), 1);
    EXPECT_EQ(static_cast<int>(MouseWheelDirection::Horizontal), 2);
    EXPECT_EQ(sizeof(MouseWheelDirection), 1U);
}

TEST_F(MouseTest, ContextsBeginWithNothingDone) {
    const MouseMoveContext move;
    EXPECT_EQ(move.timePastBy, nanoseconds(0));
    const MouseScrollContext scroll;
    EXPECT_EQ(scroll.carry, 0);
    EXPECT_FALSE(scroll.inLines);
}

TEST_F(MouseTest, ContextsHaveTheirFieldsInOrder) {
    const MouseMoveContext move{nanoseconds(1), nanoseconds(2), nanoseconds(3), {4, 5}, {6, 7}};
    EXPECT_EQ(move.timeSinceLastUpdate, nanoseconds(1));
    EXPECT_EQ(move.timePastBy, nanoseconds(2));
    EXPECT_EQ(move.duration, nanoseconds(3));
    EXPECT_EQ(move.startPosition, (Position<0>{.x = 4, .y = 5}));
    EXPECT_EQ(move.targetPosition, (Position<0>{.x = 6, .y = 7}));
    const MouseScrollContext scroll{MouseWheelDirection::Horizontal, 1.5, 2.5, 3.5, -1, true};
    EXPECT_EQ(scroll.direction, MouseWheelDirection::Horizontal);
    EXPECT_EQ(scroll.remainingDelta, 1.5);
    EXPECT_EQ(scroll.carry, 2.5);
    EXPECT_EQ(scroll.stepDelta, 3.5);
    EXPECT_EQ(scroll.sign, -1);
    EXPECT_TRUE(scroll.inLines);
}

TEST_F(MouseTest, TheDelayIsTenMillisecondsUntilItIsSet) {
    EXPECT_EQ(Mouse::GetDelay(), 10);
    Mouse::SetDelay(25);
    EXPECT_EQ(Mouse::GetDelay(), 25);
    Mouse::SetDelay(10);
}

TEST_F(MouseTest, ThePositionIsThePointersWithoutItsFractions) {
    Position<0> position{.x = 1, .y = 1};
    mouseOperations.pointer = {.x = 12.9, .y = -3.9};
    EXPECT_TRUE(Mouse::GetCurrentPosition(position));
    EXPECT_EQ(position, (Position<0>{.x = 12, .y = -3}));
    EXPECT_THAT(TakeCalls(), ElementsAre("Pointer"));
    mouseOperations.pointer = {};
    EXPECT_TRUE(Mouse::GetCurrentPosition(position));
    EXPECT_EQ(position, (Position<0>{}));
}

TEST_F(MouseTest, APositionBeyondAllIntegersIsTheNearestOne) {
    Position<0> position;
    mouseOperations.pointer = {.x = 1e300, .y = -1e300};
    EXPECT_TRUE(Mouse::GetCurrentPosition(position));
    EXPECT_EQ(position, (Position<0>{.x = Limits::max(), .y = Limits::min()}));
    mouseOperations.pointer = {.x = std::numeric_limits<double>::quiet_NaN(), .y = 2147483647.5};
    EXPECT_TRUE(Mouse::GetCurrentPosition(position));
    EXPECT_EQ(position, (Position<0>{.x = 0, .y = Limits::max()}));
}

TEST_F(MouseTest, SettingThePositionPostsAMoveThere) {
    Mouse::SetPosition({.x = 100, .y = -50});
    EXPECT_THAT(TakeCalls(), ElementsAre("Create 5 button 0 at 100, -50", "Post 5 button 0 at 100, -50 click 1"));
    Mouse::Move({.x = -2147483648, .y = 2147483647});
    EXPECT_THAT(TakeCalls(), ElementsAre("Create 5 button 0 at -2147483648, 2147483647",
                                         "Post 5 button 0 at -2147483648, 2147483647 click 1"));
}

TEST_F(MouseTest, EveryButtonHasItsEventsAndItsCrossedNumber) {
    // The middle and the right button have each other's system number.
    struct Row {
        int button;
        std::string pressEvent;
        std::string releaseEvent;
    };
    for (const auto& [button, pressEvent, releaseEvent] :
         {Row{0, "0 button 0", "0 button 0"}, Row{1, "1 button 0", "2 button 0"}, Row{2, "25 button 1", "26 button 1"},
          Row{3, "3 button 2", "4 button 2"}, Row{4, "0 button 0", "0 button 0"},
          Row{255, "0 button 0", "0 button 0"}}) {
        SCOPED_TRACE(button);
        EXPECT_EQ(Mouse::ButtonEvent(ButtonOf(button), press, 1), 1U);
        EXPECT_THAT(TakeCalls(), ElementsAre("Pointer", "Create " + pressEvent + " at 0, 0",
                                             "Post " + pressEvent + " at 0, 0 click 1", "Click state 2"));
        EXPECT_EQ(Mouse::ButtonEvent(ButtonOf(button), release, 1), 1U);
        EXPECT_THAT(TakeCalls(), ElementsAre("Pointer", "Create " + releaseEvent + " at 0, 0",
                                             "Post " + releaseEvent + " at 0, 0 click 1", "Click state 2"));
    }
}

TEST_F(MouseTest, ButtonsActAtThePointersIntegerPosition) {
    mouseOperations.pointer = {.x = 640.75, .y = -0.5};
    Mouse::ButtonEvent(MouseButton::Left, press, 1);
    EXPECT_THAT(TakeCalls(), ElementsAre("Pointer", "Create 1 button 0 at 640, 0", "Post 1 button 0 at 640, 0 click 1",
                                         "Click state 2"));
}

TEST_F(MouseTest, AClickPausesBetweenPressAndRelease) {
    EXPECT_EQ(Mouse::ButtonEvent(MouseButton::Right, click, 1), 1U);
    EXPECT_THAT(TakeCalls(), ElementsAre("Pointer", "Create 3 button 2 at 0, 0", "Create 4 button 2 at 0, 0",
                                         "Post 3 button 2 at 0, 0 click 1", "Sleep 10",
                                         "Post 4 button 2 at 0, 0 click 1", "Click state 2", "Click state 2"));
}

TEST_F(MouseTest, ADoubleClickIsOneCallWithACountOfTwo) {
    EXPECT_EQ(Mouse::ButtonEvent(MouseButton::Left, click, 2), 2U);
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Pointer", "Create 1 button 0 at 0, 0", "Create 2 button 0 at 0, 0",
                            "Post 1 button 0 at 0, 0 click 1", "Sleep 10", "Post 2 button 0 at 0, 0 click 1",
                            "Click state 2", "Click state 2", "Sleep 10", "Post 1 button 0 at 0, 0 click 2", "Sleep 10",
                            "Post 2 button 0 at 0, 0 click 2", "Click state 3", "Click state 3"));
}

TEST_F(MouseTest, APressAloneIsPostedWithRisingClickStates) {
    EXPECT_EQ(Mouse::ButtonEvent(MouseButton::Left, press, 3), 3U);
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Pointer", "Create 1 button 0 at 0, 0", "Post 1 button 0 at 0, 0 click 1", "Click state 2",
                            "Sleep 10", "Post 1 button 0 at 0, 0 click 2", "Click state 3", "Sleep 10",
                            "Post 1 button 0 at 0, 0 click 3", "Click state 4"));
}

TEST_F(MouseTest, AReleaseAloneIsPostedWithRisingClickStates) {
    EXPECT_EQ(Mouse::ButtonEvent(MouseButton::Middle, release, 2), 2U);
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Pointer", "Create 26 button 1 at 0, 0", "Post 26 button 1 at 0, 0 click 1",
                            "Click state 2", "Sleep 10", "Post 26 button 1 at 0, 0 click 2", "Click state 3"));
}

TEST_F(MouseTest, PausesLastForTheDelay) {
    Mouse::SetDelay(250);
    Mouse::ButtonEvent(MouseButton::Left, press, 2);
    Mouse::SetDelay(0);
    Mouse::ButtonEvent(MouseButton::Left, press, 2);
    Mouse::SetDelay(10);
    auto calls = TakeCalls();
    std::erase_if(calls, [](const std::string& call) { return !call.starts_with("Sleep"); });
    EXPECT_THAT(calls, ElementsAre("Sleep 250", "Sleep 0"));
}

TEST_F(MouseTest, WithoutFlagsNothingHappensToAButton) {
    EXPECT_EQ(Mouse::ButtonEvent(MouseButton::Left, {}, 3), 0U);
    EXPECT_EQ(Mouse::ButtonEvent(MouseButton::Left, Buttons(0xFFFFFFFCU), 3), 0U) << "Other flags mean nothing.";
    EXPECT_THAT(TakeCalls(), ElementsAre("Pointer", "Pointer"));
}

TEST_F(MouseTest, ACountOfZeroPostsNothing) {
    EXPECT_EQ(Mouse::ButtonEvent(MouseButton::Left, click, 0), 0U);
    EXPECT_THAT(TakeCalls(), ElementsAre("Pointer", "Create 1 button 0 at 0, 0", "Create 2 button 0 at 0, 0"));
}

TEST_F(MouseTest, MouseEventsAreNotTestedForNull) {
    mouseOperations.createMouseEventFault = {.call = 1};
    Mouse::SetPosition({.x = 1, .y = 2});
    EXPECT_THAT(TakeCalls(), ElementsAre("Post null"));

    mouseOperations.createMouseEventFault = {.call = 1};
    EXPECT_EQ(Mouse::ButtonEvent(MouseButton::Left, click, 1), 1U);
    EXPECT_THAT(TakeCalls(), ElementsAre("Pointer", "Create 2 button 0 at 0, 0", "Post null", "Sleep 10",
                                         "Post 2 button 0 at 0, 0 click 1", "Click state 2", "Click state 2"));
}

TEST_F(MouseTest, ScrollingUpAndDownTakesTheFirstWheel) {
    Mouse::Scroll(MouseWheelDirection::Vertical, 3, true);
    EXPECT_THAT(TakeCalls(), ElementsAre("Create scroll unit 1 wheels 1: 3", "Post scroll unit 1 wheels 1: 3"));
    Mouse::Scroll(MouseWheelDirection::Vertical, -70, false);
    EXPECT_THAT(TakeCalls(), ElementsAre("Create scroll unit 0 wheels 1: -70", "Post scroll unit 0 wheels 1: -70"));
}

TEST_F(MouseTest, ScrollingSidewaysTakesTheSecondWheel) {
    Mouse::Scroll(MouseWheelDirection::Horizontal, 3, true);
    EXPECT_THAT(TakeCalls(), ElementsAre("Create scroll unit 1 wheels 2: 0, 3", "Post scroll unit 1 wheels 2: 0, 3"));
    Mouse::Scroll(MouseWheelDirection::Horizontal, -70, false);
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Create scroll unit 0 wheels 2: 0, -70", "Post scroll unit 0 wheels 2: 0, -70"));
}

TEST_F(MouseTest, AScrollThatTheSystemDoesNotGiveIsPassedOver) {
    mouseOperations.createScrollEventFault = {.call = 1, .lasts = true};
    for (const auto direction : {MouseWheelDirection::Vertical, MouseWheelDirection::Horizontal}) {
        Mouse::Scroll(direction, 3, true);
        EXPECT_THAT(TakeCalls(), IsEmpty());
    }
}

TEST(MouseDeathTest, ScrollingInNoDirectionAsserts) {
    EXPECT_ASSERTION(Mouse::Scroll(DirectionOf(0), 1, true), "false", illegalCase);
    EXPECT_ASSERTION(Mouse::Scroll(DirectionOf(3), 1, true), "false", missingCase);
    EXPECT_ASSERTION(Mouse::Scroll(DirectionOf(255), 1, true), "false", missingCase);
}

TEST(MouseDeathTest, TheAssertionTellsItsPlace) {
    EXPECT_EXIT(Mouse::Scroll(MouseWheelDirection::Undefined, 1, true), ::testing::KilledBySignal(SIGABRT),
                ::testing::ContainsRegex("\t\\[0\\]: /System/Device/Mouse/Mouse\\.cpp at [0-9]+: Scroll\n"));
}

TEST(MouseDeathTest, AGradualScrollInNoDirectionAsserts) {
    auto context = MakeScroll(0, 1);
    context.direction = DirectionOf(0);
    EXPECT_ASSERTION(Mouse::Update(context), "false", illegalCase);
    context.direction = DirectionOf(3);
    EXPECT_ASSERTION(Mouse::Update(context), "false", missingCase);
}

TEST(MouseDeathTest, AGradualScrollThatLosesItsDirectionAssertsAsTheUpdate) {
    const auto update = [](int direction) {
        auto context = MakeScroll(1, 1);
        mouseOperations.duringPost = [&] { context.direction = DirectionOf(direction); };
        Mouse::Update(context);
    };
    const auto assertsInUpdate = [](const char* message) {
        return ::testing::AllOf(
            Tests::IsAssertion("false", message),
            ::testing::ContainsRegex("\t\\[0\\]: /System/Device/Mouse/Mouse\\.cpp at [0-9]+: Update\n"));
    };
    EXPECT_EXIT(update(0), ::testing::KilledBySignal(SIGABRT), assertsInUpdate(illegalCase));
    EXPECT_EXIT(update(3), ::testing::KilledBySignal(SIGABRT), assertsInUpdate(missingCase));
}

TEST_F(MouseTest, AMoveEndsWhereThePointerAlreadyIs) {
    auto move = MakeMove();
    move.startPosition = move.targetPosition;
    move.timeSinceLastUpdate = nanoseconds(1);
    mouseOperations.pointer = {.x = 200.5, .y = 0.5};
    EXPECT_TRUE(Mouse::Update(move));
    EXPECT_THAT(TakeCalls(), ElementsAre("Pointer"));
    EXPECT_EQ(move.timePastBy, nanoseconds(0)) << "The time no longer matters.";
}

TEST_F(MouseTest, AMoveAlongNoWayIsMadeIfThePointerIsElsewhere) {
    auto move = MakeMove();
    move.startPosition = move.targetPosition;
    move.timeSinceLastUpdate = milliseconds(500);
    EXPECT_FALSE(Mouse::Update(move));
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Pointer", "Create 5 button 0 at 200, 0", "Post 5 button 0 at 200, 0 click 1"));
}

TEST_F(MouseTest, AMoveGoesStraightAndEvenly) {
    auto move = MakeMove();
    move.timeSinceLastUpdate = milliseconds(250);
    for (const std::string place : {"125, 150", "150, 100", "175, 50"}) {
        EXPECT_FALSE(Mouse::Update(move));
        EXPECT_THAT(TakeCalls(), ElementsAre("Pointer", "Create 5 button 0 at " + place,
                                             "Post 5 button 0 at " + place + " click 1"));
    }
    EXPECT_EQ(move.timePastBy, milliseconds(750));
}

TEST_F(MouseTest, AMoveCutsTheFractionsOfItsWayOff) {
    auto move = MakeMove();
    move.targetPosition = {.x = 110, .y = 190};
    move.timeSinceLastUpdate = milliseconds(790);
    EXPECT_FALSE(Mouse::Update(move));
    // 7.9 points of the way, rounded towards the start on both axes.
    EXPECT_EQ(TakeCalls().back(), "Post 5 button 0 at 107, 193 click 1");
}

TEST_F(MouseTest, AMoveIsCountedFromItsStartWhereverThePointerIs) {
    auto move = MakeMove();
    move.timeSinceLastUpdate = milliseconds(500);
    mouseOperations.pointer = {.x = 900, .y = 900};
    EXPECT_FALSE(Mouse::Update(move));
    EXPECT_EQ(TakeCalls().back(), "Post 5 button 0 at 150, 100 click 1");
}

TEST_F(MouseTest, AMoveWhoseTimeIsUpJumpsToItsTarget) {
    for (const auto time : {nanoseconds(seconds(1)), nanoseconds(seconds(5))}) {
        auto move = MakeMove();
        move.timeSinceLastUpdate = time;
        EXPECT_TRUE(Mouse::Update(move));
        EXPECT_THAT(TakeCalls(),
                    ElementsAre("Pointer", "Create 5 button 0 at 200, 0", "Post 5 button 0 at 200, 0 click 1"));
    }
    auto move = MakeMove();
    move.timeSinceLastUpdate = seconds(1) - nanoseconds(1);
    EXPECT_FALSE(Mouse::Update(move));
    EXPECT_EQ(TakeCalls().back(), "Post 5 button 0 at 199, 1 click 1");
}

TEST_F(MouseTest, AMoveWithoutDurationJumpsAtOnce) {
    auto move = MakeMove();
    move.duration = {};
    EXPECT_TRUE(Mouse::Update(move));
    EXPECT_EQ(TakeCalls().back(), "Post 5 button 0 at 200, 0 click 1");
}

TEST_F(MouseTest, AMoveThatReachesItsTargetEarlyEnds) {
    auto move = MakeMove();
    move.timeSinceLastUpdate = milliseconds(500);
    EXPECT_FALSE(Mouse::Update(move));
    TakeCalls();
    mouseOperations.pointer = {.x = 200, .y = 0};
    EXPECT_TRUE(Mouse::Update(move));
    EXPECT_THAT(TakeCalls(), ElementsAre("Pointer"));
}

TEST_F(MouseTest, AMoveGoesOnWhileOneCoordinateIsAway) {
    for (const auto& pointer : {PointerPosition{.x = 200, .y = 1}, PointerPosition{.x = 199, .y = 0}}) {
        auto move = MakeMove();
        move.timeSinceLastUpdate = milliseconds(500);
        mouseOperations.pointer = pointer;
        EXPECT_FALSE(Mouse::Update(move));
        EXPECT_THAT(TakeCalls(), ::testing::Contains(::testing::StartsWith("Post 5 ")));
    }
}

TEST_F(MouseTest, AMoveAcrossAllIntegersStaysWithinThem) {
    MouseMoveContext move{.timeSinceLastUpdate = seconds(9),
                          .duration = seconds(10),
                          .startPosition = {.x = Limits::min(), .y = Limits::max()},
                          .targetPosition = {.x = Limits::max(), .y = Limits::min()}};
    EXPECT_FALSE(Mouse::Update(move));
    EXPECT_EQ(TakeCalls().back(), "Post 5 button 0 at -1, -1 click 1");
    // A negative time leaves the pointer at the start.
    move = {.timeSinceLastUpdate = seconds(-9),
            .startPosition = {.x = Limits::max(), .y = 7},
            .targetPosition = {.x = Limits::min(), .y = 7}};
    EXPECT_FALSE(Mouse::Update(move));
    EXPECT_EQ(TakeCalls().back(), "Post 5 button 0 at 2147483647, 7 click 1");
}

TEST_F(MouseTest, AGradualScrollGoesStepByStep) {
    auto scroll = MakeScroll(7, 3);
    EXPECT_FALSE(Mouse::Update(scroll));
    EXPECT_EQ(scroll.remainingDelta, 4);
    EXPECT_FALSE(Mouse::Update(scroll));
    EXPECT_EQ(scroll.remainingDelta, 1);
    EXPECT_TRUE(Mouse::Update(scroll));
    EXPECT_EQ(scroll.remainingDelta, 0);
    EXPECT_EQ(scroll.carry, 0);
    EXPECT_THAT(TakeCalls(), ElementsAre("Create scroll unit 1 wheels 1: 3", "Post scroll unit 1 wheels 1: 3",
                                         "Create scroll unit 1 wheels 1: 3", "Post scroll unit 1 wheels 1: 3",
                                         "Create scroll unit 1 wheels 1: 1", "Post scroll unit 1 wheels 1: 1"));
}

TEST_F(MouseTest, FractionsOfStepsAddUp) {
    auto scroll = MakeScroll(2, 0.4);
    for (int step = 0; step < 4; ++step) {
        EXPECT_FALSE(Mouse::Update(scroll));
    }
    auto calls = TakeCalls();
    std::erase_if(calls, [](const std::string& call) { return call.starts_with("Create"); });
    EXPECT_THAT(calls, ElementsAre("Post scroll unit 1 wheels 1: 0", "Post scroll unit 1 wheels 1: 0",
                                   "Post scroll unit 1 wheels 1: 1", "Post scroll unit 1 wheels 1: 0"));
    EXPECT_EQ(scroll.remainingDelta, 1);
    EXPECT_NEAR(scroll.carry, 0.6, 1e-12);
}

TEST_F(MouseTest, AScrollWithNothingLeftPostsOneOfNoDistance) {
    auto scroll = MakeScroll(0, 3);
    scroll.carry = 0.75;
    EXPECT_TRUE(Mouse::Update(scroll));
    EXPECT_THAT(TakeCalls(), ElementsAre("Create scroll unit 1 wheels 1: 0", "Post scroll unit 1 wheels 1: 0"));
    EXPECT_EQ(scroll.remainingDelta, 0);
    EXPECT_EQ(scroll.carry, 0.75);
}

TEST_F(MouseTest, ANegativeSignScrollsTheOtherWayAndCountsAlike) {
    auto scroll = MakeScroll(5, 2.5, -1);
    scroll.direction = MouseWheelDirection::Horizontal;
    scroll.inLines = false;
    EXPECT_FALSE(Mouse::Update(scroll));
    EXPECT_EQ(scroll.remainingDelta, 3);
    EXPECT_EQ(scroll.carry, 0.5);
    EXPECT_TRUE(Mouse::Update(scroll));
    EXPECT_EQ(scroll.remainingDelta, 0);
    EXPECT_EQ(scroll.carry, 0);
    EXPECT_THAT(TakeCalls(), ElementsAre("Create scroll unit 0 wheels 2: 0, -2", "Post scroll unit 0 wheels 2: 0, -2",
                                         "Create scroll unit 0 wheels 2: 0, -3", "Post scroll unit 0 wheels 2: 0, -3"));
}

TEST_F(MouseTest, AStepLosesItsFractionTowardsZero) {
    auto scroll = MakeScroll(-0.75, 1);
    EXPECT_TRUE(Mouse::Update(scroll));
    EXPECT_EQ(TakeCalls().back(), "Post scroll unit 1 wheels 1: 0");
    EXPECT_EQ(scroll.carry, -0.75);
}

TEST_F(MouseTest, AStepBeyondAllIntegersIsTheLargestOne) {
    auto scroll = MakeScroll(3e9, 3e9, -1);
    EXPECT_FALSE(Mouse::Update(scroll));
    EXPECT_EQ(TakeCalls().back(), "Post scroll unit 1 wheels 1: -2147483648");
    EXPECT_EQ(scroll.remainingDelta, 3e9 - 2147483648.0);
}

/// With a logger that passes everything. Each line is recorded among the calls as "Log".
class MouseLogTest : public MouseTest {
protected:
    MouseLogTest() {
        logFileOperations.onConsole = [] { mouseOperations.calls.emplace_back("Log"); };
        m_log.m_config.m_streamSeverities = {Log::StreamID::System};
        EXPECT_TRUE(m_log.Initialize());
    }

    /// Returns and clears the logged text.
    static std::string TakeLog() { return std::exchange(logFileOperations.console, {}); }

    Tests::TestLogger m_log;
};

TEST_F(MouseLogTest, TellsTheStepsOfAMoveBeforeTheyAreMade) {
    auto move = MakeMove();
    move.timeSinceLastUpdate = milliseconds(250);
    EXPECT_FALSE(Mouse::Update(move));
    EXPECT_THAT(TakeLog(), AreLogLines({"System] Debug: Mouse move update. Params: { TimePastBy: '250000000ns' "
                                        "TimeFactor: '0.25' Position: '125, 150' TravelPosition: '25, -50' }"}));
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Pointer", "Log", "Create 5 button 0 at 125, 150", "Post 5 button 0 at 125, 150 click 1"));
}

TEST_F(MouseLogTest, TellsTheEndOfAMoveWhoseTimeIsUp) {
    auto move = MakeMove();
    move.timePastBy = milliseconds(999);
    move.timeSinceLastUpdate = milliseconds(2);
    mouseOperations.pointer = {.x = 198.5, .y = -2};
    EXPECT_TRUE(Mouse::Update(move));
    EXPECT_THAT(TakeLog(),
                AreLogLines({"System] Debug: Mouse move done with offset to the target position. Params: { "
                             "TimeSinceLastUpdate:'2000000ns' TimePastBy:'1001000000ns' Position:'198,-2' }"}));
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Pointer", "Log", "Create 5 button 0 at 200, 0", "Post 5 button 0 at 200, 0 click 1"));
}

TEST_F(MouseLogTest, TellsTheEndOfAMoveThatHasArrived) {
    auto move = MakeMove();
    mouseOperations.pointer = {.x = 200, .y = 0};
    EXPECT_TRUE(Mouse::Update(move));
    EXPECT_THAT(TakeLog(), AreLogLines({"System] Debug: Mouse move update done"}));
}

TEST_F(MouseLogTest, TellsTheStepsAndTheEndOfAScroll) {
    auto scroll = MakeScroll(2.5, 2, -1);
    EXPECT_FALSE(Mouse::Update(scroll));
    EXPECT_THAT(TakeLog(),
                AreLogLines({"System] Debug: Mouse scroll update. Params: { delta: -2, remaining delta: 2.5 }"}));
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Log", "Create scroll unit 1 wheels 1: -2", "Post scroll unit 1 wheels 1: -2"));
    scroll.carry = 0.5;
    EXPECT_TRUE(Mouse::Update(scroll));
    EXPECT_THAT(TakeLog(),
                AreLogLines({"System] Debug: Mouse scroll update. Params: { delta: -1, remaining delta: 0.5 }",
                             "System] Debug: Mouse scroll update finished vertical scroll."}));
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Log", "Create scroll unit 1 wheels 1: -1", "Post scroll unit 1 wheels 1: -1", "Log"));
}

TEST_F(MouseLogTest, TellsTheEndOfAScrollSideways) {
    auto scroll = MakeScroll(1, 1);
    scroll.direction = MouseWheelDirection::Horizontal;
    EXPECT_TRUE(Mouse::Update(scroll));
    EXPECT_THAT(TakeLog(), AreLogLines({"System] Debug: Mouse scroll update. Params: { delta: 1, remaining delta: 1 }",
                                        "System] Debug: Mouse scroll update finished horizontal scroll."}));
}

TEST_F(MouseLogTest, TellsNothingOfSingleActions) {
    Mouse::SetPosition({});
    Mouse::ButtonEvent(MouseButton::Left, click, 1);
    Mouse::Scroll(MouseWheelDirection::Vertical, 1, true);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

} // namespace

} // namespace Tovra::System::Device::Mouse
