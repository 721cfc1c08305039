#pragma once

#include <cstdint>

namespace Tovra::System::Desktop {

/// Event types with their values on macOS (`NSEventType`); every host uses them.
enum class PanelEventType : std::uint8_t {
    LeftMouseDown = 1,
    LeftMouseUp = 2,
    RightMouseDown = 3,
    RightMouseUp = 4,
    MouseMoved = 5,
    LeftMouseDragged = 6,
    RightMouseDragged = 7,
    KeyDown = 10,
    KeyUp = 11,
    FlagsChanged = 12,
    ScrollWheel = 22,
    OtherMouseDown = 25,
    OtherMouseUp = 26,
    OtherMouseDragged = 27,
};

/// Bits of `PanelEvent::modifierFlags` (`NSEventModifierFlags`).
enum PanelModifierFlag : std::uint64_t {
    ShiftFlag = 1U << 17,
    ControlFlag = 1U << 18,
    OptionFlag = 1U << 19,
    CommandFlag = 1U << 20,
};

/// An event of the toolkit in plain values. Fields that its type does not use are 0.
struct PanelEvent {
    PanelEventType type{};           ///< May be a value that has no enumerator.
    std::uint32_t virtualKey = 0;    ///< Keys and modifiers: the host's native key code.
    std::uint64_t modifierFlags = 0; ///< Keys and modifiers: the modifiers held after the event.
    double scrollingDelta = 0;       ///< Scrolling: the vertical distance, see `WindowEvent::delta`.
};

} // namespace Tovra::System::Desktop
