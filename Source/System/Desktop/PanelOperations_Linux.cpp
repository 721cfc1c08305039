#include <System/Desktop/MainQueue_Linux.h>
#include <System/Desktop/PanelOperations.h>
#include <System/Desktop/PanelRules.h>
#include <System/Device/Display/DisplayEvents_Linux.h>
#include <System/X11/X11_Linux.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bitset>
#include <optional>

namespace Tovra::System::Desktop {

using Device::Keyboard::Key;

namespace {

/// The lowest key code that X11 has; a keymap event says nothing of lower ones.
constexpr unsigned int firstKeyCode = 8;

/// The held keys, by key code. X11's events report the modifiers before the event, panel events those after it. The
/// server sends the whole table whenever a panel gets the pointer or the keyboard.
std::bitset<256> s_heldKeys;

void SetHeldKeys(const XKeymapEvent& event) {
    for (unsigned int code = firstKeyCode; code < s_heldKeys.size(); ++code) {
        s_heldKeys.set(code, (event.key_vector[code / 8] >> code % 8 & 1) != 0);
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

/// Nothing for the release of a wheel's button.
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

/// Reads what the server has sent by now; events stay in the connection's queue. Looking for an event that never comes
/// reads even if others are queued, which nobody may take while a panel is hidden.
void ReadEvents() {
    if (const X11::Connection* const x11 = X11::GetConnection()) {
        XEvent event;
        x11->XCheckIfEvent(x11->display, &event, [](Display*, XEvent*, XPointer) -> Bool { return False; }, nullptr);
    }
}

/// Takes the next pending event; false if there is none.
bool TakeEvent(XEvent& event) {
    const X11::Connection* const x11 = X11::GetConnection();
    if (x11 == nullptr || x11->XPending(x11->display) <= 0) {
        return false;
    }
    x11->XNextEvent(x11->display, &event);
    return !X11::IsConnectionLost();
}

/// Waits until there is work for the main thread, the server sends something, or `duration` has passed.
void WaitForWork(std::chrono::nanoseconds duration) {
    const X11::Connection* const x11 = X11::GetConnection();
    std::array<pollfd, 2> sources = {{
        {.fd = MainQueue::GetInstance().GetDescriptor(), .events = POLLIN, .revents = {}},
        {.fd = x11 == nullptr ? -1 : ConnectionNumber(x11->display), .events = POLLIN, .revents = {}},
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

bool IsWindowServerLost() {
    return X11::IsConnectionLost();
}

void RunCatchingToolkitExceptions(const std::function<void()>& work) {
    // X11 throws nothing: the connection prints each error as it comes.
    work();
}

void RunMainLoop(std::chrono::milliseconds duration) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + duration;
    while (Clock::now() < end) {
        ReadEvents();
        Device::Display::ReportDisplayChanges();
        MainQueue::GetInstance().Serve();
        WaitForWork(std::max(end - Clock::now(), Clock::duration::zero()));
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

} // namespace Tovra::System::Desktop
