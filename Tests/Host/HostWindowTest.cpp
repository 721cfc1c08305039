// Label: threaded

#include <Support/Child.h>
#include <Support/EnvironmentValue.h>
#include <Support/Folders.h>
#include <Support/HiddenLibrary.h>
#include <Support/InChild.h>
#include <Support/RepeatedWork.h>
#include <Support/TemporaryFolder.h>
#include <Support/WindowManager.h>
#include <Support/XServer.h>
#include <Support/XServerProxy.h>
#include <System/Desktop/MainQueue_Linux.h>
#include <System/Desktop/PanelEvent.h>
#include <System/Desktop/PanelOperations.h>
#include <System/Desktop/Window.h>
#include <System/Desktop/WindowPlatformNative.h>
#include <System/Processes/ActivateAppPlatformNative.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <span>
#include <thread>
#include <vector>

// After all others, since Xlib defines common words as macros.
// clang-format off
#include <Support/X11Sync.h>
#include <Support/XClient.h>
#include <X11/extensions/shape.h>
#include <System/X11/X11_Linux.h>
// clang-format on

namespace {

/// Called before the main thread waits, if it is set.
std::function<void(std::span<const pollfd>, const timespec&)> s_onWait;

} // namespace

// The linker (--wrap) redirects calls of `ppoll` to the second of two functions, and calls of the first to `ppoll`.
extern "C" {
int __real_ppoll(pollfd* requests, nfds_t count, const timespec* timeout, const sigset_t* signals);

int __wrap_ppoll(pollfd* requests, nfds_t count, const timespec* timeout, const sigset_t* signals) {
    if (s_onWait) {
        s_onWait({requests, count}, *timeout);
    }
    return __real_ppoll(requests, count, timeout, signals);
}
}

namespace Tovra::System::Desktop {

namespace {

using Device::Keyboard::Key;
using Tests::XClient;

/// Left, top, width, height.
using Area = std::vector<int>;

/// A window that keeps its events.
class ReceivingWindow : public Window {
public:
    explicit ReceivingWindow(Math::Coordinate2 position = {.x = 100, .y = 50})
        : Window(nullptr, "Window", position, {.width = 300, .height = 200}, Style{3}) {}

    /// Its X window id.
    ::Window GetId() const { return reinterpret_cast<::Window>(GetHandle()); }

    void Receive() {
        SetEventCallback([this](const WindowEvent& event) {
            m_received.push_back(event);
            return true;
        });
    }

    std::vector<WindowEvent> m_received;
};

/// Runs `body` on the main thread of a child process, since a process connects only once, with that display. Expects
/// that it succeeds, and returns its standard error stream.
std::string RunOn(const std::string& displayName, const std::function<void()>& body) {
    const Tests::EnvironmentValue display("DISPLAY", displayName);
    return Tests::RunInChild(body);
}

/// The same on a new server; expects an empty standard error stream.
void RunOnServer(const std::function<void()>& body) {
    const Tests::XServer server;
    EXPECT_EQ(RunOn(server.GetDisplayName(), body), "");
}

TEST(HostWindow, ACreatedWindowIsMappedButCanNotBeSeen) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const XClient client;
        const auto attributes = client.GetAttributes(window.GetId());
        EXPECT_EQ(client.GetArea(window.GetId()), (Area{100, 50, 300, 200}));
        EXPECT_EQ(attributes.map_state, IsViewable);
        EXPECT_EQ(attributes.override_redirect, True);
        EXPECT_EQ(attributes.depth, 32);
        EXPECT_EQ(attributes.border_width, 0);
        EXPECT_EQ(client.GetOpacity(window.GetId()), 0U);
        EXPECT_EQ(client.CountShape(window.GetId(), ShapeBounding), 0);
        EXPECT_NE(client.GetFocus(), window.GetId());
    });
}

TEST(HostWindow, ShowingAndHidingIsSeenOnTheScreen) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const XClient client;
        const auto below = client.GetPixel(150, 100);
        window.Show();
        client.Paint(window.GetId(), 0xFFFF8000);
        EXPECT_EQ(client.GetOpacity(window.GetId()), 0xFFFFFFFFU);
        EXPECT_EQ(client.GetPixel(150, 100), 0xFF8000U);
        EXPECT_EQ(client.GetPixel(100, 50), 0xFF8000U);
        EXPECT_EQ(client.GetPixel(399, 249), 0xFF8000U);
        EXPECT_EQ(client.GetPixel(99, 50), below);
        EXPECT_EQ(client.GetPixel(399, 250), below);
        window.Hide();
        EXPECT_EQ(client.GetPixel(150, 100), below);
        EXPECT_EQ(client.GetOpacity(window.GetId()), 0U);
        EXPECT_EQ(client.GetAttributes(window.GetId()).map_state, IsViewable) << "It stays in the order of windows.";
        window.Show();
        EXPECT_EQ(client.CountShape(window.GetId(), ShapeBounding), 1);
    });
}

TEST(HostWindow, ShowingRaises) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const XClient client;
        const auto other = client.MakeWindow();
        EXPECT_EQ(client.GetStacking().back(), other);
        window.Show();
        EXPECT_EQ(client.GetStacking().back(), window.GetId());
        XRaiseWindow(client.GetDisplay(), other);
        XSync(client.GetDisplay(), False);
        window.Hide();
        EXPECT_EQ(client.GetStacking().back(), other) << "Hiding leaves the order alone.";
    });
}

TEST(HostWindow, IsClearUntilItIsDrawnOn) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const XClient client;
        client.MakeWindow(); // Blue, and partly below the panel.
        window.Show();
        EXPECT_EQ(client.GetContent(window.GetId(), 10, 10), 0U);
        EXPECT_EQ(client.GetContent(window.GetId(), 250, 180), 0U);
    });
}

TEST(HostWindow, APictureOfTheScreenShowsTheWindowAndNothingElse) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        window.Show();
        const XClient client;
        client.Paint(window.GetId(), 0xFF30A060);
        const auto pixels = client.SavePicture(Tovra::Tests::GetBinaryFolder() / "HostWindowTest.ppm");
        EXPECT_EQ(std::ranges::count(pixels, 0x30A060U), 300 * 200);
        EXPECT_EQ(std::ranges::count(pixels, 0U), 1024 * 768 - 300 * 200);
    });
}

TEST(HostWindow, PositionSizeAndRectangleAreFollowed) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const XClient client;
        window.SetPosition({.x = -20, .y = 30});
        EXPECT_EQ(client.GetArea(window.GetId()), (Area{-20, 30, 300, 200}));
        window.SetRectangle({.left = 10, .top = 20, .right = 110, .bottom = 220});
        EXPECT_EQ(client.GetArea(window.GetId()), (Area{10, 20, 100, 200}));
        window.Show();
        window.SetSize({.width = 150, .height = 50});
        EXPECT_EQ(client.GetArea(window.GetId()), (Area{10, 170, 150, 50})) << "The lower left corner stays.";
    });
}

TEST(HostWindow, ExtentsAreHeldWithinWhatTheServerKnows) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const XClient client;
        window.SetRectangle({.left = 100000, .top = -100000, .right = 100000, .bottom = -100010});
        EXPECT_EQ(client.GetArea(window.GetId()), (Area{32767, -32768, 1, 1}));
        window.SetRectangle({.left = 0, .top = 32767, .right = 100, .bottom = 32967});
        window.SetSize({.width = 100000, .height = 1});
        EXPECT_EQ(client.GetArea(window.GetId()), (Area{0, 32767, 32767, 1}));
    });
}

TEST(HostWindow, ToFrontRaisesAndTakesTheKeyboardOnlyIfItMay) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        window.Show();
        const XClient client;
        const auto other = client.MakeWindow();
        EXPECT_EQ(client.GetStacking().back(), other);
        const auto focus = client.GetFocus();
        window.ToFront();
        EXPECT_EQ(client.GetStacking().back(), window.GetId());
        EXPECT_EQ(client.GetFocus(), focus) << "A new panel has no right to the keyboard.";
        window.PassthroughCursor(false);
        window.ToFront();
        EXPECT_EQ(client.GetFocus(), window.GetId());
        window.PassthroughCursor(true);
        EXPECT_EQ(client.GetFocus(), static_cast<::Window>(PointerRoot)) << "It gives up what it may not have.";
        client.SetFocus(other);
        window.PassthroughCursor(true);
        window.ToFront();
        EXPECT_EQ(client.GetFocus(), other) << "Another's focus is left alone.";
    });
}

TEST(HostWindow, NoKeyArrivesWithoutTheRightToTheKeyboard) {
    RunOnServer([] {
        ReceivingWindow window;
        window.Receive();
        ASSERT_TRUE(window.Create());
        window.Show();
        const XClient client;
        const auto press = [&window, &client] {
            window.m_received.clear();
            client.PressKey(38, true);
            client.PressKey(38, false);
            window.Update();
            return window.m_received.size();
        };
        // The focus follows the pointer.
        client.MovePointer(150, 100);
        window.Update();
        EXPECT_EQ(press(), 0U) << "A new panel has no such right.";
        window.PassthroughCursor(false);
        EXPECT_EQ(press(), 2U);
        window.PassthroughCursor(true);
        client.SetFocus(window.GetId());
        EXPECT_EQ(press(), 0U) << "It has given the right up.";
    });
}

TEST(HostWindow, PassthroughLetsClicksThrough) {
    RunOnServer([] {
        ReceivingWindow window;
        window.Receive();
        ASSERT_TRUE(window.Create());
        window.Show();
        const XClient client;
        client.MovePointer(150, 100);
        window.Update();
        window.m_received.clear();
        window.PassthroughCursor(true);
        EXPECT_EQ(client.CountShape(window.GetId(), ShapeInput), 0);
        client.PressButton(1, true);
        client.PressButton(1, false);
        window.Update();
        EXPECT_EQ(window.m_received.size(), 0U);
        window.PassthroughCursor(false);
        EXPECT_EQ(client.CountShape(window.GetId(), ShapeInput), 1);
        client.PressButton(1, true);
        window.Update();
        EXPECT_EQ(window.m_received.size(), 1U);
    });
}

void ExpectKey(const WindowEvent& event, Key key, bool pressed) {
    EXPECT_EQ(event.type, WindowEvent::Type::Key);
    EXPECT_STREQ(Device::Keyboard::GetKeyString(event.key), Device::Keyboard::GetKeyString(key));
    EXPECT_EQ(event.pressed, pressed);
}

/// A shown window that receives the keyboard's events, too.
class KeyboardWindow : public ReceivingWindow {
public:
    KeyboardWindow() {
        Receive();
        EXPECT_TRUE(Create());
        PassthroughCursor(false);
        Show();
    }
};

/// Shows a window below the pointer, calls `action`, and returns the events that the window then received.
std::vector<WindowEvent> ReceiveAfter(const std::function<void(const XClient&)>& action) {
    KeyboardWindow window;
    const XClient client;
    client.MovePointer(150, 100);
    window.Update();
    window.m_received.clear();
    action(client);
    window.Update();
    return window.m_received;
}

TEST(HostWindow, KeysArrive) {
    RunOnServer([] {
        const auto events = ReceiveAfter([](const XClient& client) {
            client.PressKey(38, true);
            client.PressKey(38, false);
        });
        ASSERT_EQ(events.size(), 2U);
        ExpectKey(events[0], Key::A, true);
        ExpectKey(events[1], Key::A, false);
    });
}

TEST(HostWindow, AHeldKeyRepeatsWithoutReleases) {
    RunOnServer([] {
        KeyboardWindow window;
        const XClient client;
        XkbSetAutoRepeatRate(client.GetDisplay(), XkbUseCoreKbd, 20, 20);
        client.MovePointer(150, 100);
        window.Update();
        window.m_received.clear();
        client.PressKey(38, true);
        while (window.m_received.size() < 4) { // Up to the test's time limit.
            window.Update();
        }
        client.PressKey(38, false);
        window.Update();
        for (std::size_t index = 0; index < window.m_received.size(); ++index) {
            ExpectKey(window.m_received[index], Key::A, index + 1 < window.m_received.size());
        }
    });
}

TEST(HostWindow, ModifiersAreToldAfterTheEventAndWithoutSides) {
    RunOnServer([] {
        constexpr unsigned int leftShift = 50;
        constexpr unsigned int rightShift = 62;
        const auto events = ReceiveAfter([](const XClient& client) {
            client.PressKey(leftShift, true);
            client.PressKey(rightShift, true);
            client.PressKey(rightShift, false);
            client.PressKey(leftShift, false);
        });
        ASSERT_EQ(events.size(), 4U);
        ExpectKey(events[0], Key::LShift, true);
        ExpectKey(events[1], Key::RShift, true);
        ExpectKey(events[2], Key::RShift, true); // The left one is still held.
        ExpectKey(events[3], Key::LShift, false);
    });
}

TEST(HostWindow, AModifierThatWasHeldBeforeThePointerCameIsKnown) {
    RunOnServer([] {
        KeyboardWindow window;
        const XClient client;
        client.MovePointer(600, 600);
        client.PressKey(50, true);
        client.MovePointer(150, 100);
        client.PressKey(62, true);
        client.PressKey(62, false);
        window.Update();
        ASSERT_GE(window.m_received.size(), 2U);
        ExpectKey(window.m_received.back(), Key::RShift, true);
        client.PressKey(50, false);
    });
}

TEST(HostWindow, EveryModifierArrivesAndCapsLockNeverReadsAsPressed) {
    RunOnServer([] {
        for (const auto key :
             {Key::LControl, Key::RControl, Key::LMenu, Key::RMenu, Key::LWin, Key::RWin, Key::RShift, Key::Capital}) {
            const auto code = static_cast<unsigned int>(Device::Keyboard::VirtualKeyFromKey(key));
            const auto events = ReceiveAfter([code](const XClient& client) {
                client.PressKey(code, true);
                client.PressKey(code, false);
            });
            ASSERT_EQ(events.size(), 2U);
            ExpectKey(events[0], key, key != Key::Capital);
            ExpectKey(events[1], key, false);
        }
    });
}

TEST(HostWindow, ButtonsAndTheWheelArrive) {
    RunOnServer([] {
        const auto events = ReceiveAfter([](const XClient& client) {
            for (unsigned int button = 1; button <= 7; ++button) {
                client.PressButton(button, true);
                client.PressButton(button, false);
            }
        });
        ASSERT_EQ(events.size(), 8U);
        const std::vector<std::pair<int, bool>> buttons = {{1, true}, {1, false}, {3, true}, {3, false}};
        for (std::size_t index = 0; index < buttons.size(); ++index) {
            EXPECT_EQ(events[index].type, WindowEvent::Type::MouseButton);
            EXPECT_EQ(events[index].button, buttons[index].first);
            EXPECT_EQ(events[index].pressed, buttons[index].second);
        }
        const std::vector<float> distances = {1, -1, 0, 0};
        for (std::size_t index = 0; index < distances.size(); ++index) {
            EXPECT_EQ(events[index + 4].type, WindowEvent::Type::Scroll);
            EXPECT_TRUE(events[index + 4].pressed);
            EXPECT_EQ(events[index + 4].delta, distances[index]);
        }
    });
}

TEST(HostWindow, AMoveTellsWhereThePointerIsByThen) {
    RunOnServer([] {
        const auto events = ReceiveAfter([](const XClient& client) {
            client.MovePointer(160, 110);
            client.PressButton(1, true);
            client.MovePointer(170, 120);
            client.PressButton(1, false);
        });
        ASSERT_EQ(events.size(), 4U);
        for (const std::size_t index : {0U, 2U}) {
            EXPECT_EQ(events[index].type, WindowEvent::Type::MouseMove);
            EXPECT_TRUE(events[index].pressed);
            EXPECT_EQ(events[index].x, 170);
            EXPECT_EQ(events[index].y, 120);
        }
    });
}

TEST(HostWindow, AMoveTellsTheButtonsThatAreHeld) {
    RunOnServer([] {
        for (const unsigned int button : {1U, 2U, 3U}) {
            const auto events = ReceiveAfter([button](const XClient& client) {
                client.PressButton(button, true);
                client.MovePointer(170, 120);
                client.PressButton(button, false);
            });
            // The middle button is none of a panel's, and neither is a move with it.
            ASSERT_EQ(events.size(), button == 2 ? 0U : 3U) << button;
            if (button != 2) {
                EXPECT_EQ(events[1].type, WindowEvent::Type::MouseMove);
                EXPECT_EQ(events[1].x, 170);
            }
        }
    });
}

/// Shows a window below the pointer, calls `action`, and returns the panel events that are pending then.
std::vector<PanelEvent> PumpAfter(const std::function<void(const XClient&)>& action) {
    const KeyboardWindow window;
    const XClient client;
    client.MovePointer(150, 100);
    PumpEvents([](const PanelEvent&) {});
    action(client);
    std::vector<PanelEvent> events;
    PumpEvents([&events](const PanelEvent& event) { events.push_back(event); });
    return events;
}

TEST(HostWindow, PanelEventsHaveTheTypesThatTheyHaveOnMacOS) {
    RunOnServer([] {
        using enum PanelEventType;
        const auto events = PumpAfter([](const XClient& client) {
            client.MovePointer(160, 110);
            for (const unsigned int button : {1U, 2U, 3U, 8U}) {
                client.PressButton(button, true);
                client.MovePointer(170 + static_cast<int>(button), 120);
                client.PressButton(button, false);
            }
        });
        std::vector<PanelEventType> types;
        std::ranges::transform(events, std::back_inserter(types), &PanelEvent::type);
        EXPECT_THAT(types,
                    ::testing::ElementsAre(MouseMoved, LeftMouseDown, LeftMouseDragged, LeftMouseUp, OtherMouseDown,
                                           OtherMouseDragged, OtherMouseUp, RightMouseDown, RightMouseDragged,
                                           RightMouseUp, OtherMouseDown, MouseMoved, OtherMouseUp));
    });
}

TEST(HostWindow, PanelEventsHaveTheFlagsOfTheHeldModifiersAndNoOthers) {
    RunOnServer([] {
        const auto events = PumpAfter([](const XClient& client) {
            for (const auto key : {Key::LShift, Key::LControl, Key::A}) {
                client.PressKey(static_cast<unsigned int>(Device::Keyboard::VirtualKeyFromKey(key)), true);
            }
            for (const auto key : {Key::LShift, Key::LControl, Key::A}) {
                client.PressKey(static_cast<unsigned int>(Device::Keyboard::VirtualKeyFromKey(key)), false);
            }
        });
        std::vector<std::uint64_t> flags;
        std::ranges::transform(events, std::back_inserter(flags), &PanelEvent::modifierFlags);
        EXPECT_THAT(flags, ::testing::ElementsAre(ShiftFlag, ShiftFlag | ControlFlag, ShiftFlag | ControlFlag,
                                                  ControlFlag, 0, 0));
    });
}

TEST(HostWindow, EventsThatAreNoInputAreTakenAndIgnored) {
    RunOnServer([] {
        ReceivingWindow window;
        window.Receive();
        ASSERT_TRUE(window.Create());
        const ::Window id = window.GetId();
        window.Show();
        const XClient client;
        client.MovePointer(150, 100);
        window.Update();
        window.m_received.clear();
        XEvent event{};
        event.xclient.type = ClientMessage;
        event.xclient.window = id;
        event.xclient.message_type = client.GetAtom("WM_PROTOCOLS");
        event.xclient.format = 32;
        XSendEvent(client.GetDisplay(), id, False, NoEventMask, &event);
        client.PressButton(1, true);
        window.Update();
        ASSERT_EQ(window.m_received.size(), 1U);
        EXPECT_EQ(window.m_received[0].type, WindowEvent::Type::MouseButton);
    });
}

TEST(HostWindow, WithoutACallbackEventsWait) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        window.Show();
        const XClient client;
        client.MovePointer(150, 100);
        client.PressButton(3, true);
        window.Update();
        window.Receive();
        window.Update();
        ASSERT_EQ(window.m_received.size(), 2U);
        EXPECT_EQ(window.m_received[1].button, 3);
    });
}

TEST(HostWindow, AnUpdateIsFalseEvenIfItDeliversEvents) {
    RunOnServer([] {
        ReceivingWindow window;
        window.Receive();
        ASSERT_TRUE(window.Create());
        window.Show();
        const XClient client;
        client.MovePointer(110, 60);
        EXPECT_FALSE(WindowUpdatePlatformNative(&window, Window::State::Visible));
        EXPECT_EQ(window.m_received.size(), 1U);
        EXPECT_FALSE(WindowUpdatePlatformNative(&window, Window::State::Hidden));
    });
}

TEST(HostWindow, AHiddenWindowServesTheMainLoopFor8MillisecondsAndReceivesNothing) {
    RunOnServer([] {
        ReceivingWindow window;
        window.Receive();
        ASSERT_TRUE(window.Create());
        const XClient client;
        client.MovePointer(150, 100);
        client.PressButton(1, true);
        const auto start = std::chrono::steady_clock::now();
        window.Update();
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(8));
        EXPECT_EQ(window.m_received.size(), 0U);
    });
}

/// Work of another thread that waits for the main thread to do it.
class QueuedWork {
public:
    QueuedWork() : m_worker([this] { RunOnMainQueue([this] { m_isDone = true; }); }) {
        pollfd queue = {.fd = MainQueue::GetInstance().GetDescriptor(), .events = POLLIN, .revents = 0};
        EXPECT_EQ(poll(&queue, 1, -1), 1);
    }
    ~QueuedWork() {
        MainQueue::GetInstance().Serve();
        m_worker.join();
    }

    bool IsDone() const { return m_isDone; }

private:
    bool m_isDone = false;
    std::thread m_worker;
};

TEST(HostWindow, TheMainLoopDoesQueuedWorkAndThenWaitsForMoreForTheServerAndForItsEnd) {
    RunOnServer([] {
        using Clock = std::chrono::steady_clock;
        static constexpr std::chrono::milliseconds duration(1500);
        const X11::Connection* const x11 = X11::GetConnection();
        ASSERT_NE(x11, nullptr);
        const QueuedWork work;
        int waits = 0;
        s_onWait = [&, end = Clock::now() + duration](std::span<const pollfd> requests, const timespec& timeout) {
            ++waits;
            EXPECT_TRUE(work.IsDone());
            ASSERT_EQ(requests.size(), 2U);
            EXPECT_EQ(requests[0].fd, MainQueue::GetInstance().GetDescriptor());
            EXPECT_EQ(requests[0].events, POLLIN);
            EXPECT_EQ(requests[1].fd, ConnectionNumber(x11->display));
            EXPECT_EQ(requests[1].events, POLLIN);
            const auto wait = std::chrono::seconds(timeout.tv_sec) + std::chrono::nanoseconds(timeout.tv_nsec);
            EXPECT_LT(timeout.tv_nsec, 1000000000);
            EXPECT_LE(wait, duration);
            EXPECT_GE(wait, end - Clock::now());
        };
        RunMainLoop(duration);
        EXPECT_GT(waits, 0);
    });
}

TEST(HostWindow, TheMainLoopWaitsForNoServerWhereThereIsNone) {
    RunOn("", [] {
        int waits = 0;
        s_onWait = [&waits](std::span<const pollfd> requests, const timespec&) {
            ++waits;
            ASSERT_EQ(requests.size(), 2U);
            EXPECT_EQ(requests[0].fd, MainQueue::GetInstance().GetDescriptor());
            EXPECT_EQ(requests[1].fd, -1);
        };
        RunMainLoop(std::chrono::milliseconds(500));
        EXPECT_GT(waits, 0);
    });
}

TEST(HostWindow, QueuedWorkIsDoneByAPumpAndAtTheEndOfTheMainLoop) {
    RunOn("", [] {
        {
            const QueuedWork work;
            PumpEvents([](const PanelEvent&) {});
            EXPECT_TRUE(work.IsDone());
        }
        const QueuedWork work;
        RunMainLoop(std::chrono::milliseconds(0)); // Its end is there at once.
        EXPECT_TRUE(work.IsDone());
    });
}

TEST(HostWindow, WorkThatTakesAllTheTimeOfTheMainLoopIsNotFollowedByAWait) {
    RunOn("", [] {
        using Clock = std::chrono::steady_clock;
        static constexpr std::chrono::milliseconds duration(1000);
        Clock::time_point workEnd;
        std::thread worker([&workEnd] {
            RunOnMainQueue([&workEnd] {
                std::this_thread::sleep_for(duration);
                workEnd = Clock::now();
            });
        });
        pollfd queue = {.fd = MainQueue::GetInstance().GetDescriptor(), .events = POLLIN, .revents = 0};
        ASSERT_EQ(poll(&queue, 1, -1), 1);
        RunMainLoop(duration);
        EXPECT_LT(Clock::now() - workEnd, duration / 2);
        worker.join();
    });
}

TEST(HostWindow, AnotherThreadsCallsRunOnTheMainThreadWhileItPumps) {
    RunOnServer([] {
        ReceivingWindow pump({.x = 600, .y = 600});
        pump.Receive();
        ASSERT_TRUE(pump.Create());
        std::atomic<bool> isDone = false;
        std::size_t received = 0;
        std::thread worker([&isDone, &received] {
            ReceivingWindow window;
            EXPECT_TRUE(window.Create());
            const XClient client;
            EXPECT_EQ(client.GetArea(window.GetId()), (Area{100, 50, 300, 200}));
            window.Show();
            EXPECT_EQ(client.GetOpacity(window.GetId()), 0xFFFFFFFFU) << "Held until done.";
            window.SetPosition({.x = 5, .y = 6});
            EXPECT_EQ(client.GetArea(window.GetId()), (Area{5, 6, 300, 200}));
            window.Receive();
            client.MovePointer(10, 10);
            window.Update();
            received = window.m_received.size();
            window.Destroy();
            EXPECT_FALSE(client.Exists(window.GetId()));
            isDone = true;
        });
        while (!isDone) {
            pump.Update(); // Hidden and visible windows both serve the queue.
            if (pump.GetState() == Window::State::Hidden) {
                pump.Show();
            }
        }
        pump.Hide();
        // The worker's window is destroyed again by its destructor.
        std::atomic<bool> isJoined = false;
        std::thread joiner([&worker, &isJoined] {
            worker.join();
            isJoined = true;
        });
        while (!isJoined) {
            pump.Update();
        }
        joiner.join();
        // Events belong to the process: the window that pumps first receives them.
        EXPECT_EQ(received + pump.m_received.size(), 1U);
    });
}

TEST(HostWindow, DestroyingTwiceAndUsingADestroyedPanelIsHarmless) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const XClient client;
        EXPECT_TRUE(client.Exists(window.GetId()));
        window.Destroy();
        EXPECT_FALSE(client.Exists(window.GetId()));
        window.Destroy();
        window.Show();
        window.SetSize({.width = 1, .height = 1});
        window.ToFront();
        window.Hide();
    });
}

/// Shows and hides a window, and expects the screen's pixels to follow.
void ShowAndHide() {
    ReceivingWindow window;
    ASSERT_TRUE(window.Create());
    const XClient client;
    const auto below = client.GetPixel(150, 100);
    constexpr unsigned long colour = 0xFFFFFFFF; // White in any depth.
    client.Paint(window.GetId(), colour);
    EXPECT_EQ(client.GetPixel(150, 100), below) << "A new panel is hidden.";
    window.Show();
    client.Paint(window.GetId(), colour);
    EXPECT_NE(client.GetPixel(150, 100), below);
    window.Hide();
    EXPECT_EQ(client.GetPixel(150, 100), below);
    window.Show();
    EXPECT_NE(client.GetPixel(150, 100), below);
}

TEST(HostWindow, ADestroyedPanelLeavesNoColourMap) {
    const Tests::XServer server;
    const auto text = RunOn(server.GetDisplayName(), [] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const XClient client;
        const Colormap colormap = client.GetAttributes(window.GetId()).colormap;
        client.AskForColor(colormap);
        std::fputs("Destroyed.\n", stderr);
        window.Destroy();
        client.AskForColor(colormap);
    });
    EXPECT_EQ(text, "Destroyed.\nException: BadColor (invalid Colormap parameter)\n");
}

/// The connection with its functions, for tests to replace some.
X11::Connection& GetFunctions() {
    return *X11::GetConnection();
}

TEST(HostWindow, APanelThatCanNotBeFinishedIsDestroyedWithAllItsParts) {
    const Tests::XServer server;
    const auto text = RunOn(server.GetDisplayName(), [] {
        const XClient client;
        const auto windows = client.GetStacking();
        ASSERT_NE(X11::GetConnection(), nullptr);
        static auto s_createColormap = GetFunctions().XCreateColormap;
        static Colormap s_colormap = 0;
        GetFunctions().XCreateColormap = [](Display* display, ::Window root, Visual* visual, int allocation) {
            s_colormap = s_createColormap(display, root, visual, allocation);
            return s_colormap;
        };
        static auto s_mapWindow = GetFunctions().XMapWindow;
        GetFunctions().XMapWindow = [](Display* display, ::Window) { return s_mapWindow(display, 1); };
        ReceivingWindow window;
        EXPECT_FALSE(window.Create());
        EXPECT_EQ(window.GetState(), Window::State::Closed);
        EXPECT_EQ(client.GetStacking(), windows);
        client.AskForColor(s_colormap);
        GetFunctions().XMapWindow = s_mapWindow;
        EXPECT_TRUE(ReceivingWindow().Create());
    });
    EXPECT_EQ(text, "Exception: BadWindow (invalid Window parameter)\n"
                    "Exception: BadColor (invalid Colormap parameter)\n");
}

/// Creates a window that the server refuses, and then one that it makes.
void CreateRefusedWindow(bool hasShapes) {
    const Tests::XServer server;
    const auto text = RunOn(server.GetDisplayName(), [hasShapes] {
        const XClient client;
        const auto windows = client.GetStacking();
        ASSERT_NE(X11::GetConnection(), nullptr);
        if (!hasShapes) {
            GetFunctions().XFixesQueryExtension = [](Display*, int*, int*) -> Bool { return False; };
        }
        static auto s_destroyWindow = GetFunctions().XDestroyWindow;
        GetFunctions().XDestroyWindow = [](Display*, ::Window) -> int {
            ADD_FAILURE() << "There is none.";
            return 0;
        };
        static auto s_createWindow = GetFunctions().XCreateWindow;
        static Colormap s_colormap = 0;
        GetFunctions().XCreateWindow = [](Display* display, ::Window parent, int x, int y, unsigned int width,
                                          unsigned int height, unsigned int border, int depth, unsigned int,
                                          Visual* visual, unsigned long mask, XSetWindowAttributes* attributes) {
            s_colormap = attributes->colormap;
            return s_createWindow(display, parent, x, y, width, height, border, depth, InputOnly, visual, mask,
                                  attributes);
        };
        ReceivingWindow window;
        EXPECT_FALSE(window.Create());
        EXPECT_EQ(window.GetState(), Window::State::Closed);
        EXPECT_EQ(client.GetStacking(), windows);
        std::fputs("Given up.\n", stderr);
        client.AskForColor(s_colormap);
        GetFunctions().XCreateWindow = s_createWindow;
        GetFunctions().XDestroyWindow = s_destroyWindow;
        EXPECT_TRUE(ReceivingWindow().Create());
    });
    // The window's other requests are refused as well.
    EXPECT_THAT(text, ::testing::StartsWith("Exception: BadMatch (invalid parameter attributes)\n"));
    EXPECT_THAT(text, ::testing::EndsWith("Given up.\nException: BadColor (invalid Colormap parameter)\n"));
}

TEST(HostWindow, APanelWhoseWindowIsRefusedLeavesNoColorMap) {
    CreateRefusedWindow(true);
    CreateRefusedWindow(false);
}

TEST(HostWindow, AnEmptyShapeLeavesNoRegion) {
    RunOnServer([] {
        ASSERT_NE(X11::GetConnection(), nullptr);
        static std::vector<XserverRegion> s_made;
        static std::vector<XserverRegion> s_destroyed;
        static auto s_create = GetFunctions().XFixesCreateRegion;
        GetFunctions().XFixesCreateRegion = [](Display* display, XRectangle* rectangles, int count) {
            s_made.push_back(s_create(display, rectangles, count));
            return s_made.back();
        };
        static auto s_destroy = GetFunctions().XFixesDestroyRegion;
        GetFunctions().XFixesDestroyRegion = [](Display* display, XserverRegion region) {
            s_destroyed.push_back(region);
            s_destroy(display, region);
        };
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        window.PassthroughCursor(true);
        EXPECT_EQ(s_made.size(), 2U);
        EXPECT_EQ(s_destroyed, s_made);
    });
}

TEST(HostWindow, RefusedRequestsOfAnotherThreadLeaveAPanelAlone) {
    const Tests::XServer server;
    const auto text = RunOn(server.GetDisplayName(), [] {
        // Once before other threads: libxcb's table of extensions is not safe while another thread adds one.
        EXPECT_NE(WindowShowCursorPlatformNative(), 0);
        const Tests::RepeatedWork refused([] { EXPECT_NE(WindowShowCursorPlatformNative(), 0); });
        for (int count = 0; count < 100 || refused.GetCount() < 100; ++count) {
            EXPECT_TRUE(ReceivingWindow().Create());
        }
    });
    EXPECT_THAT(text, ::testing::StartsWith("Exception: BadMatch"));
    EXPECT_THAT(text, ::testing::Not(::testing::HasSubstr("BadWindow")));
}

TEST(HostWindow, RefusedRequestsOfAnotherThreadLeaveTheCursorAlone) {
    const Tests::XServer server;
    const auto text = RunOn(server.GetDisplayName(), [] {
        const Tests::RepeatedWork refused(Tests::MakeRefusedRequest);
        for (int count = 0; count < 100 || refused.GetCount() < 100; ++count) {
            EXPECT_EQ(WindowHideCursorPlatformNative(), 0);
            EXPECT_EQ(WindowShowCursorPlatformNative(), 0);
        }
    });
    EXPECT_THAT(text, ::testing::StartsWith("Exception: BadWindow"));
    EXPECT_THAT(text, ::testing::Not(::testing::HasSubstr("BadMatch")));
}

TEST(HostWindow, TheCursorIsHiddenAndShownAgain) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        EXPECT_EQ(WindowHideCursorPlatformNative(), 0);
        EXPECT_EQ(WindowShowCursorPlatformNative(), 0);
        window.ExcludeFromCapture(true);
    });
}

TEST(HostWindow, ARefusedRequestIsPrintedAndGivesTheError) {
    const Tests::XServer server;
    // A cursor that was never hidden can't be shown.
    const auto text = RunOn(server.GetDisplayName(), [] { EXPECT_NE(WindowShowCursorPlatformNative(), 0); });
    EXPECT_THAT(text, ::testing::StartsWith("Exception: BadMatch"));
}

TEST(HostWindow, ALossBeforeTheCursorIsHiddenGivesTheError) {
    Tests::XServer server;
    const auto text = RunOn(server.GetDisplayName(), [&server] {
        ASSERT_EQ(WindowHideCursorPlatformNative(), 0); // Its functions are loaded then.
        static Tests::XServer& s_server = server;
        static auto s_hideCursor = GetFunctions().xcb_xfixes_hide_cursor_checked;
        GetFunctions().xcb_xfixes_hide_cursor_checked = +[](xcb_connection_t* connection, xcb_window_t window) {
            s_server.Kill();
            return s_hideCursor(connection, window);
        };
        EXPECT_EQ(WindowHideCursorPlatformNative(), X11::generalFailure);
    });
    EXPECT_EQ(text, "Exception: The connection to the X server is lost.\n");
}

TEST(HostWindow, IsOpaqueOnAServerWithoutTransparentWindows) {
    // Its default visual is DirectColor, which OpenGL contexts don't prefer.
    const Tests::XServer server({"-screen", "0", "1024x768x24", "-cc", "5", "-extension", "Composite"});
    const auto text = RunOn(server.GetDisplayName(), [] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const XClient client;
        EXPECT_EQ(client.GetAttributes(window.GetId()).depth, 24);
        EXPECT_EQ(client.GetAttributes(window.GetId()).visual->c_class, TrueColor);
        EXPECT_EQ(client.GetAttributes(window.GetId()).map_state, IsViewable);
        client.MakeWindow();
        window.Show();
        EXPECT_EQ(client.GetPixel(150, 100), 0U);
    });
    EXPECT_EQ(text, "");
}

TEST(HostWindow, IsShownAndHiddenOnEveryServer) {
    for (const std::vector<std::string>& kind : {std::vector<std::string>{"1024x768x8"},
                                                 {"1024x768x16"},
                                                 {"1024x768x16", "-extension", "Composite"},
                                                 {"1024x768x24", "-extension", "Composite"},
                                                 {"1024x768x24", "-extension", "Composite", "-extension", "GLX"},
                                                 {"1024x768x24", "-extension", "SHAPE"},
                                                 {"1024x768x24", "-extension", "RENDER"}}) {
        std::vector<std::string> arguments = {"-screen", "0"};
        arguments.insert(arguments.end(), kind.begin(), kind.end());
        const Tests::XServer server(arguments);
        SCOPED_TRACE(::testing::PrintToString(kind));
        EXPECT_EQ(RunOn(server.GetDisplayName(), ShowAndHide), "");
    }
}

TEST(HostWindow, LeavesTheScreenWhileItIsHiddenWithoutShapes) {
    RunOnServer([] {
        ASSERT_NE(X11::GetConnection(), nullptr);
        GetFunctions().XFixesQueryExtension = [](Display*, int*, int*) -> Bool { return False; };
        GetFunctions().XFixesSetWindowShapeRegion = [](Display*, ::Window, int, int, int, XserverRegion) {
            ADD_FAILURE() << "The server has no shapes.";
        };
        ShowAndHide();
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const XClient client;
        EXPECT_EQ(client.GetAttributes(window.GetId()).map_state, IsUnmapped);
        window.PassthroughCursor(false);
        window.ToFront();
        EXPECT_NE(client.GetFocus(), window.GetId());
        window.Show();
        window.ToFront();
        EXPECT_EQ(client.GetFocus(), window.GetId());
    });
}

TEST(HostWindow, TheCursorStaysWithoutItsLibrary) {
    RunOnServer([] {
        Tests::HideLibrary("libxcb-xfixes.so.0");
        ASSERT_NE(X11::GetConnection(), nullptr);
        EXPECT_EQ(WindowHideCursorPlatformNative(), X11::generalFailure);
        EXPECT_EQ(WindowShowCursorPlatformNative(), X11::generalFailure);
    });
}

TEST(HostWindow, WithoutADisplayNothingIsMadeAndNothingPrinted) {
    const auto text = RunOn("", [] {
        ReceivingWindow window;
        EXPECT_FALSE(window.Create());
        window.Destroy();
        EXPECT_NE(WindowHideCursorPlatformNative(), 0);
        EXPECT_FALSE(WindowActivateAppPlatformNative(getpid()));
    });
    EXPECT_EQ(text, "");
}

TEST(HostWindow, CallsOnNoPanelDoNotLookForAServer) {
    const Tests::XServer server;
    const Tests::XServerProxy proxy(server.GetDisplayName());
    const auto text = RunOn(proxy.GetDisplayName(), [&proxy] {
        WindowShowPlatformNative(nullptr);
        WindowHidePlatformNative(nullptr);
        WindowToFrontPlatformNative(nullptr);
        WindowSetSizePlatformNative(nullptr, 1, 1);
        WindowDestroyPlatformNative(nullptr);
        EXPECT_EQ(proxy.GetByteCount(), 0);
    });
    EXPECT_EQ(text, "");
    EXPECT_EQ(proxy.GetByteCount(), 0);
}

TEST(HostWindow, ALossAtAnyByteOfItsRequestsMakesNoPanelAndDoesNoHarm) {
    const Tests::XServer server;
    const Tests::TemporaryFolder folder;
    const auto create = [&](std::size_t limit) {
        // The proxy is made in the child, since a fork does not copy its thread.
        const auto text = Tests::RunInChild([&] {
            const Tests::XServerProxy proxy(server.GetDisplayName(), limit);
            const Tests::EnvironmentValue display("DISPLAY", proxy.GetDisplayName());
            ReceivingWindow window;
            if (window.Create()) {
                window.Show();
                window.Update();
                window.Destroy();
            }
            ReceivingWindow another;
            EXPECT_EQ(another.Create(), X11::GetConnection() != nullptr);
            folder.Write("size", std::to_string(proxy.GetByteCount()));
        });
        EXPECT_THAT(text, ::testing::AnyOf("", "Exception: The connection to the X server is lost.\n"))
            << "Cut at byte " << limit;
    };
    create(0);
    std::size_t size = 0;
    ASSERT_TRUE(std::ifstream(folder.GetPath() / "size") >> size);
    constexpr std::size_t cutCount = 60;
    for (std::size_t cut = 1; cut <= cutCount; ++cut) {
        create(size * cut / cutCount);
    }
}

TEST(HostWindow, AKilledServerEndsInNeutralResults) {
    Tests::XServer server;
    const auto text = RunOn(server.GetDisplayName(), [&] {
        ReceivingWindow window;
        window.Receive();
        ASSERT_TRUE(window.Create());
        window.Show();
        EXPECT_FALSE(Window::IsServerLost());
        server.Kill();
        window.Update();
        EXPECT_TRUE(Window::IsServerLost());
        window.SetPosition({.x = 1, .y = 1});
        window.ToFront();
        EXPECT_NE(WindowHideCursorPlatformNative(), 0);
        EXPECT_FALSE(WindowActivateAppPlatformNative(getpid()));
        ReceivingWindow another;
        EXPECT_FALSE(another.Create());
        window.Hide();
        window.Update();
        window.Close();
        window.Update();
    });
    EXPECT_EQ(text, "Exception: The connection to the X server is lost.\n");
}

/// Another process with a window on top of all others.
class Stranger {
public:
    Stranger()
        : m_child([this] {
              const XClient client;
              client.MakeWindow();
              const char byte = 0;
              Tests::ThrowIf(write(m_pipe[1], &byte, 1) != 1, "write");
              pause();
              return 0;
          }) {
        char byte = 0;
        Tests::ThrowIf(read(m_pipe[0], &byte, 1) != 1, "read");
    }

    pid_t GetId() const { return m_child.GetId(); }

private:
    static std::array<int, 2> MakePipe() {
        std::array<int, 2> ends{};
        Tests::ThrowIf(pipe(ends.data()) != 0, "pipe");
        return ends;
    }

    std::array<int, 2> m_pipe = MakePipe();
    Tests::Child m_child;
};

TEST(HostWindow, AnApplicationIsActivatedWithoutAWindowManager) {
    RunOnServer([] {
        const XClient client;
        const auto window = client.MakeWindow();
        const Stranger stranger;
        EXPECT_NE(client.GetStacking().back(), window);
        EXPECT_TRUE(WindowActivateAppPlatformNative(getpid()));
        EXPECT_EQ(client.GetStacking().back(), window);
        EXPECT_EQ(client.GetFocus(), window);
        EXPECT_TRUE(WindowActivateAppPlatformNative(stranger.GetId()));
        EXPECT_NE(client.GetStacking().back(), window);
        const Tests::Child windowless([] { return pause(); });
        EXPECT_FALSE(WindowActivateAppPlatformNative(windowless.GetId())) << "It has no window.";
        EXPECT_FALSE(WindowActivateAppPlatformNative(0));
        EXPECT_FALSE(WindowActivateAppPlatformNative(-1));
        EXPECT_FALSE(WindowActivateAppPlatformNative(0x7FFFFFFF)) << "There is no such process.";
    });
}

TEST(HostWindow, AWindowManagerChangesNothingAboutAPanel) {
    const Tests::XServer server;
    const Tests::WindowManager manager(server);
    const auto text = RunOn(server.GetDisplayName(), [] {
        const XClient client;
        client.MakeWindow();
        ReceivingWindow window;
        window.Receive();
        ASSERT_TRUE(window.Create());
        window.Show();
        client.Paint(window.GetId(), 0xFF102030);
        EXPECT_EQ(client.GetArea(window.GetId()), (Area{100, 50, 300, 200}));
        EXPECT_EQ(client.GetPixel(110, 60), 0x102030U);
        client.MovePointer(110, 60);
        client.PressButton(1, true);
        client.PressButton(1, false);
        window.Update();
        EXPECT_EQ(window.m_received.size(), 3U);
        window.PassthroughCursor(false);
        window.ToFront();
        EXPECT_EQ(client.GetFocus(), window.GetId());
        window.Hide();
        EXPECT_NE(client.GetPixel(110, 60), 0x102030U);
    });
    EXPECT_EQ(text, "");
}

TEST(HostWindow, AnApplicationIsActivatedByTheWindowManager) {
    const Tests::XServer server;
    const Tests::WindowManager manager(server);
    const auto text = RunOn(server.GetDisplayName(), [] {
        const XClient client;
        const auto window = client.MakeWindow();
        EXPECT_TRUE(client.WaitUntil([&] { return client.GetFocus() == window; }));
        const Stranger stranger;
        EXPECT_TRUE(WindowActivateAppPlatformNative(stranger.GetId()));
        EXPECT_TRUE(client.WaitUntil([&] { return client.GetFocus() != window; }));
        EXPECT_TRUE(WindowActivateAppPlatformNative(getpid()));
        EXPECT_TRUE(client.WaitUntil([&] { return client.GetFocus() == window; }));
    });
    EXPECT_EQ(text, "");
}

} // namespace

} // namespace Tovra::System::Desktop
