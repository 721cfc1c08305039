#include <System/Desktop/PanelOperations.h>
#include <System/Desktop/PanelRules.h>
#include <System/Device/Mouse/Mouse.h>

namespace Tovra::System::Desktop {

using Device::Keyboard::Key;

namespace {

/// How long the main loop runs for a hidden window.
constexpr std::chrono::milliseconds hiddenTurn(8);

constexpr std::uint8_t leftButton = 1;
constexpr std::uint8_t rightButton = 3;

WindowEvent MakeButtonEvent(std::uint8_t button, bool pressed) {
    return {.type = WindowEvent::Type::MouseButton, .pressed = pressed, .button = button};
}

WindowEvent MakeKeyEvent(Key key, bool pressed) {
    return {.type = WindowEvent::Type::Key, .key = key, .pressed = pressed};
}

/// Intentional: where the pointer is now, not where the event happened. Receivers follow the pointer and never lag.
WindowEvent MakeMoveEvent() {
    Device::Mouse::Position<0> pointer;
    Device::Mouse::Mouse::GetCurrentPosition(pointer);
    return {.type = WindowEvent::Type::MouseMove, .pressed = true, .x = pointer.x, .y = pointer.y};
}

/// Intentional: a modifier reads as pressed while either of its two keys is held, so the release of one of both does
/// too; receivers count on that. Caps Lock and Fn have no flag and never read as pressed.
WindowEvent MakeModifierEvent(const PanelEvent& event) {
    const Key key = Device::Keyboard::KeyFromVirtualKey(event.virtualKey);
    return MakeKeyEvent(key, (event.modifierFlags & GetModifierFlag(key)) != 0);
}

} // namespace

double FlipVertically(double screenHeight, double y, double height) {
    return screenHeight - height - y;
}

std::optional<WindowEvent> TranslateEvent(const PanelEvent& event) {
    switch (event.type) {
    case PanelEventType::LeftMouseDown:
        return MakeButtonEvent(leftButton, true);
    case PanelEventType::LeftMouseUp:
        return MakeButtonEvent(leftButton, false);
    case PanelEventType::RightMouseDown:
        return MakeButtonEvent(rightButton, true);
    case PanelEventType::RightMouseUp:
        return MakeButtonEvent(rightButton, false);
    case PanelEventType::MouseMoved:
    case PanelEventType::LeftMouseDragged:
    case PanelEventType::RightMouseDragged:
        return MakeMoveEvent();
    case PanelEventType::KeyDown:
        return MakeKeyEvent(Device::Keyboard::KeyFromVirtualKey(event.virtualKey), true);
    case PanelEventType::KeyUp:
        return MakeKeyEvent(Device::Keyboard::KeyFromVirtualKey(event.virtualKey), false);
    case PanelEventType::FlagsChanged:
        return MakeModifierEvent(event);
    case PanelEventType::ScrollWheel:
        return WindowEvent{
            .type = WindowEvent::Type::Scroll, .pressed = true, .delta = static_cast<float>(event.scrollingDelta)};
    default:
        return std::nullopt;
    }
}

std::uint64_t GetModifierFlag(Key key) {
    switch (key) {
    case Key::LShift:
    case Key::RShift:
        return ShiftFlag;
    case Key::LControl:
    case Key::RControl:
        return ControlFlag;
    case Key::LMenu:
    case Key::RMenu:
        return OptionFlag;
    case Key::LWin:
    case Key::RWin:
        return CommandFlag;
    default:
        return 0;
    }
}

PanelEventType GetKeyEventType(Key key, bool pressed) {
    if (GetModifierFlag(key) != 0 || key == Key::Capital || key == Key::Fn) {
        return PanelEventType::FlagsChanged;
    }
    return pressed ? PanelEventType::KeyDown : PanelEventType::KeyUp;
}

void RunOnMainThread(const std::function<void()>& work) {
    if (IsMainThread()) {
        RunCatchingToolkitExceptions(work);
    } else {
        RunOnMainQueue(work);
    }
}

bool UpdatePanel(const Window& window, Window::State state) {
    RunOnMainThread([&window, state] {
        // Without a callback the events stay queued.
        if (!window.GetEventCallback()) {
            return;
        }
        if (state == Window::State::Hidden) {
            RunMainLoop(hiddenTurn);
        } else if (state == Window::State::Visible) {
            PumpEvents([&window](const PanelEvent& event) {
                if (const auto windowEvent = TranslateEvent(event)) {
                    window.GetEventCallback()(*windowEvent);
                }
            });
        }
    });
    // Intentional: false even after events were processed; the caller must not run `OnUpdate` for a hidden window, and
    // only once for a visible one.
    return false;
}

} // namespace Tovra::System::Desktop
