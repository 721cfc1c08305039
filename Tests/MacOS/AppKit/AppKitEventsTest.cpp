#include "Desktop.h"

#include <System/Desktop/PanelEvent.h>
#include <System/Desktop/Window.h>

#include <MacOS/Doubles/CoreGraphics.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <format>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// After all others, since Xlib defines common words as macros.
// clang-format off
#include <Support/XClient.h>
// clang-format on

namespace Tovra::Tests::AppKit {

namespace {

using namespace System::Desktop;
using System::Device::Keyboard::Key;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tests::XClient;

/// All of an event, to be compared.
std::string ToText(const WindowEvent& event) {
    return std::format("type {} key {} pressed {} button {} at {}, {} reserved {} {} delta {}",
                       static_cast<int>(event.type), static_cast<int>(event.key), event.pressed, event.button, event.x,
                       event.y, event.reserved[0], event.reserved[1], event.delta);
}

/// A created window that keeps its events.
class ReceivingWindow : public System::Desktop::Window {
public:
    ReceivingWindow()
        : System::Desktop::Window(nullptr, "Window", {.x = 100, .y = 50}, {.width = 300, .height = 200}, Style{3}) {
        EXPECT_TRUE(Create());
        DiscardEvents();
    }

    void Receive() {
        SetEventCallback([this](const WindowEvent& event) {
            m_received.push_back(ToText(event));
            return false;
        });
    }

    /// One turn of the event loop; returns the events received.
    std::vector<std::string> Turn() {
        Update();
        return std::exchange(m_received, {});
    }

private:
    std::vector<std::string> m_received;
};

/// Runs `body` with a window that is shown and receives events.
void RunWithWindow(const std::function<void(ReceivingWindow& window)>& body) {
    RunOnDesktop([&body] {
        ReceivingWindow window;
        window.Receive();
        window.Show();
        body(window);
    });
}

/// What a window receives of an event.
std::vector<std::string> Deliver(PanelEventType type, ReceivingWindow& window) {
    PostEvent(static_cast<std::uint8_t>(type));
    return window.Turn();
}

std::vector<std::string> DeliverKey(PanelEventType type, std::uint16_t keyCode, std::uint64_t modifierFlags,
                                    ReceivingWindow& window) {
    PostKeyEvent(static_cast<std::uint8_t>(type), keyCode, modifierFlags);
    return window.Turn();
}

TEST(AppKitEvents, OfButtonsAreReceived) {
    RunWithWindow([](ReceivingWindow& window) {
        using enum PanelEventType;
        const auto button = [](std::uint8_t number, bool pressed) {
            return ToText({.type = WindowEvent::Type::MouseButton, .pressed = pressed, .button = number});
        };
        EXPECT_THAT(Deliver(LeftMouseDown, window), ElementsAre(button(1, true)));
        EXPECT_THAT(Deliver(LeftMouseUp, window), ElementsAre(button(1, false)));
        EXPECT_THAT(Deliver(RightMouseDown, window), ElementsAre(button(3, true)));
        EXPECT_THAT(Deliver(RightMouseUp, window), ElementsAre(button(3, false)));
        EXPECT_THAT(Deliver(OtherMouseDown, window), IsEmpty());
        EXPECT_THAT(Deliver(OtherMouseUp, window), IsEmpty());
        EXPECT_THAT(Deliver(OtherMouseDragged, window), IsEmpty());
    });
}

TEST(AppKitEvents, OfMovesBearThePointersPlaceNow) {
    RunWithWindow([](ReceivingWindow& window) {
        using enum PanelEventType;
        Doubles::events.pointer = {.x = 12.75, .y = -3.5};
        for (const PanelEventType type : {MouseMoved, LeftMouseDragged, RightMouseDragged}) {
            EXPECT_THAT(Deliver(type, window),
                        ElementsAre(ToText({.type = WindowEvent::Type::MouseMove, .pressed = true, .x = 12, .y = -3})));
        }
        EXPECT_THAT(Doubles::GetLeaks(), IsEmpty());
    });
}

TEST(AppKitEvents, OfKeysAreReceived) {
    RunWithWindow([](ReceivingWindow& window) {
        EXPECT_THAT(DeliverKey(PanelEventType::KeyDown, 0, 0, window),
                    ElementsAre(ToText({.type = WindowEvent::Type::Key, .key = Key::A, .pressed = true})));
        EXPECT_THAT(DeliverKey(PanelEventType::KeyUp, 0, 0, window),
                    ElementsAre(ToText({.type = WindowEvent::Type::Key, .key = Key::A, .pressed = false})));
    });
}

TEST(AppKitEvents, OfModifiersReadTheirOwnFlag) {
    struct Modifier {
        std::uint16_t keyCode;
        Key key;
        std::uint64_t flag;
    };
    RunWithWindow([](ReceivingWindow& window) {
        const std::vector<Modifier> modifiers{
            {54, Key::RWin, CommandFlag},     {55, Key::LWin, CommandFlag},     {56, Key::LShift, ShiftFlag},
            {60, Key::RShift, ShiftFlag},     {58, Key::LMenu, OptionFlag},     {61, Key::RMenu, OptionFlag},
            {59, Key::LControl, ControlFlag}, {62, Key::RControl, ControlFlag},
        };
        for (const auto& [keyCode, key, flag] : modifiers) {
            const auto event = [&key](bool pressed) {
                return ToText({.type = WindowEvent::Type::Key, .key = key, .pressed = pressed});
            };
            EXPECT_THAT(DeliverKey(PanelEventType::FlagsChanged, keyCode, flag, window), ElementsAre(event(true)));
            EXPECT_THAT(DeliverKey(PanelEventType::FlagsChanged, keyCode, ~flag & 0xFFFF0000U, window),
                        ElementsAre(event(false)));
        }
    });
}

TEST(AppKitEvents, OfCapsLockAreNeverPressed) {
    RunWithWindow([](ReceivingWindow& window) {
        EXPECT_THAT(DeliverKey(PanelEventType::FlagsChanged, 57, 0xFFFF0000U, window),
                    ElementsAre(ToText({.type = WindowEvent::Type::Key, .key = Key::Capital, .pressed = false})));
    });
}

TEST(AppKitEvents, OfScrollingBearTheVerticalDistance) {
    RunWithWindow([](ReceivingWindow& window) {
        PostScrollEvent(7, -2.5);
        EXPECT_THAT(window.Turn(),
                    ElementsAre(ToText({.type = WindowEvent::Type::Scroll, .pressed = true, .delta = -2.5F})));
    });
}

TEST(AppKitEvents, OfOtherTypesAreNotReceivedButHandled) {
    RunWithWindow([](ReceivingWindow& window) {
        std::vector<std::uint64_t> sent;
        WatchSentEvents([&sent](std::uint64_t type) { sent.push_back(type); });
        for (const int type : {8, 9, 13, 14, 15, 16, 17}) {
            PostEvent(static_cast<std::uint8_t>(type));
        }
        EXPECT_THAT(window.Turn(), IsEmpty());
        EXPECT_THAT(sent, ElementsAre(8, 9, 13, 14, 15, 16, 17));
    });
}

TEST(AppKitEvents, GoToTheWindowAndThenToTheApplicationOneByOne) {
    RunOnDesktop([] {
        ReceivingWindow window;
        window.Show();
        std::vector<std::string> order;
        window.SetEventCallback([&order](const WindowEvent& event) {
            order.push_back("received " + std::to_string(static_cast<int>(event.type)));
            return true;
        });
        WatchSentEvents([&order](std::uint64_t type) { order.push_back("sent " + std::to_string(type)); });
        PostEvent(1);
        PostScrollEvent(0, 1);
        PostEvent(15);
        PostKeyEvent(11, 0);
        window.Update();
        EXPECT_THAT(order,
                    ElementsAre("received 4", "sent 1", "received 3", "sent 22", "sent 15", "received 1", "sent 11"));
    });
}

TEST(AppKitEvents, WaitForAWindowWithACallback) {
    RunOnDesktop([] {
        ReceivingWindow window;
        window.Show();
        PostEvent(1);
        EXPECT_THAT(window.Turn(), IsEmpty());
        window.Receive();
        EXPECT_EQ(window.Turn().size(), 1U);
    });
}

TEST(AppKitEvents, WaitForAWindowThatIsShown) {
    RunOnDesktop([] {
        ReceivingWindow window;
        window.Receive();
        PostEvent(1);
        EXPECT_THAT(window.Turn(), IsEmpty());
        window.Show();
        EXPECT_EQ(window.Turn().size(), 1U);
    });
}

TEST(AppKitEvents, OfTheServerAreReceived) {
    RunOnDesktop([] {
        ReceivingWindow window;
        window.Show();
        window.Receive();
        XClient client;
        client.MovePointer(150, 100);
        std::vector<std::string> received;
        const auto waitFor = [&](const WindowEvent& event) {
            while (std::ranges::count(received, ToText(event)) == 0) {
                std::ranges::copy(window.Turn(), std::back_inserter(received));
            }
        };
        client.PressButton(1, true);
        waitFor({.type = WindowEvent::Type::MouseButton, .pressed = true, .button = 1});
        client.PressButton(1, false);
        waitFor({.type = WindowEvent::Type::MouseButton, .pressed = false, .button = 1});
    });
}

TEST(AppKitEvents, AreDeliveredWithoutWaiting) {
    RunWithWindow([](ReceivingWindow& window) {
        bool isRun = false;
        RunInMainLoop(100000, [&isRun] { isRun = true; });
        std::vector<double> dates;
        WatchDates([&dates](double seconds) { dates.push_back(seconds); });
        EXPECT_THAT(window.Turn(), IsEmpty());
        EXPECT_FALSE(isRun);
        EXPECT_THAT(dates, ::testing::Each(::testing::Le(0)));
    });
}

TEST(AppKitEvents, OfAHiddenWindowsTurnAreThoseOfTheMainLoopFor8Milliseconds) {
    RunOnDesktop([] {
        ReceivingWindow window;
        window.Receive();
        std::vector<double> dates;
        WatchDates([&dates](double seconds) { dates.push_back(seconds); });
        bool isRun = false;
        RunInMainLoop(0, [&isRun] { isRun = true; });
        const auto start = std::chrono::steady_clock::now();
        window.Update();
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(8));
        EXPECT_TRUE(isRun);
        EXPECT_THAT(dates, Contains(0.008));
    });
}

TEST(AppKitEvents, ServeAWorkerThatWaits) {
    RunWithWindow([](ReceivingWindow& window) {
        std::atomic<bool> isDone = false;
        std::thread worker([&] {
            window.Hide();
            isDone = true;
        });
        while (!isDone) {
            window.Turn();
        }
        worker.join();
        EXPECT_EQ(GetProperties(window.GetHandle()).alpha, 0);
    });
}

TEST(AppKitEvents, LetAnExceptionOfTheirReceiverPass) {
    RunOnDesktop([] {
        ReceivingWindow window;
        window.Show();
        window.SetEventCallback([](const WindowEvent&) -> bool { throw std::runtime_error("passes"); });
        PostEvent(1);
        EXPECT_THROW(window.Update(), std::runtime_error);
    });
}

TEST(AppKitEvents, OfAReceiverThatRaisesAnExceptionOfTheToolkitArePrinted) {
    const std::string errors = RunOn(XServer(), [] {
        ReceivingWindow window;
        window.Show();
        window.SetEventCallback([](const WindowEvent&) {
            Raise("TestException", "in a receiver");
            return true;
        });
        PostEvent(1);
        window.Update();
    });
    EXPECT_THAT(errors, ::testing::HasSubstr("] Exception: "));
    EXPECT_THAT(errors, ::testing::HasSubstr("in a receiver"));
}

} // namespace

} // namespace Tovra::Tests::AppKit
