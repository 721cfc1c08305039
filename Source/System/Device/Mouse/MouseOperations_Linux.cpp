#include <System/Device/Mouse/MouseOperations.h>
#include <System/Device/Mouse/WheelNotches.h>
#include <System/X11/X11_Linux.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>

namespace Tovra::System::Device::Mouse {

/// What `PostEvent` is to simulate: X11 has no event objects for that.
struct MouseEvent {
    MouseEventType type = MouseEventType::Null;
    PointerPosition position;            ///< Of moves and buttons.
    ScrollUnit unit = ScrollUnit::Pixel; ///< Of scrolls, as the two below.
    std::int32_t vertical = 0;
    std::int32_t horizontal = 0;
};

namespace {

/// Held for requests that no other thread's may come between.
constinit std::mutex s_requestsMutex;

/// Runs `work(connection)`, and waits until the server has carried it out: one round trip. Without XTest it does
/// nothing.
template <class Work>
void RunWithXTest(const Work& work) {
    X11::Connection* const x11 = X11::GetConnection();
    if (x11 != nullptr && x11->HasXTest()) {
        work(*x11);
        x11->Sync();
    }
}

/// The device's own number of the button that clients know by `button`: a left-handed user has them swapped, and XTest
/// takes the device's. 0 if no button of the device has that meaning.
unsigned int FindDeviceButton(const X11::Connection& x11, unsigned int button) {
    std::array<unsigned char, 256> meanings{};
    x11.XGetPointerMapping(x11.display, meanings.data(), static_cast<int>(meanings.size()));
    // Behind the device's buttons stand zeros, which mean no button.
    const auto found = std::ranges::find(meanings, button);
    return found == meanings.end() ? 0 : static_cast<unsigned int>(found - meanings.begin()) + 1;
}

void MovePointer(const X11::Connection& x11, PointerPosition position) {
    x11.XTestFakeMotionEvent(x11.display, DefaultScreen(x11.display), X11::ToCoordinate(position.x),
                             X11::ToCoordinate(position.y), CurrentTime);
}

/// A button is pressed where the pointer is, so it goes back to the event's position if it has left that.
void ReturnPointer(const X11::Connection& x11, PointerPosition position) {
    const auto [x, y] = GetPointerPosition();
    if (x != position.x || y != position.y) {
        MovePointer(x11, position);
    }
}

/// `RunWithXTest`, with the device's button: `work(connection, deviceButton)`. Without such a button it does nothing.
template <class Work>
void RunWithButton(unsigned int button, const Work& work) {
    RunWithXTest([button, &work](const X11::Connection& x11) {
        const unsigned int deviceButton = FindDeviceButton(x11, button);
        if (deviceButton != 0) {
            work(x11, deviceButton);
        }
    });
}

void PostMove(PointerPosition position) {
    RunWithXTest([position](const X11::Connection& x11) {
        const std::lock_guard lock(s_requestsMutex);
        MovePointer(x11, position);
    });
}

void PostButton(PointerPosition position, unsigned int button, bool isPressed) {
    RunWithButton(button, [position, isPressed](const X11::Connection& x11, unsigned int deviceButton) {
        const std::lock_guard lock(s_requestsMutex); // Otherwise it may be pressed where another thread has moved to.
        ReturnPointer(x11, position);
        x11.XTestFakeButtonEvent(x11.display, deviceButton, isPressed ? True : False, CurrentTime);
    });
}

/// Turns a wheel by one notch.
void PostNotch(const X11::Connection& x11, unsigned int deviceButton) {
    const std::lock_guard lock(s_requestsMutex); // The server ignores a press of a button that is down.
    x11.XTestFakeButtonEvent(x11.display, deviceButton, True, CurrentTime);
    x11.XTestFakeButtonEvent(x11.display, deviceButton, False, CurrentTime);
}

void PostNotches(unsigned int button, std::int32_t count) {
    RunWithButton(button, [count](const X11::Connection& x11, unsigned int deviceButton) {
        for (std::int32_t notch = 0; notch < count; ++notch) {
            PostNotch(x11, deviceButton);
        }
    });
}

/// Turns one wheel; `notches` may have either sign.
void PostWheel(std::int32_t notches, unsigned int positiveButton, unsigned int negativeButton) {
    const std::int32_t limited = WheelNotches::Limit(notches);
    if (limited > 0) {
        PostNotches(positiveButton, limited);
    } else if (limited < 0) {
        PostNotches(negativeButton, -limited);
    }
}

/// The notches of both wheels. The remainder of pixels is kept for the next scroll.
std::pair<std::int32_t, std::int32_t> TakeNotches(const MouseEvent& event) {
    if (event.unit == ScrollUnit::Line) {
        return {event.vertical, event.horizontal};
    }
    static WheelNotches s_vertical;
    static WheelNotches s_horizontal;
    return {s_vertical.Take(event.vertical), s_horizontal.Take(event.horizontal)};
}

void PostScroll(const MouseEvent& event) {
    const auto [vertical, horizontal] = TakeNotches(event);
    PostWheel(vertical, X11::wheelUp, X11::wheelDown);
    PostWheel(horizontal, X11::wheelLeft, X11::wheelRight);
}

} // namespace

PointerPosition GetPointerPosition() {
    int x = 0;
    int y = 0;
    if (const X11::Connection* const x11 = X11::GetConnection()) {
        ::Window root = None;
        ::Window child = None;
        int xInWindow{};
        int yInWindow{};
        unsigned int modifiers{};
        x11->XQueryPointer(x11->display, x11->root, &root, &child, &x, &y, &xInWindow, &yInWindow, &modifiers);
    }
    return {.x = static_cast<double>(x), .y = static_cast<double>(y)};
}

MouseEvent* CreateMouseEvent(MouseEventType type, double x, double y, [[maybe_unused]] std::uint32_t button) {
    // The type alone tells the button.
    return new MouseEvent{.type = type, .position = {.x = x, .y = y}};
}

MouseEvent* CreateScrollEvent(ScrollUnit unit, [[maybe_unused]] std::uint32_t wheelCount, std::int32_t wheel1,
                              std::int32_t wheel2) {
    return new MouseEvent{
        .type = MouseEventType::ScrollWheel, .position = {}, .unit = unit, .vertical = wheel1, .horizontal = wheel2};
}

void SetClickState([[maybe_unused]] MouseEvent* event, [[maybe_unused]] std::int64_t clickState) {
    // Without effect: programs count clicks themselves, by the server's time.
}

// One round trip for a move, three for a button, two for each wheel that turns by a notch; the first one of the process
// takes three more.
void PostEvent(MouseEvent* event) {
    switch (event == nullptr ? MouseEventType::Null : event->type) {
    case MouseEventType::Moved:
        return PostMove(event->position);
    case MouseEventType::LeftDown:
    case MouseEventType::LeftUp:
        return PostButton(event->position, Button1, event->type == MouseEventType::LeftDown);
    case MouseEventType::OtherDown:
    case MouseEventType::OtherUp:
        return PostButton(event->position, Button2, event->type == MouseEventType::OtherDown);
    case MouseEventType::RightDown:
    case MouseEventType::RightUp:
        return PostButton(event->position, Button3, event->type == MouseEventType::RightDown);
    case MouseEventType::ScrollWheel:
        return PostScroll(*event);
    case MouseEventType::Null:
        break; // It has no meaning.
    }
}

void ReleaseEvent(MouseEvent* event) {
    delete event;
}

} // namespace Tovra::System::Device::Mouse
