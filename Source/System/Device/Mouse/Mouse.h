#pragma once

#include <System/Types/EnumFlags.h>
#include <System/Types/EnumValue.h>

#include <chrono>
#include <cstdint>

namespace Tovra::System::Device::Mouse {

/// A point of a coordinate system. System 0 is that of the whole desktop: points, from its top left, which is that of
/// the main display on macOS and that of the screen on X11.
template <int coordinateSystem>
struct Position {
    std::int32_t x = 0;
    std::int32_t y = 0;

    friend constexpr bool operator==(Position, Position) = default;
};

/// A button as the person who holds the mouse counts them from the left.
enum class MouseButton : std::uint8_t { Undefined, Left, Middle, Right };

/// What happens to a button. Sets of them are `Types::EnumFlags<MouseButtonEvent>`.
enum class MouseButtonEvent : std::uint8_t { Release = 1, Press = 2 };

/// The wheel that is turned.
enum class MouseWheelDirection : std::uint8_t { Undefined, Vertical, Horizontal };

/// A gradual move. Its owner fills it, tells the time before each `Mouse::Update`, and stops when that says so.
struct MouseMoveContext {
    std::chrono::nanoseconds timeSinceLastUpdate{}; ///< The owner sets it before each update.
    std::chrono::nanoseconds timePastBy{};          ///< The sum of the times so far; 0 at the start.
    std::chrono::nanoseconds duration{};            ///< How long the whole move takes.
    Position<0> startPosition;
    Position<0> targetPosition;
};

/// A gradual scroll. Its owner fills it and calls `Mouse::Update` until that says that it is done.
struct MouseScrollContext {
    MouseWheelDirection direction = MouseWheelDirection::Undefined;
    double remainingDelta = 0; ///< How far there is to go, positive; in lines or pixels.
    double carry = 0;          ///< The fraction that the steps so far have left over; 0 at the start.
    double stepDelta = 0;      ///< The most that one update scrolls; positive, or the scroll never ends.
    std::int32_t sign = 1;     ///< The direction of scrolling: 1 upwards or to the left, -1 downwards or to the right.
    bool inLines = false;      ///< The unit: lines, or else pixels.
};

/// Drives the system's mouse pointer by events that look as if the person's own mouse had sent them.
///
/// Positions are in points from the top left of the desktop. Everything happens on the caller's thread. Where the
/// system lets no program post events, nothing happens.
class Mouse {
public:
    Mouse() = delete;

    /// How long `ButtonEvent` pauses between two events, in milliseconds; 10 at first.
    static int GetDelay() { return s_delay; }

    /// Sets the pause, which must not be negative. To be set before other threads use the mouse.
    static void SetDelay(int milliseconds) { s_delay = milliseconds; }

    /// Where the pointer is, fractions cut off; 0, 0 if there is no display. Always true.
    static bool GetCurrentPosition(Position<0>& position);

    /// Moves the pointer there; the system keeps it on the displays.
    static void SetPosition(Position<0> position);

    /// The same as `SetPosition`.
    static void Move(Position<0> position);

    /// Presses the button, releases it, or both in turn, `count` times, where the pointer is at the start. Each time
    /// counts as the next click of a row, so that both flags with a count of 2 are a double click. A button that is
    /// none of the three posts events without a meaning.
    ///
    /// Sleeps for the delay between any two events. Gives `count`, or 0 if neither flag is set.
    static unsigned int ButtonEvent(Types::EnumValue<MouseButton> button, Types::EnumFlags<MouseButtonEvent> events,
                                    unsigned int count);

    /// Scrolls by so many lines or pixels: positive upwards or to the left. Asserts on a direction that is none of the
    /// two.
    static void Scroll(Types::EnumValue<MouseWheelDirection> direction, int delta, bool inLines);

    /// Goes on with a move. True when it is done: when the pointer has reached the target, by whomsoever, or when the
    /// time is up.
    ///
    /// The way is straight and even, and counted from the start: wherever the person moves the pointer meanwhile, the
    /// next update takes it back to its way.
    static bool Update(MouseMoveContext& context);

    /// Goes on with a scroll by one step. True when it is done. Asserts on a direction that is none of the two.
    ///
    /// Only whole units are scrolled; their sum is exact, as each step takes over the fraction before it.
    static bool Update(MouseScrollContext& context);

private:
    static inline int s_delay = 10;
};

} // namespace Tovra::System::Device::Mouse
