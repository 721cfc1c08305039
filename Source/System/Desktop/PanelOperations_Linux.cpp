#include <System/Desktop/MainQueue_Linux.h>
#include <System/Desktop/PanelOperations.h>
#include <System/Desktop/PanelRules.h>
#include <System/Desktop/X11_Linux.h>
#include <System/Device/Display/DisplayEvents_Linux.h>

#include <poll.h>
#include <unistd.h>

#include <array>
#include <bitset>
#include <optional>

namespace Tovra::System::Desktop {

using Device::Keyboard::Key;

namespace {

constexpr unsigned int firstKeyCode = 8; ///< The lowest key code that X11 has.

/// Which keys are held, by key code. X11's events tell the modifiers before the event, windows are told those after it.
/// The server sends the whole table whenever a panel gets pointer or keyboard.
std::bitset<256> s_heldKeys;

void SetHeldKeys(const XKeymapEvent& event) {
    for (unsigned int code = firstKeyCode; code < s_heldKeys.size(); ++code) {
        s_heldKeys[code] = (event.key_vector[code / 8] >> code % 8 & 1) != 0;
    }
}

std::uint64_t GetHeldModifierFlags() {
    std::uint64_t flags = 0;
    for (const auto key :
         {Key::LShift, Key::RShift, Key::LControl, Key::RControl, Key::LMenu, Key::RMenu, Key::LWin, Key::RWin}) {
        if (s_heldKeys[static_cast<std::size_t>(Device::Keyboard::VirtualKeyFromKey(key))]) {
            flags |= GetModifierFlag(key);
        }
    }
    return flags;
}

PanelEvent MakeKeyEvent(const XKeyEvent& event) {
    const bool pressed = event.type == KeyPress;
    s_heldKeys[event.keycode] = pressed;
    return {.type = GetKeyEventType(Device::Keyboard::KeyFromVirtualKey(event.keycode), pressed),
            .virtualKey = event.keycode,
            .modifierFlags = GetHeldModifierFlags()};
}

/// The release of a wheel's button means nothing.
std::optional<PanelEvent> MakeButtonEvent(const XButtonEvent& event) {
    const bool pressed = event.type == ButtonPress;
    switch (event.button) {
    case Button1:
        return PanelEvent{.type = pressed ? PanelEventType::LeftMouseDown : PanelEventType::LeftMouseUp};
    case Button3:
        return PanelEvent{.type = pressed ? PanelEventType::RightMouseDown : PanelEventType::RightMouseUp};
    case X11::wheelUp:
    case X11::wheelDown:
    case X11::wheelLeft:
    case X11::wheelRight: {
        const double delta = event.button == X11::wheelUp ? 1 : event.button == X11::wheelDown ? -1 : 0;
        return pressed ? std::optional(PanelEvent{.type = PanelEventType::ScrollWheel, .scrollingDelta = delta})
                       : std::nullopt;
    }
    default:
        return PanelEvent{.type = pressed ? PanelEventType::OtherMouseDown : PanelEventType::OtherMouseUp};
    }
}

PanelEvent MakeMotionEvent(const XMotionEvent& event) {
    if ((event.state & Button1Mask) != 0) {
        return {.type = PanelEventType::LeftMouseDragged};
    }
    if ((event.state & Button3Mask) != 0) {
        return {.type = PanelEventType::RightMouseDragged};
    }
    return {.type = (event.state & Button2Mask) != 0 ? PanelEventType::OtherMouseDragged : PanelEventType::MouseMoved};
}

std::optional<PanelEvent> MakePanelEvent(const XEvent& event) {
    switch (event.type) {
    case KeyPress:
    case KeyRelease:
        return MakeKeyEvent(event.xkey);
    case ButtonPress:
    case ButtonRelease:
        return MakeButtonEvent(event.xbutton);
    case MotionNotify:
        return MakeMotionEvent(event.xmotion);
    case KeymapNotify:
        SetHeldKeys(event.xkeymap);
        return std::nullopt;
    default:
        return std::nullopt;
    }
}

/// Reads what the server has sent by now; events stay queued in the connection. Looking for one that never comes reads
/// even if others wait in the queue, for which no one may come while a panel is hidden.
void ReadEvents() {
    X11::Run([](Display* display) {
        XEvent event;
        X11::GetFunctions().XCheckIfEvent(
            display, &event, [](Display*, XEvent*, XPointer) -> Bool { return False; }, nullptr);
    });
}

/// Takes the next event if one waits.
bool TakeEvent(XEvent& event) {
    bool isTaken = false;
    X11::Run([&isTaken, &event](Display* display) {
        if (X11::GetFunctions().XPending(display) > 0) {
            X11::GetFunctions().XNextEvent(display, &event);
            isTaken = true;
        }
    });
    return isTaken;
}

/// Waits until there is work for the main thread, the server sends something, or the time is over.
void WaitForWork(std::chrono::nanoseconds duration) {
    Display* const display = X11::GetDisplay();
    std::array<pollfd, 2> sources = {{
        {.fd = MainQueue::GetInstance().GetDescriptor(), .events = POLLIN, .revents = 0},
        {.fd = display == nullptr ? -1 : ConnectionNumber(display), .events = POLLIN, .revents = 0},
    }};
    using std::chrono::seconds;
    const timespec timeout = {.tv_sec = duration / seconds(1), .tv_nsec = (duration % seconds(1)).count()};
    ppoll(sources.data(), sources.size(), &timeout, nullptr);
}

} // namespace

bool IsMainThread() {
    return gettid() == getpid();
}

void RunOnMainQueue(const std::function<void()>& work) {
    MainQueue::GetInstance().RunAndWait(work);
}

void RunCatchingToolkitExceptions(const std::function<void()>& work) {
    // X11's errors are no exceptions: the connection prints each as it comes, and nothing is thrown.
    work();
}

void RunMainLoop(std::chrono::milliseconds duration) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + duration;
    for (auto now = Clock::now(); now < end; now = Clock::now()) {
        ReadEvents();
        Device::Display::ReportDisplayChanges();
        MainQueue::GetInstance().Serve();
        WaitForWork(end - now);
    }
    MainQueue::GetInstance().Serve();
}

void PumpEvents(const std::function<void(const PanelEvent&)>& onEvent) {
    for (XEvent event; TakeEvent(event);) {
        if (const auto panelEvent = MakePanelEvent(event)) {
            onEvent(*panelEvent);
        }
    }
    Device::Display::ReportDisplayChanges();
    MainQueue::GetInstance().Serve();
}

PointerPosition GetPointerPosition() {
    PointerPosition position;
    X11::Run([&position](Display* display) {
        ::Window root = 0;
        ::Window child = 0;
        int x = 0;
        int y = 0;
        int xInWindow = 0;
        int yInWindow = 0;
        unsigned int modifiers = 0;
        X11::GetFunctions().XQueryPointer(display, DefaultRootWindow(display), &root, &child, &x, &y, &xInWindow,
                                          &yInWindow, &modifiers);
        position = {.x = static_cast<double>(x), .y = static_cast<double>(y)};
    });
    return position;
}

} // namespace Tovra::System::Desktop
