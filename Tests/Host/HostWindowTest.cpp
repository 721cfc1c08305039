// Label: threaded

#include <Support/Child.h>
#include <Support/EnvironmentValue.h>
#include <Support/Folders.h>
#include <Support/HiddenLibrary.h>
#include <Support/InChild.h>
#include <Support/WindowManager.h>
#include <Support/XServer.h>
#include <System/Desktop/Window.h>
#include <System/Desktop/WindowPlatformNative.h>
#include <System/Processes/ActivateAppPlatformNative.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>
#include <vector>

// Behind all others, since Xlib's macros take common words.
// clang-format off
#include <X11/Xlib.h>
#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/extensions/shape.h>
#include <System/X11/X11_Linux.h>
// clang-format on

namespace Tovra::System::Desktop {

namespace {

using Device::Keyboard::Key;

/// Where a window is: x, y, width, height.
using Area = std::vector<int>;

/// Another client of the server, which measures what the window did and plays the person at keyboard and mouse.
class Observer {
public:
    Observer() : m_display(XOpenDisplay(nullptr)) {}
    ~Observer() { XCloseDisplay(m_display); }
    Observer(const Observer&) = delete;
    Observer& operator=(const Observer&) = delete;

    static ::Window GetWindow(const Window& window) { return reinterpret_cast<::Window>(window.GetHandle()); }

    Area GetArea(const Window& window) const {
        XWindowAttributes attributes{};
        XGetWindowAttributes(m_display, GetWindow(window), &attributes);
        return {attributes.x, attributes.y, attributes.width, attributes.height};
    }

    XWindowAttributes GetAttributes(const Window& window) const {
        XWindowAttributes attributes{};
        EXPECT_NE(XGetWindowAttributes(m_display, GetWindow(window), &attributes), 0);
        return attributes;
    }

    /// Whether the window still is one of the root's.
    bool Exists(const Window& window) const {
        const auto windows = GetStacking();
        return std::ranges::find(windows, GetWindow(window)) != windows.end();
    }

    /// The root's windows, lowest first.
    std::vector<::Window> GetStacking() const {
        ::Window root = 0;
        ::Window parent = 0;
        ::Window* children = nullptr;
        unsigned int count = 0;
        XQueryTree(m_display, GetRoot(), &root, &parent, &children, &count);
        std::vector<::Window> result(children, children + count);
        XFree(children);
        return result;
    }

    /// Asks for a colour of a colour map: an error, which is printed, if there is no such map.
    void AskForColor(Colormap colormap) const {
        XColor color{};
        XQueryColor(m_display, colormap, &color);
    }

    /// How many rectangles a shape has: 0 for an empty one.
    int CountShape(const Window& window, int kind) const {
        int count = -1;
        int ordering = 0;
        XRectangle* const rectangles = XShapeGetRectangles(m_display, GetWindow(window), kind, &count, &ordering);
        XFree(rectangles);
        return count;
    }

    unsigned long GetOpacity(const Window& window) const {
        Atom type = 0;
        int format = 0;
        unsigned long count = 0;
        unsigned long rest = 0;
        unsigned char* data = nullptr;
        XGetWindowProperty(m_display, GetWindow(window), XInternAtom(m_display, "_NET_WM_WINDOW_OPACITY", False), 0, 1,
                           False, XA_CARDINAL, &type, &format, &count, &rest, &data);
        // Xlib extends the sign of what has 32 bits.
        const unsigned long opacity = count == 1 ? *reinterpret_cast<unsigned long*>(data) & 0xFFFFFFFF : 1;
        XFree(data);
        return opacity;
    }

    /// The colour on the screen, without alpha.
    unsigned long GetPixel(int x, int y) const {
        XImage* const image = XGetImage(m_display, GetRoot(), x, y, 1, 1, AllPlanes, ZPixmap);
        const unsigned long pixel = XGetPixel(image, 0, 0) & 0xFFFFFF;
        XDestroyImage(image);
        return pixel;
    }

    /// What the window holds, alpha included.
    unsigned long GetContent(const Window& window, int x, int y) const {
        XImage* const image = XGetImage(m_display, GetWindow(window), x, y, 1, 1, AllPlanes, ZPixmap);
        const unsigned long pixel = XGetPixel(image, 0, 0);
        XDestroyImage(image);
        return pixel;
    }

    /// The colours of the whole screen, which are also saved for whoever wants to look at them.
    std::vector<unsigned long> SavePicture(const std::filesystem::path& path) const {
        XWindowAttributes screen{};
        XGetWindowAttributes(m_display, GetRoot(), &screen);
        XImage* const image = XGetImage(m_display, GetRoot(), 0, 0, static_cast<unsigned int>(screen.width),
                                        static_cast<unsigned int>(screen.height), AllPlanes, ZPixmap);
        std::ofstream file(path, std::ios::binary);
        file << "P6\n" << screen.width << ' ' << screen.height << "\n255\n";
        std::vector<unsigned long> pixels;
        for (int y = 0; y < screen.height; ++y) {
            for (int x = 0; x < screen.width; ++x) {
                const auto pixel = pixels.emplace_back(XGetPixel(image, x, y) & 0xFFFFFF);
                file << static_cast<char>(pixel >> 16) << static_cast<char>(pixel >> 8) << static_cast<char>(pixel);
            }
        }
        XDestroyImage(image);
        return pixels;
    }

    /// Fills the window, as its owner would draw.
    void Paint(const Window& window, unsigned long pixel) const {
        XSetWindowBackground(m_display, GetWindow(window), pixel);
        XClearWindow(m_display, GetWindow(window));
        XSync(m_display, False);
    }

    ::Window GetFocus() const {
        ::Window focus = 0;
        int revert = 0;
        XGetInputFocus(m_display, &focus, &revert);
        return focus;
    }

    /// Makes an ordinary window on top.
    ::Window MakeWindow() const {
        const auto window = XCreateSimpleWindow(m_display, GetRoot(), 0, 0, 200, 200, 0, 0, 0x0000FF);
        XSelectInput(m_display, window, FocusChangeMask | StructureNotifyMask | ExposureMask);
        XMapRaised(m_display, window);
        WaitFor(Expose);
        return window;
    }

    /// Waits for an event of that type; the test's time limit ends it.
    void WaitFor(int type) const {
        for (XEvent event{}; event.type != type;) {
            XNextEvent(m_display, &event);
        }
    }

    void MovePointer(int x, int y) const { Send(XTestFakeMotionEvent(m_display, 0, x, y, CurrentTime)); }
    void PressButton(unsigned int button, bool pressed) const {
        Send(XTestFakeButtonEvent(m_display, button, pressed, CurrentTime));
    }
    void PressKey(unsigned int code, bool pressed) const {
        Send(XTestFakeKeyEvent(m_display, code, pressed, CurrentTime));
    }

    Display* GetDisplay() const { return m_display; }
    ::Window GetRoot() const { return DefaultRootWindow(m_display); }

private:
    void Send(int) const { XSync(m_display, False); }

    Display* m_display;
};

/// A window whose events are kept.
class ReceivingWindow : public Window {
public:
    explicit ReceivingWindow(Math::Coordinate2 position = {.x = 100, .y = 50})
        : Window(nullptr, "Window", position, {.width = 300, .height = 200}, Style{3}) {}

    void Receive() {
        SetEventCallback([this](const WindowEvent& event) {
            m_received.push_back(event);
            return true;
        });
    }

    std::vector<WindowEvent> m_received;
};

/// Runs `body` as a process of its own, whose main thread it has, on that display: a process has one connection for
/// life. Gives what it wrote to the standard error stream, and expects that it ended well.
std::string RunOn(const std::string& displayName, const std::function<void()>& body) {
    const Tests::EnvironmentValue display("DISPLAY", displayName);
    return Tests::RunInChild(body);
}

/// The same on a server of its own, and expects that nothing was written.
void RunOnServer(const std::function<void()>& body) {
    const Tests::XServer server;
    EXPECT_EQ(RunOn(server.GetDisplayName(), body), "");
}

TEST(HostWindow, ACreatedWindowIsMappedButCanNotBeSeen) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const Observer observer;
        const auto attributes = observer.GetAttributes(window);
        EXPECT_EQ(observer.GetArea(window), (Area{100, 50, 300, 200}));
        EXPECT_EQ(attributes.map_state, IsViewable);
        EXPECT_EQ(attributes.override_redirect, True);
        EXPECT_EQ(attributes.depth, 32);
        EXPECT_EQ(attributes.border_width, 0);
        EXPECT_EQ(observer.GetOpacity(window), 0U);
        EXPECT_EQ(observer.CountShape(window, ShapeBounding), 0);
        EXPECT_NE(observer.GetFocus(), Observer::GetWindow(window));
    });
}

TEST(HostWindow, ShowingAndHidingIsSeenOnTheScreen) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const Observer observer;
        const auto below = observer.GetPixel(150, 100);
        window.Show();
        observer.Paint(window, 0xFFFF8000);
        EXPECT_EQ(observer.GetOpacity(window), 0xFFFFFFFFU);
        EXPECT_EQ(observer.GetPixel(150, 100), 0xFF8000U);
        EXPECT_EQ(observer.GetPixel(100, 50), 0xFF8000U);
        EXPECT_EQ(observer.GetPixel(399, 249), 0xFF8000U);
        EXPECT_EQ(observer.GetPixel(99, 50), below);
        EXPECT_EQ(observer.GetPixel(399, 250), below);
        window.Hide();
        EXPECT_EQ(observer.GetPixel(150, 100), below);
        EXPECT_EQ(observer.GetOpacity(window), 0U);
        EXPECT_EQ(observer.GetAttributes(window).map_state, IsViewable) << "It stays in the order of windows.";
        window.Show();
        EXPECT_EQ(observer.CountShape(window, ShapeBounding), 1);
    });
}

TEST(HostWindow, ShowingRaises) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const Observer observer;
        const auto other = observer.MakeWindow();
        EXPECT_EQ(observer.GetStacking().back(), other);
        window.Show();
        EXPECT_EQ(observer.GetStacking().back(), Observer::GetWindow(window));
        XRaiseWindow(observer.GetDisplay(), other);
        XSync(observer.GetDisplay(), False);
        window.Hide();
        EXPECT_EQ(observer.GetStacking().back(), other) << "Hiding leaves the order alone.";
    });
}

TEST(HostWindow, IsClearUntilItIsDrawnOn) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const Observer observer;
        observer.MakeWindow(); // Blue, and partly below the panel then.
        window.Show();
        EXPECT_EQ(observer.GetContent(window, 10, 10), 0U);
        EXPECT_EQ(observer.GetContent(window, 250, 180), 0U);
    });
}

TEST(HostWindow, APictureOfTheScreenShowsTheWindowAndNothingElse) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        window.Show();
        const Observer observer;
        observer.Paint(window, 0xFF30A060);
        const auto pixels = observer.SavePicture(Tovra::Tests::GetBinaryFolder() / "WindowTest.ppm");
        EXPECT_EQ(std::ranges::count(pixels, 0x30A060U), 300 * 200);
        EXPECT_EQ(std::ranges::count(pixels, 0U), 1024 * 768 - 300 * 200);
    });
}

TEST(HostWindow, PositionSizeAndRectangleAreFollowed) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const Observer observer;
        window.SetPosition({.x = -20, .y = 30});
        EXPECT_EQ(observer.GetArea(window), (Area{-20, 30, 300, 200}));
        window.SetRectangle({.left = 10, .top = 20, .right = 110, .bottom = 220});
        EXPECT_EQ(observer.GetArea(window), (Area{10, 20, 100, 200}));
        window.Show();
        window.SetSize({.width = 150, .height = 50});
        EXPECT_EQ(observer.GetArea(window), (Area{10, 170, 150, 50})) << "The lower left corner stays.";
    });
}

TEST(HostWindow, ExtentsAreHeldWithinWhatTheServerKnows) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const Observer observer;
        window.SetRectangle({.left = 100000, .top = -100000, .right = 100000, .bottom = -100010});
        EXPECT_EQ(observer.GetArea(window), (Area{32767, -32768, 1, 1}));
        window.SetRectangle({.left = 0, .top = 32767, .right = 100, .bottom = 32967});
        window.SetSize({.width = 100000, .height = 1});
        EXPECT_EQ(observer.GetArea(window), (Area{0, 32767, 32767, 1}));
    });
}

TEST(HostWindow, ToFrontRaisesAndTakesTheKeyboardOnlyIfItMay) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        window.Show();
        const Observer observer;
        const auto other = observer.MakeWindow();
        EXPECT_EQ(observer.GetStacking().back(), other);
        const auto focus = observer.GetFocus();
        window.ToFront();
        EXPECT_EQ(observer.GetStacking().back(), Observer::GetWindow(window));
        EXPECT_EQ(observer.GetFocus(), focus) << "A new panel has no right to the keyboard.";
        window.PassthroughCursor(false);
        window.ToFront();
        EXPECT_EQ(observer.GetFocus(), Observer::GetWindow(window));
        window.PassthroughCursor(true);
        EXPECT_EQ(observer.GetFocus(), static_cast<::Window>(PointerRoot)) << "It gives up what it may not have.";
        XSetInputFocus(observer.GetDisplay(), other, RevertToPointerRoot, CurrentTime);
        XSync(observer.GetDisplay(), False);
        window.PassthroughCursor(true);
        window.ToFront();
        EXPECT_EQ(observer.GetFocus(), other) << "Another's focus is left alone.";
    });
}

TEST(HostWindow, NoKeyArrivesWithoutTheRightToTheKeyboard) {
    RunOnServer([] {
        ReceivingWindow window;
        window.Receive();
        ASSERT_TRUE(window.Create());
        window.Show();
        const Observer observer;
        const auto press = [&window, &observer] {
            window.m_received.clear();
            observer.PressKey(38, true);
            observer.PressKey(38, false);
            window.Update();
            return window.m_received.size();
        };
        // The focus is the pointer's.
        observer.MovePointer(150, 100);
        window.Update();
        EXPECT_EQ(press(), 0U) << "A new panel has no such right.";
        window.PassthroughCursor(false);
        EXPECT_EQ(press(), 2U);
        window.PassthroughCursor(true);
        XSetInputFocus(observer.GetDisplay(), Observer::GetWindow(window), RevertToPointerRoot, CurrentTime);
        XSync(observer.GetDisplay(), False);
        EXPECT_EQ(press(), 0U) << "It has given the right up.";
    });
}

TEST(HostWindow, PassthroughLetsClicksThrough) {
    RunOnServer([] {
        ReceivingWindow window;
        window.Receive();
        ASSERT_TRUE(window.Create());
        window.Show();
        const Observer observer;
        observer.MovePointer(150, 100);
        window.Update();
        window.m_received.clear();
        window.PassthroughCursor(true);
        EXPECT_EQ(observer.CountShape(window, ShapeInput), 0);
        observer.PressButton(1, true);
        observer.PressButton(1, false);
        window.Update();
        EXPECT_EQ(window.m_received.size(), 0U);
        window.PassthroughCursor(false);
        EXPECT_EQ(observer.CountShape(window, ShapeInput), 1);
        observer.PressButton(1, true);
        window.Update();
        EXPECT_EQ(window.m_received.size(), 1U);
    });
}

void ExpectKey(const WindowEvent& event, Key key, bool pressed) {
    EXPECT_EQ(event.type, WindowEvent::Type::Key);
    EXPECT_STREQ(Device::Keyboard::GetKeyString(event.key), Device::Keyboard::GetKeyString(key));
    EXPECT_EQ(event.pressed, pressed);
}

/// Shows a window below the pointer, does something to it, and gives what it then received.
std::vector<WindowEvent> ReceiveAfter(const std::function<void(const Observer&)>& action) {
    ReceivingWindow window;
    window.Receive();
    EXPECT_TRUE(window.Create());
    window.PassthroughCursor(false);
    window.Show();
    const Observer observer;
    observer.MovePointer(150, 100);
    window.Update();
    window.m_received.clear();
    action(observer);
    window.Update();
    return window.m_received;
}

TEST(HostWindow, KeysArrive) {
    RunOnServer([] {
        const auto events = ReceiveAfter([](const Observer& observer) {
            observer.PressKey(38, true);
            observer.PressKey(38, false);
        });
        ASSERT_EQ(events.size(), 2U);
        ExpectKey(events[0], Key::A, true);
        ExpectKey(events[1], Key::A, false);
    });
}

TEST(HostWindow, AHeldKeyRepeatsWithoutReleases) {
    RunOnServer([] {
        ReceivingWindow window;
        window.Receive();
        ASSERT_TRUE(window.Create());
        window.PassthroughCursor(false);
        window.Show();
        const Observer observer;
        XkbSetAutoRepeatRate(observer.GetDisplay(), XkbUseCoreKbd, 20, 20);
        observer.MovePointer(150, 100);
        window.Update();
        window.m_received.clear();
        observer.PressKey(38, true);
        while (window.m_received.size() < 4) { // The time limit of the test ends it.
            window.Update();
        }
        observer.PressKey(38, false);
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
        const auto events = ReceiveAfter([](const Observer& observer) {
            observer.PressKey(leftShift, true);
            observer.PressKey(rightShift, true);
            observer.PressKey(rightShift, false);
            observer.PressKey(leftShift, false);
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
        ReceivingWindow window;
        window.Receive();
        ASSERT_TRUE(window.Create());
        window.PassthroughCursor(false);
        window.Show();
        const Observer observer;
        observer.MovePointer(600, 600);
        observer.PressKey(50, true);
        observer.MovePointer(150, 100);
        observer.PressKey(62, true);
        observer.PressKey(62, false);
        window.Update();
        ASSERT_GE(window.m_received.size(), 2U);
        ExpectKey(window.m_received.back(), Key::RShift, true);
        observer.PressKey(50, false);
    });
}

TEST(HostWindow, EveryModifierArrivesAndCapsLockNeverReadsAsPressed) {
    RunOnServer([] {
        for (const auto key :
             {Key::LControl, Key::RControl, Key::LMenu, Key::RMenu, Key::LWin, Key::RWin, Key::RShift, Key::Capital}) {
            const auto code = static_cast<unsigned int>(Device::Keyboard::VirtualKeyFromKey(key));
            const auto events = ReceiveAfter([code](const Observer& observer) {
                observer.PressKey(code, true);
                observer.PressKey(code, false);
            });
            ASSERT_EQ(events.size(), 2U);
            ExpectKey(events[0], key, key != Key::Capital);
            ExpectKey(events[1], key, false);
        }
    });
}

TEST(HostWindow, ButtonsAndTheWheelArrive) {
    RunOnServer([] {
        const auto events = ReceiveAfter([](const Observer& observer) {
            for (unsigned int button = 1; button <= 7; ++button) {
                observer.PressButton(button, true);
                observer.PressButton(button, false);
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
        const auto events = ReceiveAfter([](const Observer& observer) {
            observer.MovePointer(160, 110);
            observer.PressButton(1, true);
            observer.MovePointer(170, 120);
            observer.PressButton(1, false);
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

TEST(HostWindow, WithoutACallbackEventsWait) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        window.Show();
        const Observer observer;
        observer.MovePointer(150, 100);
        observer.PressButton(3, true);
        window.Update();
        window.Receive();
        window.Update();
        ASSERT_EQ(window.m_received.size(), 2U);
        EXPECT_EQ(window.m_received[1].button, 3);
    });
}

TEST(HostWindow, AHiddenWindowServesTheMainLoopFor8MillisecondsAndReceivesNothing) {
    RunOnServer([] {
        ReceivingWindow window;
        window.Receive();
        ASSERT_TRUE(window.Create());
        const Observer observer;
        observer.MovePointer(150, 100);
        observer.PressButton(1, true);
        const auto start = std::chrono::steady_clock::now();
        window.Update();
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(8));
        EXPECT_EQ(window.m_received.size(), 0U);
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
            const Observer observer;
            EXPECT_EQ(observer.GetArea(window), (Area{100, 50, 300, 200}));
            window.Show();
            EXPECT_EQ(observer.GetOpacity(window), 0xFFFFFFFFU) << "Held until done.";
            window.SetPosition({.x = 5, .y = 6});
            EXPECT_EQ(observer.GetArea(window), (Area{5, 6, 300, 200}));
            window.Receive();
            observer.MovePointer(10, 10);
            window.Update();
            received = window.m_received.size();
            window.Destroy();
            EXPECT_FALSE(observer.Exists(window));
            isDone = true;
        });
        while (!isDone) {
            pump.Update(); // Hidden, later visible: both serve the queue.
            if (pump.GetState() == Window::State::Hidden) {
                pump.Show();
            }
        }
        pump.Hide();
        // The worker's window is destroyed once more at its end.
        std::atomic<bool> isJoined = false;
        std::thread joiner([&worker, &isJoined] {
            worker.join();
            isJoined = true;
        });
        while (!isJoined) {
            pump.Update();
        }
        joiner.join();
        // Events are the process's: whichever window pumps first receives them.
        EXPECT_EQ(received + pump.m_received.size(), 1U);
    });
}

TEST(HostWindow, DestroyingTwiceAndUsingADestroyedPanelIsHarmless) {
    RunOnServer([] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const Observer observer;
        EXPECT_TRUE(observer.Exists(window));
        window.Destroy();
        EXPECT_FALSE(observer.Exists(window));
        window.Destroy();
        window.Show();
        window.SetSize({.width = 1, .height = 1});
        window.ToFront();
        window.Hide();
    });
}

/// Shows and hides a window over another one, and looks at the screen each time.
void ShowAndHide() {
    ReceivingWindow window;
    ASSERT_TRUE(window.Create());
    const Observer observer;
    const auto below = observer.GetPixel(150, 100);
    constexpr unsigned long colour = 0xFFFFFFFF; // White in any depth.
    observer.Paint(window, colour);
    EXPECT_EQ(observer.GetPixel(150, 100), below) << "A new panel is hidden.";
    window.Show();
    observer.Paint(window, colour);
    EXPECT_NE(observer.GetPixel(150, 100), below);
    window.Hide();
    EXPECT_EQ(observer.GetPixel(150, 100), below);
    window.Show();
    EXPECT_NE(observer.GetPixel(150, 100), below);
}

TEST(HostWindow, ADestroyedPanelLeavesNoColourMap) {
    const Tests::XServer server;
    const auto text = RunOn(server.GetDisplayName(), [] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const Observer observer;
        const Colormap colormap = observer.GetAttributes(window).colormap;
        observer.AskForColor(colormap);
        std::fputs("Destroyed.\n", stderr);
        window.Destroy();
        observer.AskForColor(colormap);
    });
    EXPECT_EQ(text, "Destroyed.\nException: BadColor (invalid Colormap parameter)\n");
}

/// The functions that the host calls, to be replaced by a test.
X11::Connection& GetFunctions() {
    return *X11::GetConnection();
}

TEST(HostWindow, APanelThatCanNotBeFinishedIsDestroyedWithAllItsParts) {
    const Tests::XServer server;
    const auto text = RunOn(server.GetDisplayName(), [] {
        const Observer observer;
        const auto windows = observer.GetStacking();
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
        EXPECT_EQ(observer.GetStacking(), windows);
        observer.AskForColor(s_colormap);
        GetFunctions().XMapWindow = s_mapWindow;
        EXPECT_TRUE(ReceivingWindow().Create());
    });
    EXPECT_EQ(text, "Exception: BadWindow (invalid Window parameter)\n"
                    "Exception: BadColor (invalid Colormap parameter)\n");
}

TEST(HostWindow, APanelWhoseWindowIsRefusedLeavesNoColorMap) {
    const Tests::XServer server;
    const auto text = RunOn(server.GetDisplayName(), [] {
        const Observer observer;
        const auto windows = observer.GetStacking();
        ASSERT_NE(X11::GetConnection(), nullptr);
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
        EXPECT_EQ(observer.GetStacking(), windows);
        std::fputs("Given up.\n", stderr);
        observer.AskForColor(s_colormap);
        GetFunctions().XCreateWindow = s_createWindow;
        EXPECT_TRUE(ReceivingWindow().Create());
    });
    // The window's other requests are refused as well.
    EXPECT_THAT(text, ::testing::StartsWith("Exception: BadMatch (invalid parameter attributes)\n"));
    EXPECT_THAT(text, ::testing::EndsWith("Given up.\nException: BadColor (invalid Colormap parameter)\n"));
}

TEST(HostWindow, RefusedRequestsOfAnotherThreadLeaveAPanelAlone) {
    const Tests::XServer server;
    const auto text = RunOn(server.GetDisplayName(), [] {
        // Alone at first: libxcb's table of extensions is not safe while another thread (the OpenGL driver's) adds one.
        EXPECT_NE(WindowShowCursorPlatformNative(), 0);
        std::atomic<bool> isOver = false;
        std::atomic<int> refusals = 0;
        std::thread refused([&isOver, &refusals] {
            for (; !isOver; ++refusals) {
                EXPECT_NE(WindowShowCursorPlatformNative(), 0);
            }
        });
        for (int count = 0; count < 100 || refusals < 100; ++count) {
            EXPECT_TRUE(ReceivingWindow().Create());
        }
        isOver = true;
        refused.join();
    });
    EXPECT_THAT(text, ::testing::StartsWith("Exception: BadMatch"));
    EXPECT_THAT(text, ::testing::Not(::testing::HasSubstr("BadWindow")));
}

TEST(HostWindow, RefusedRequestsOfAnotherThreadLeaveTheCursorAlone) {
    const Tests::XServer server;
    const auto text = RunOn(server.GetDisplayName(), [] {
        std::atomic<bool> isOver = false;
        std::atomic<int> refusals = 0;
        std::thread refused([&isOver, &refusals] {
            X11::Connection* const x11 = X11::GetConnection();
            for (; !isOver; ++refusals) {
                x11->XDestroyWindow(x11->display, 1);
                x11->Sync();
            }
        });
        for (int count = 0; count < 100 || refusals < 100; ++count) {
            EXPECT_EQ(WindowHideCursorPlatformNative(), 0);
            EXPECT_EQ(WindowShowCursorPlatformNative(), 0);
        }
        isOver = true;
        refused.join();
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

TEST(HostWindow, IsOpaqueOnAServerWithoutTransparentWindows) {
    // Its own visual has direct colours, and is not what contexts are best made with.
    const Tests::XServer server({"-screen", "0", "1024x768x24", "-cc", "5", "-extension", "Composite"});
    const auto text = RunOn(server.GetDisplayName(), [] {
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const Observer observer;
        EXPECT_EQ(observer.GetAttributes(window).depth, 24);
        EXPECT_EQ(observer.GetAttributes(window).visual->c_class, TrueColor);
        EXPECT_EQ(observer.GetAttributes(window).map_state, IsViewable);
        observer.MakeWindow();
        window.Show();
        EXPECT_EQ(observer.GetPixel(150, 100), 0U);
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
        ShowAndHide();
        ReceivingWindow window;
        ASSERT_TRUE(window.Create());
        const Observer observer;
        EXPECT_EQ(observer.GetAttributes(window).map_state, IsUnmapped);
        window.PassthroughCursor(false);
        window.ToFront();
        EXPECT_NE(observer.GetFocus(), Observer::GetWindow(window));
        window.Show();
        window.ToFront();
        EXPECT_EQ(observer.GetFocus(), Observer::GetWindow(window));
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

TEST(HostWindow, AKilledServerEndsInNeutralResults) {
    Tests::XServer server;
    std::array<int, 2> created{};
    std::array<int, 2> killed{};
    ASSERT_EQ(pipe(created.data()), 0);
    ASSERT_EQ(pipe(killed.data()), 0);
    std::thread killer([&] {
        char byte = 0;
        EXPECT_EQ(read(created[0], &byte, 1), 1);
        server.Kill();
        EXPECT_EQ(write(killed[1], &byte, 1), 1);
    });
    const auto text = RunOn(server.GetDisplayName(), [&] {
        ReceivingWindow window;
        window.Receive();
        ASSERT_TRUE(window.Create());
        window.Show();
        char byte = 1;
        ASSERT_EQ(write(created[1], &byte, 1), 1);
        ASSERT_EQ(read(killed[0], &byte, 1), 1);
        window.Update();
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
    killer.join();
    EXPECT_EQ(text, "Exception: The connection to the X server is lost.\n");
}

/// Another process, with a window on top of all others.
class Stranger {
public:
    Stranger()
        : m_child([this] {
              const Observer observer;
              observer.MakeWindow();
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
        const Observer observer;
        const auto window = observer.MakeWindow();
        const Stranger stranger;
        EXPECT_NE(observer.GetStacking().back(), window);
        EXPECT_TRUE(WindowActivateAppPlatformNative(getpid()));
        EXPECT_EQ(observer.GetStacking().back(), window);
        EXPECT_EQ(observer.GetFocus(), window);
        EXPECT_TRUE(WindowActivateAppPlatformNative(stranger.GetId()));
        EXPECT_NE(observer.GetStacking().back(), window);
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
        const Observer observer;
        observer.MakeWindow();
        ReceivingWindow window;
        window.Receive();
        ASSERT_TRUE(window.Create());
        window.Show();
        observer.Paint(window, 0xFF102030);
        EXPECT_EQ(observer.GetArea(window), (Area{100, 50, 300, 200}));
        EXPECT_EQ(observer.GetPixel(110, 60), 0x102030U);
        observer.MovePointer(110, 60);
        observer.PressButton(1, true);
        observer.PressButton(1, false);
        window.Update();
        EXPECT_EQ(window.m_received.size(), 3U);
        window.PassthroughCursor(false);
        window.ToFront();
        EXPECT_EQ(observer.GetFocus(), Observer::GetWindow(window));
        window.Hide();
        EXPECT_NE(observer.GetPixel(110, 60), 0x102030U);
    });
    EXPECT_EQ(text, "");
}

TEST(HostWindow, AnApplicationIsActivatedByTheWindowManager) {
    const Tests::XServer server;
    const Tests::WindowManager manager(server);
    const auto text = RunOn(server.GetDisplayName(), [] {
        const Observer observer;
        const auto window = observer.MakeWindow();
        while (observer.GetFocus() != window) {
            observer.WaitFor(FocusIn);
        }
        const Stranger stranger;
        EXPECT_TRUE(WindowActivateAppPlatformNative(stranger.GetId()));
        while (observer.GetFocus() == window) {
            observer.WaitFor(FocusOut);
        }
        EXPECT_TRUE(WindowActivateAppPlatformNative(getpid()));
        while (observer.GetFocus() != window) {
            observer.WaitFor(FocusIn);
        }
    });
    EXPECT_EQ(text, "");
}

} // namespace

} // namespace Tovra::System::Desktop
