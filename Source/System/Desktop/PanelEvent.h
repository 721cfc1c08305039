#pragma once

#include <cstdint>

namespace Tovra::System::Desktop {

/// Numbers of event types as the product's own toolkit counts them (`NSEventType`); every host speaks of events in
/// them.
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

/// An event as the toolkit gives it, without the toolkit. A plain value; what its type does not use is 0.
struct PanelEvent {
    PanelEventType type{};           ///< May be a number that has no name here.
    std::uint32_t virtualKey = 0;    ///< Of keys and modifiers: this system's native key code.
    std::uint64_t modifierFlags = 0; ///< Of modifiers: what is held after the event.
    double scrollingDelta = 0;       ///< Of scrolling: the vertical distance, positive upwards.
};

} // namespace Tovra::System::Desktop
