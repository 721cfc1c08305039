#include <System/Desktop/X11_Linux.h>
#include <System/Device/Mouse/MouseOperations.h>
#include <System/Device/Mouse/WheelNotches.h>

#include <X11/extensions/XTest.h>
#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <utility>

namespace Tovra::System::Device::Mouse {

namespace X11 = Desktop::X11;

/// X11 has no events before they happen; this is what is to happen.
struct MouseEvent {
    MouseEventType type = MouseEventType::Null;
    Desktop::PointerPosition position;   ///< Of moves and buttons.
    ScrollUnit unit = ScrollUnit::Pixel; ///< Of scrolls, as the two below.
    std::int32_t vertical = 0;
    std::int32_t horizontal = 0;
};

namespace {

/// The functions of XTest that are called: the one table that makes the members and their loading.
#define TOVRA_XTEST_FUNCTIONS(FUNCTION)                                                                                \
    FUNCTION(XTestFakeButtonEvent)                                                                                     \
    FUNCTION(XTestFakeMotionEvent)                                                                                     \
    FUNCTION(XTestQueryExtension)

struct XTestFunctions {
#define TOVRA_XTEST_MEMBER(name) decltype(&::name) name;
    TOVRA_XTEST_FUNCTIONS(TOVRA_XTEST_MEMBER)
#undef TOVRA_XTEST_MEMBER
};

XTestFunctions s_xTest;

bool LoadFunctions() {
    void* const library = dlopen("libXtst.so.6", RTLD_LAZY);
#define TOVRA_XTEST_LOAD(name) X11::LoadFunction(library, #name, s_xTest.name)&&
    return library != nullptr && TOVRA_XTEST_FUNCTIONS(TOVRA_XTEST_LOAD) true;
#undef TOVRA_XTEST_LOAD
}

bool IsLoaded() {
    static const bool s_loaded = LoadFunctions();
    return s_loaded;
}

/// A coordinate as X11 can carry it.
int ToCoordinate(double points) {
    return static_cast<int>(std::clamp(points, -32768.0, 32767.0));
}

enum class Answer { Unknown, Yes, No };

/// Whether the server has XTest, once it was asked. Not a static of the function below, which may be left by a jump.
std::atomic<Answer> s_hasXTest = Answer::Unknown;

/// Three round trips at the first call.
bool HasXTest(Display* display) {
    if (s_hasXTest == Answer::Unknown) {
        int eventBase = 0;
        int errorBase = 0;
        int major = 0;
        int minor = 0;
        const Bool hasXTest = s_xTest.XTestQueryExtension(display, &eventBase, &errorBase, &major, &minor);
        s_hasXTest = hasXTest != False ? Answer::Yes : Answer::No;
    }
    return s_hasXTest == Answer::Yes;
}

/// Runs `work(display)`, and waits until the server has carried it out: one round trip. Not without XTest.
template <class Work>
void RunWithXTest(const Work& work) {
    if (X11::GetDisplay() != nullptr && IsLoaded()) {
        X11::RunAndWait([&work](Display* display) {
            if (HasXTest(display)) {
                work(display);
            }
        });
    }
}

/// The device's own number of what programs know as that button: a left-handed person has them swapped, and XTest asks
/// for the device's. 0 if no button of the device has that meaning.
unsigned int FindDeviceButton(Display* display, unsigned int button) {
    std::array<unsigned char, 256> meanings{};
    const int count =
        X11::GetFunctions().XGetPointerMapping(display, meanings.data(), static_cast<int>(meanings.size()));
    const auto end = meanings.begin() + std::clamp(count, 0, static_cast<int>(meanings.size()));
    const auto found = std::find(meanings.begin(), end, button);
    return found == end ? 0 : static_cast<unsigned int>(found - meanings.begin()) + 1;
}

void MovePointer(Display* display, Desktop::PointerPosition position) {
    s_xTest.XTestFakeMotionEvent(display, DefaultScreen(display), ToCoordinate(position.x), ToCoordinate(position.y),
                                 CurrentTime);
}

/// A button is pressed where the pointer is; if that has left the event's place, it comes back to it.
void ReturnPointer(Display* display, Desktop::PointerPosition position) {
    const auto [x, y] = GetPointerPosition();
    if (x != position.x || y != position.y) {
        MovePointer(display, position);
    }
}

void PostMove(Desktop::PointerPosition position) {
    RunWithXTest([position](Display* display) { MovePointer(display, position); });
}

void PostButton(Desktop::PointerPosition position, unsigned int button, bool isPressed) {
    RunWithXTest([position, button, isPressed](Display* display) {
        const unsigned int deviceButton = FindDeviceButton(display, button);
        if (deviceButton != 0) {
            ReturnPointer(display, position);
            s_xTest.XTestFakeButtonEvent(display, deviceButton, isPressed ? True : False, CurrentTime);
        }
    });
}

void PostNotches(unsigned int button, std::int32_t count) {
    RunWithXTest([button, count](Display* display) {
        const unsigned int deviceButton = FindDeviceButton(display, button);
        for (std::int32_t notch = 0; deviceButton != 0 && notch < count; ++notch) {
            s_xTest.XTestFakeButtonEvent(display, deviceButton, True, CurrentTime);
            s_xTest.XTestFakeButtonEvent(display, deviceButton, False, CurrentTime);
        }
    });
}

/// Turns one wheel; `notches` may have either sign.
void PostWheel(std::int32_t notches, unsigned int positiveButton, unsigned int negativeButton) {
    const std::int32_t limited = WheelNotches::Limit(notches);
    if (limited != 0) {
        PostNotches(limited > 0 ? positiveButton : negativeButton, std::abs(limited));
    }
}

/// The notches of both wheels; what pixels leave over is kept for whoever scrolls next.
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

MouseEvent* CreateMouseEvent(MouseEventType type, double x, double y, [[maybe_unused]] std::uint32_t button) {
    // The type alone tells the button, as it does for the product's left and right ones.
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
