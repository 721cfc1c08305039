// Label: threaded

#include <Support/EnvironmentValue.h>
#include <Support/HiddenLibrary.h>
#include <Support/InChild.h>
#include <Support/Program.h>
#include <Support/WaylandSession.h>
#include <Support/X11Sync.h>
#include <Support/XProgram.h>
#include <Support/XServer.h>
#include <Support/XServerFixture.h>
#include <Support/XServerProxy.h>
#include <System/Device/Mouse/Mouse.h>
#include <System/Device/Mouse/MouseOperations.h>
#include <System/X11/X11_Linux.h>

#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <limits>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

/// Makes LeakSanitizer ignore allocations of this thread from now on; null without it.
extern "C" [[gnu::weak]] void __lsan_disable(); // NOLINT(bugprone-reserved-identifier): the sanitizer's own name.

namespace Tovra::Tests {

namespace {

namespace X11 = System::X11;
using namespace System::Device::Mouse;
using std::chrono::milliseconds;
using ::testing::AnyOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StrEq;
using Events = std::vector<std::string>;
using Limits = std::numeric_limits<std::int32_t>;

constexpr auto click = System::Types::EnumFlags(MouseButtonEvent::Press) | MouseButtonEvent::Release;

/// The text between `before` and `after`; removes everything up to `after` from `text`.
std::string TakeBetween(std::string& text, const std::string& before, const std::string& after);

/// Mouse events in the output of xev, in order: "move 10,20", "press 1 at 10,20", "release 1 at 10,20".
Events ReadEvents(const std::string& output);

/// Another program (xev) with a window in the top left of the screen, which prints its events.
class Witness {
public:
    Witness() {
        EXPECT_TRUE(m_program.WaitForOutput("Expose event"));
        // The pointer starts outside the window.
        Mouse::SetPosition({.x = 9, .y = 9});
    }

    /// All mouse events since the start, without the first move.
    Events Finish() {
        // The event of this property change comes after all others.
        RunXProgram("xprop", {"-name", "Event Tester", "-f", "TOVRA_END", "8s", "-set", "TOVRA_END", "1"});
        EXPECT_TRUE(m_program.WaitForOutput("(TOVRA_END)"));
        m_program.Signal(SIGTERM);
        auto events = ReadEvents(m_program.Wait().output);
        if (!events.empty() && events.front() == "move 9,9") {
            events.erase(events.begin());
        }
        return events;
    }

private:
    RunningProgram m_program{MakeXProgram("xev", {"-geometry", "400x300+0+0"})};
};

class HostMouseTest : public XServerFixture {};

Position<0> GetPosition() {
    Position<0> position{.x = -7, .y = -7};
    EXPECT_TRUE(Mouse::GetCurrentPosition(position));
    return position;
}

/// Two threads scroll `pixels` each, `times` times, at the same time. Returns the number of presses and releases.
std::size_t CountEventsOfTwoThreads(int times, int pixels);

/// Makes an event and posts it.
void Post(MouseEventType type, PointerPosition position);

/// Calls each operation of the mouse.
void DoEverything();

} // namespace

TEST_F(HostMouseTest, MovesThePointerForEveryone) {
    const auto move = [] {
        Witness witness;
        Mouse::SetPosition({.x = 100, .y = 80});
        EXPECT_EQ(GetPosition(), (Position<0>{.x = 100, .y = 80}));
        EXPECT_THAT(RunXProgram("xdotool", {"getmouselocation"}), ::testing::StartsWith("x:100 y:80 "));
        Mouse::Move({.x = 101, .y = 79});
        EXPECT_THAT(witness.Finish(), ElementsAre("move 100,80", "move 101,79"));
    };
    EXPECT_IN_CHILD(move(), IsEmpty());
}

TEST_F(HostMouseTest, FindsThePointerWhereOthersPutIt) {
    const auto find = [] {
        RunXProgram("xdotool", {"mousemove", "321", "123"});
        EXPECT_EQ(GetPosition(), (Position<0>{.x = 321, .y = 123}));
    };
    EXPECT_IN_CHILD(find(), IsEmpty());
}

TEST_F(HostMouseTest, KeepsThePointerOnTheScreen) {
    const auto leave = [] {
        Mouse::SetPosition({.x = -1, .y = 100000});
        EXPECT_EQ(GetPosition(), (Position<0>{.x = 0, .y = 767}));
        Mouse::SetPosition({.x = Limits::max(), .y = Limits::min()});
        EXPECT_EQ(GetPosition(), (Position<0>{.x = 1023, .y = 0}));
        Mouse::SetPosition({.x = Limits::min(), .y = Limits::max()});
        EXPECT_EQ(GetPosition(), (Position<0>{.x = 0, .y = 767}));
    };
    EXPECT_IN_CHILD(leave(), IsEmpty());
}

TEST_F(HostMouseTest, PressesAndReleasesEachButton) {
    const auto press = [] {
        Witness witness;
        for (const auto button : {MouseButton::Left, MouseButton::Middle, MouseButton::Right}) {
            EXPECT_EQ(Mouse::ButtonEvent(button, MouseButtonEvent::Press, 1), 1U);
            EXPECT_EQ(Mouse::ButtonEvent(button, MouseButtonEvent::Release, 1), 1U);
        }
        EXPECT_THAT(witness.Finish(), ElementsAre("press 1 at 9,9", "release 1 at 9,9", "press 2 at 9,9",
                                                  "release 2 at 9,9", "press 3 at 9,9", "release 3 at 9,9"));
    };
    EXPECT_IN_CHILD(press(), IsEmpty());
}

TEST_F(HostMouseTest, DoubleClicksWithoutMovingInBetween) {
    const auto doubleClick = [] {
        Witness witness;
        Mouse::SetPosition({.x = 120, .y = 130});
        EXPECT_EQ(Mouse::ButtonEvent(MouseButton::Left, click, 2), 2U);
        EXPECT_THAT(witness.Finish(), ElementsAre("move 120,130", "press 1 at 120,130", "release 1 at 120,130",
                                                  "press 1 at 120,130", "release 1 at 120,130"));
    };
    EXPECT_IN_CHILD(doubleClick(), IsEmpty());
}

TEST_F(HostMouseTest, SleepsBetweenAllEvents) {
    const auto doubleClick = [] {
        Mouse::SetDelay(30);
        const auto start = std::chrono::steady_clock::now();
        Mouse::ButtonEvent(MouseButton::Left, click, 2);
        EXPECT_GE(std::chrono::steady_clock::now() - start, 3 * milliseconds(30));
    };
    EXPECT_IN_CHILD(doubleClick(), IsEmpty());
}

TEST_F(HostMouseTest, PostsNothingForWhatIsNoButton) {
    const auto press = [] {
        Witness witness;
        EXPECT_EQ(Mouse::ButtonEvent(MouseButton::Undefined, click, 1), 1U);
        EXPECT_EQ(Mouse::ButtonEvent(static_cast<MouseButton>(4), click, 1), 1U);
        EXPECT_EQ(Mouse::ButtonEvent(MouseButton::Left, {}, 1), 0U);
        EXPECT_EQ(Mouse::ButtonEvent(MouseButton::Left, click, 0), 0U);
        PostEvent(nullptr);
        EXPECT_THAT(witness.Finish(), IsEmpty());
    };
    EXPECT_IN_CHILD(press(), IsEmpty());
}

TEST_F(HostMouseTest, ClicksWhereTheEventWasMadeEvenIfThePointerHasLeft) {
    const auto clickElsewhere = [] {
        Witness witness;
        const auto post = [](MouseEventType type, int x, int y) {
            MouseEvent* const event = CreateMouseEvent(type, x, y, 0);
            PostEvent(event);
            ReleaseEvent(event);
        };
        post(MouseEventType::LeftDown, 50, 60);
        post(MouseEventType::LeftUp, 70, 60);
        post(MouseEventType::LeftDown, 70, 80);
        post(MouseEventType::LeftUp, 70, 80);
        EXPECT_THAT(witness.Finish(), ElementsAre("move 50,60", "press 1 at 50,60", "move 70,60", "release 1 at 70,60",
                                                  "move 70,80", "press 1 at 70,80", "release 1 at 70,80"));
    };
    EXPECT_IN_CHILD(clickElsewhere(), IsEmpty());
}

TEST_F(HostMouseTest, MeansTheButtonsThatProgramsKnowWhateverTheDevicesAreCalled) {
    const auto swap = [] {
        Witness witness;
        RunXProgram("xmodmap", {"-e", "pointer = 3 2 1 5 4 7 6 8 9 10"});
        Mouse::ButtonEvent(MouseButton::Left, click, 1);
        Mouse::ButtonEvent(MouseButton::Right, click, 1);
        Mouse::Scroll(MouseWheelDirection::Vertical, 1, true);
        RunXProgram("xmodmap", {"-e", "pointer = 1 2 0 4 5 6 7 8 9 10"});
        Mouse::ButtonEvent(MouseButton::Right, click, 1);
        EXPECT_THAT(witness.Finish(), ElementsAre("press 1 at 9,9", "release 1 at 9,9", "press 3 at 9,9",
                                                  "release 3 at 9,9", "press 4 at 9,9", "release 4 at 9,9"));
    };
    EXPECT_IN_CHILD(swap(), IsEmpty());
}

TEST_F(HostMouseTest, ScrollsLinesInAllDirections) {
    const auto scroll = [] {
        Witness witness;
        Mouse::Scroll(MouseWheelDirection::Vertical, 2, true);
        Mouse::Scroll(MouseWheelDirection::Vertical, -1, true);
        Mouse::Scroll(MouseWheelDirection::Horizontal, 1, true);
        Mouse::Scroll(MouseWheelDirection::Horizontal, -2, true);
        Mouse::Scroll(MouseWheelDirection::Vertical, 0, true);
        EXPECT_THAT(witness.Finish(),
                    ElementsAre("press 4 at 9,9", "release 4 at 9,9", "press 4 at 9,9", "release 4 at 9,9",
                                "press 5 at 9,9", "release 5 at 9,9", "press 6 at 9,9", "release 6 at 9,9",
                                "press 7 at 9,9", "release 7 at 9,9", "press 7 at 9,9", "release 7 at 9,9"));
    };
    EXPECT_IN_CHILD(scroll(), IsEmpty());
}

TEST_F(HostMouseTest, TurnsTheVerticalWheelBeforeTheHorizontalOne) {
    const auto scroll = [] {
        Witness witness;
        MouseEvent* const event = CreateScrollEvent(ScrollUnit::Line, 2, 1, 1);
        PostEvent(event);
        ReleaseEvent(event);
        EXPECT_THAT(witness.Finish(),
                    ElementsAre("press 4 at 9,9", "release 4 at 9,9", "press 6 at 9,9", "release 6 at 9,9"));
    };
    EXPECT_IN_CHILD(scroll(), IsEmpty());
}

TEST_F(HostMouseTest, AsksTheServerNothingForAWheelThatDoesNotTurn) {
    const auto scroll = [this] {
        const XServerProxy proxy(m_server.GetDisplayName());
        const EnvironmentValue display("DISPLAY", proxy.GetDisplayName());
        Mouse::SetPosition({}); // Connects, and queries XTest.
        const std::size_t before = proxy.GetByteCount();
        Mouse::Scroll(MouseWheelDirection::Vertical, 0, true);
        Mouse::Scroll(MouseWheelDirection::Horizontal, 9, false);
        EXPECT_EQ(proxy.GetByteCount(), before);
    };
    EXPECT_IN_CHILD(scroll(), IsEmpty());
}

TEST_F(HostMouseTest, ScrollsPixelsByNotchesOfTen) {
    const auto scroll = [] {
        Witness witness;
        Mouse::Scroll(MouseWheelDirection::Vertical, 15, false);
        Mouse::Scroll(MouseWheelDirection::Horizontal, 9, false);
        Mouse::Scroll(MouseWheelDirection::Vertical, 5, false);
        Mouse::Scroll(MouseWheelDirection::Vertical, -10, false);
        Mouse::Scroll(MouseWheelDirection::Horizontal, 1, false);
        Mouse::Scroll(MouseWheelDirection::Horizontal, -10, false);
        EXPECT_THAT(witness.Finish(),
                    ElementsAre("press 4 at 9,9", "release 4 at 9,9", "press 4 at 9,9", "release 4 at 9,9",
                                "press 5 at 9,9", "release 5 at 9,9", "press 6 at 9,9", "release 6 at 9,9",
                                "press 7 at 9,9", "release 7 at 9,9"));
    };
    EXPECT_IN_CHILD(scroll(), IsEmpty());
}

TEST_F(HostMouseTest, ComesBackFromTheLargestScroll) {
    const auto scroll = [] {
        for (const bool inLines : {true, false}) {
            Mouse::Scroll(MouseWheelDirection::Vertical, Limits::max(), inLines);
            Mouse::Scroll(MouseWheelDirection::Horizontal, Limits::min(), inLines);
        }
        EXPECT_NE(X11::GetConnection(), nullptr);
    };
    EXPECT_IN_CHILD(scroll(), IsEmpty());
}

TEST_F(HostMouseTest, MakesAtMost32767NotchesOfAScroll) {
    const auto scroll = [this] {
        const XServerProxy proxy(m_server.GetDisplayName());
        const EnvironmentValue display("DISPLAY", proxy.GetDisplayName());
        const auto countBytes = [&proxy](MouseWheelDirection direction, int lines) {
            const std::size_t before = proxy.GetByteCount();
            Mouse::Scroll(direction, lines, true);
            return proxy.GetByteCount() - before;
        };
        Mouse::SetPosition({}); // Connects, and queries XTest.
        const std::size_t most = countBytes(MouseWheelDirection::Vertical, 32767);
        EXPECT_GE(most, std::size_t{32767} * 2 * 36) << "XTest's requests for an event have 36 bytes.";
        // Xlib adds small requests of its own when its sequence numbers come round; a notch has 72 bytes.
        const auto isAsMuch = ::testing::AllOf(::testing::Gt(most - 72), ::testing::Lt(most + 72));
        EXPECT_THAT(countBytes(MouseWheelDirection::Vertical, 32768), isAsMuch);
        EXPECT_THAT(countBytes(MouseWheelDirection::Vertical, -32768), isAsMuch);
        EXPECT_THAT(countBytes(MouseWheelDirection::Horizontal, 32768), isAsMuch);
        EXPECT_THAT(countBytes(MouseWheelDirection::Horizontal, -32768), isAsMuch);
    };
    EXPECT_IN_CHILD(scroll(), IsEmpty());
}

TEST_F(HostMouseTest, MovesGradually) {
    const auto move = [] {
        Witness witness;
        MouseMoveContext context{.timeSinceLastUpdate = milliseconds(250),
                                 .duration = milliseconds(1000),
                                 .startPosition = {.x = 100, .y = 200},
                                 .targetPosition = {.x = 200, .y = 0}};
        int updates = 1;
        while (!Mouse::Update(context) && updates < 100) {
            ++updates;
        }
        EXPECT_EQ(updates, 4);
        EXPECT_TRUE(Mouse::Update(context)) << "The pointer has reached the target.";
        EXPECT_THAT(witness.Finish(), ElementsAre("move 125,150", "move 150,100", "move 175,50", "move 200,0"));
    };
    EXPECT_IN_CHILD(move(), IsEmpty());
}

TEST_F(HostMouseTest, ScrollsGradually) {
    const auto scroll = [] {
        Witness witness;
        MouseScrollContext context{.direction = MouseWheelDirection::Vertical,
                                   .remainingDelta = 2,
                                   .stepDelta = 0.5,
                                   .sign = -1,
                                   .inLines = true};
        int updates = 1;
        while (!Mouse::Update(context) && updates < 100) {
            ++updates;
        }
        EXPECT_EQ(updates, 4);
        EXPECT_THAT(witness.Finish(),
                    ElementsAre("press 5 at 9,9", "release 5 at 9,9", "press 5 at 9,9", "release 5 at 9,9"));
    };
    EXPECT_IN_CHILD(scroll(), IsEmpty());
}

TEST_F(HostMouseTest, LosesNoPixelsBetweenThreads) {
    // Ten notches, each a press and a release.
    EXPECT_IN_CHILD(EXPECT_EQ(CountEventsOfTwoThreads(50, 1), 20U), IsEmpty());
}

TEST_F(HostMouseTest, LosesNoNotchesBetweenThreads) {
    EXPECT_IN_CHILD(EXPECT_EQ(CountEventsOfTwoThreads(10, 1000), 4000U), IsEmpty());
}

TEST_F(HostMouseTest, PressesWhereTheEventIsHoweverAnotherThreadMoves) {
    const auto press = [] {
        Witness witness;
        std::atomic<bool> isDone = false;
        std::thread mover([&isDone] {
            while (!isDone) { // Now there, and not any more when the button is pressed.
                Mouse::SetPosition({.x = 50, .y = 60});
                Mouse::SetPosition({.x = 200, .y = 150});
            }
        });
        for (int time = 0; time < 50; ++time) {
            Post(MouseEventType::LeftDown, {.x = 50, .y = 60});
            Post(MouseEventType::LeftUp, {.x = 50, .y = 60});
        }
        isDone = true;
        mover.join();
        auto events = witness.Finish();
        std::erase_if(events, [](const std::string& event) { return event.starts_with("move "); });
        EXPECT_THAT(events, SizeIs(100));
        EXPECT_THAT(events, Each(AnyOf("press 1 at 50,60", "release 1 at 50,60")));
    };
    EXPECT_IN_CHILD(press(), IsEmpty());
}

TEST_F(HostMouseTest, LeavesThePointerAloneOnAServerWithoutXTest) {
    const XServer server({"-extension", "XTEST", "-screen", "0", "1024x768x24"});
    const EnvironmentValue display("DISPLAY", server.GetDisplayName());
    const auto tryEverything = [] {
        Witness witness;
        const auto position = GetPosition();
        EXPECT_NE(position, (Position<0>{})) << "The server puts it into the middle.";
        DoEverything();
        EXPECT_EQ(GetPosition(), position);
        EXPECT_THAT(witness.Finish(), IsEmpty());
    };
    EXPECT_IN_CHILD(tryEverything(), IsEmpty());
}

TEST_F(HostMouseTest, LeavesThePointerAloneWithoutTheLibraryOfXTest) {
    const auto hideLibrary = [] {
        HideLibrary("libXtst.so.6");
        const auto position = GetPosition();
        EXPECT_NE(position, (Position<0>{}));
        DoEverything();
        EXPECT_EQ(GetPosition(), position);
    };
    EXPECT_IN_CHILD(hideLibrary(), IsEmpty());
}

TEST(HostMouse, HasThePointerAtTheOriginWithoutAServer) {
    // No display at all, and a Wayland session without an X server.
    for (const char* const waylandDisplay : {"", "wayland-0"}) {
        const EnvironmentValue display("DISPLAY", std::nullopt);
        const EnvironmentValue wayland("WAYLAND_DISPLAY", waylandDisplay);
        const auto tryEverything = [] {
            DoEverything();
            EXPECT_EQ(GetPosition(), (Position<0>{}));
        };
        EXPECT_IN_CHILD(tryEverything(), IsEmpty());
    }
}

TEST(HostMouse, DoesNoHarmInASessionOfWaylands) {
    const WaylandSession session;
    const EnvironmentValue display("DISPLAY", session.GetDisplayName());
    const auto tryEverything = [] {
        DoEverything();
        EXPECT_NE(X11::GetConnection(), nullptr);
    };
    EXPECT_IN_CHILD(tryEverything(), IsEmpty());
}

TEST_F(HostMouseTest, HasThePointerAtTheOriginOnceTheServerIsGone) {
    const auto killServer = [this] {
        Mouse::SetPosition({.x = 5, .y = 6});
        EXPECT_EQ(GetPosition(), (Position<0>{.x = 5, .y = 6}));
        m_server.Kill();
        DoEverything();
        EXPECT_EQ(GetPosition(), (Position<0>{}));
    };
    EXPECT_IN_CHILD(killServer(), StrEq(lossReport));
}

TEST_F(HostMouseTest, SurvivesAServerThatDiesAtAnyPointOfTheWork) {
    struct ByteCounts {
        std::size_t connecting;
        std::size_t firstMove;
        std::size_t all;
    } counts{};
    std::array<int, 2> pipeEnds{};
    ASSERT_EQ(pipe(pipeEnds.data()), 0);
    const auto measure = [this, output = pipeEnds[1]] {
        const XServerProxy proxy(m_server.GetDisplayName());
        const EnvironmentValue display("DISPLAY", proxy.GetDisplayName());
        EXPECT_TRUE(Tests::SyncX11());
        ByteCounts measured{.connecting = proxy.GetByteCount(), .firstMove = 0, .all = 0};
        Mouse::SetPosition({.x = 30, .y = 40});
        measured.firstMove = proxy.GetByteCount();
        DoEverything();
        measured.all = proxy.GetByteCount();
        EXPECT_EQ(write(output, &measured, sizeof measured), static_cast<ssize_t>(sizeof measured));
    };
    EXPECT_IN_CHILD(measure(), IsEmpty());
    close(pipeEnds[1]);
    ASSERT_EQ(read(pipeEnds[0], &counts, sizeof counts), static_cast<ssize_t>(sizeof counts));
    close(pipeEnds[0]);

    const auto breakConnection = [this, firstMove = counts.firstMove](std::size_t byteNumber) {
        if (byteNumber <= firstMove && __lsan_disable != nullptr) {
            // When the first query of XTest is left by a jump, its library leaks memory.
            __lsan_disable();
        }
        const XServerProxy proxy(m_server.GetDisplayName(), byteNumber);
        const EnvironmentValue display("DISPLAY", proxy.GetDisplayName());
        Mouse::SetPosition({.x = 30, .y = 40});
        DoEverything();
        EXPECT_EQ(GetPosition(), (Position<0>{}));
        EXPECT_EQ(X11::GetConnection(), nullptr);
    };
    constexpr std::size_t breakCount = 32;
    for (std::size_t index = 0; index < breakCount; ++index) {
        const std::size_t byteNumber = counts.connecting + 1 + index * (counts.all - counts.connecting) / breakCount;
        SCOPED_TRACE(byteNumber);
        EXPECT_IN_CHILD(breakConnection(byteNumber), StrEq(lossReport));
    }
}

namespace {

Events ReadEvents(const std::string& output) {
    Events events;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const bool isMove = line.starts_with("MotionNotify event");
        const bool isPress = line.starts_with("ButtonPress event");
        if (!isMove && !isPress && !line.starts_with("ButtonRelease event")) {
            continue;
        }
        std::string rest;
        for (std::string detail; std::getline(lines, detail) && !detail.empty();) {
            rest += detail;
        }
        const auto place = TakeBetween(rest, "root:(", ")");
        const std::string name = isPress ? "press " : "release ";
        events.push_back(isMove ? "move " + place : name + TakeBetween(rest, "button ", ",") + " at " + place);
    }
    return events;
}

std::string TakeBetween(std::string& text, const std::string& before, const std::string& after) {
    const auto begin = text.find(before) + before.size();
    const auto end = text.find(after, begin);
    const auto found = text.substr(begin, end - begin);
    text.erase(0, end);
    return found;
}

std::size_t CountEventsOfTwoThreads(int times, int pixels) {
    Witness witness;
    const auto scroll = [times, pixels] {
        for (int time = 0; time < times; ++time) {
            Mouse::Scroll(MouseWheelDirection::Vertical, pixels, false);
        }
    };
    std::thread first(scroll);
    std::thread second(scroll);
    first.join();
    second.join();
    return witness.Finish().size();
}

void Post(MouseEventType type, PointerPosition position) {
    MouseEvent* const event = CreateMouseEvent(type, position.x, position.y, 0);
    PostEvent(event);
    ReleaseEvent(event);
}

void DoEverything() {
    Mouse::SetPosition({.x = 30, .y = 40});
    for (const auto button : {MouseButton::Undefined, MouseButton::Left, MouseButton::Middle, MouseButton::Right}) {
        EXPECT_EQ(Mouse::ButtonEvent(button, click, 2), 2U);
    }
    for (const auto direction : {MouseWheelDirection::Vertical, MouseWheelDirection::Horizontal}) {
        Mouse::Scroll(direction, 2, true);
        Mouse::Scroll(direction, -20, false);
    }
    MouseMoveContext move{.timeSinceLastUpdate = milliseconds(1),
                          .duration = milliseconds(2),
                          .startPosition = {.x = 30, .y = 40},
                          .targetPosition = {.x = 50, .y = 60}};
    EXPECT_FALSE(Mouse::Update(move));
    EXPECT_TRUE(Mouse::Update(move));
    MouseScrollContext scroll{.direction = MouseWheelDirection::Vertical, .remainingDelta = 1, .stepDelta = 1};
    EXPECT_TRUE(Mouse::Update(scroll));
}

} // namespace

} // namespace Tovra::Tests
