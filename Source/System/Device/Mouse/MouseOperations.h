#pragma once

// What the rules of the mouse ask of the operating system.

#include <System/Desktop/PanelOperations.h>

#include <cstdint>

namespace Tovra::System::Device::Mouse {

/// Numbers of event types as the product's own system counts them (`CGEventType`); every host speaks of events in them.
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

/// What the distance of a scroll is counted in (`CGScrollEventUnit`).
enum class ScrollUnit : std::uint32_t { Pixel = 0, Line = 1 };

/// An event that was made and can be posted any number of times. What it holds is the host's own.
struct MouseEvent;

/// Where the pointer is now, in points from the top left of the desktop; 0, 0 without a display. Any thread.
Desktop::PointerPosition GetPointerPosition();

/// Makes an event at a place, in points from the top left of the desktop. Its click state is 1. Null if the system
/// has none to give. Any thread; `ReleaseEvent` takes it back.
MouseEvent* CreateMouseEvent(MouseEventType type, double x, double y, std::uint32_t button);

/// Makes a scroll of so many wheels, of which the first is the vertical one, positive upwards, and the second the
/// horizontal one, positive to the left. Null if the system has none to give. Any thread; `ReleaseEvent` takes it back.
MouseEvent* CreateScrollEvent(ScrollUnit unit, std::uint32_t wheelCount, std::int32_t wheel1, std::int32_t wheel2);

/// Says which one in a row of clicks the event belongs to when it is posted next. A null event is handed on as it is.
void SetClickState(MouseEvent* event, std::int64_t clickState);

/// Lets the event happen as if the person's own device had sent it. A null event is handed on as it is. Without effect
/// where the system doesn't let us. Any thread.
void PostEvent(MouseEvent* event);

/// Frees an event, which must not be null.
void ReleaseEvent(MouseEvent* event);

/// Suspends the calling thread, see `Thread::Sleep`.
void SleepBetweenEvents(double milliseconds);

} // namespace Tovra::System::Device::Mouse
