#pragma once

// The mouse's seam to the operating system.

#include <cstdint>

namespace Tovra::System::Device::Mouse {

/// Event types with their values on macOS (`CGEventType`); every host uses them.
enum class MouseEventType : std::uint32_t {
    Null = 0,
    LeftDown = 1,
    LeftUp = 2,
    RightDown = 3,
    RightUp = 4,
    Moved = 5,
    ScrollWheel = 22,
    OtherDown = 25,
    OtherUp = 26,
};

/// The unit of a scroll's distance (`CGScrollEventUnit`).
enum class ScrollUnit : std::uint32_t { Pixel = 0, Line = 1 };

/// A position of the pointer, in points from the top left of the desktop.
struct PointerPosition {
    double x = 0;
    double y = 0;
};

/// An event that can be posted any number of times. Its content belongs to the host.
struct MouseEvent;

/// Where the pointer is now; 0, 0 without a display. Any thread.
PointerPosition GetPointerPosition();

/// Makes an event at a position, in points from the top left of the desktop. Its click state is 1. Null if the system
/// can't make one. Any thread. Owned by the caller: `ReleaseEvent` frees it.
MouseEvent* CreateMouseEvent(MouseEventType type, double x, double y, std::uint32_t button);

/// Makes a scroll event of `wheelCount` wheels: the first is vertical, positive upwards, the second horizontal,
/// positive to the left. Null if the system can't make one. Any thread. Owned by the caller: `ReleaseEvent` frees it.
MouseEvent* CreateScrollEvent(ScrollUnit unit, std::uint32_t wheelCount, std::int32_t wheel1, std::int32_t wheel2);

/// Sets which click of a series the event belongs to when it is posted next: 1, 2 … A null event is passed on as it is.
void SetClickState(MouseEvent* event, std::int64_t clickState);

/// Posts the event as if the user's own device had sent it. A null event is passed on as it is. Without effect where
/// the system forbids it. Any thread.
void PostEvent(MouseEvent* event);

/// Frees an event, which must not be null.
void ReleaseEvent(MouseEvent* event);

/// Suspends the calling thread, see `Thread::Sleep`.
void SleepBetweenEvents(double milliseconds);

} // namespace Tovra::System::Device::Mouse
