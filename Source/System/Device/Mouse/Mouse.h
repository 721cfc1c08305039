#pragma once

#include <System/Types/EnumFlags.h>
#include <System/Types/EnumValue.h>

#include <chrono>
#include <cstdint>

namespace Tovra::System::Device::Mouse {

/// A point in a coordinate system. System 0 is that of the desktop: points from its top left, which is that of the main
/// display on macOS and that of the screen on X11.
template <int coordinateSystem>
struct Position {
    std::int32_t x = 0;
    std::int32_t y = 0;

    friend constexpr bool operator==(Position, Position) = default;
};

/// A mouse button, by its meaning to programs: the sides may be exchanged for a left-handed user.
enum class MouseButton : std::uint8_t { Undefined, Left, Middle, Right };

/// What happens to a button. For sets: `Types::EnumFlags<MouseButtonEvent>`.
enum class MouseButtonEvent : std::uint8_t { Release = 1, Press = 2 };

/// The wheel that is turned.
enum class MouseWheelDirection : std::uint8_t { Undefined, Vertical, Horizontal };

/// A gradual move. Its owner fills it in, sets `timeSinceLastUpdate` before each `Mouse::Update`, and stops when that
/// returns true.
struct MouseMoveContext {
    std::chrono::nanoseconds timeSinceLastUpdate{}; ///< Set by the owner before each update.
    std::chrono::nanoseconds timePastBy{};          ///< The sum of the times so far; 0 at the start.
    std::chrono::nanoseconds duration{};            ///< The duration of the whole move.
    Position<0> startPosition;
    Position<0> targetPosition;
};

/// A gradual scroll. Its owner fills it in and calls `Mouse::Update` until that returns true.
struct MouseScrollContext {
    MouseWheelDirection direction = MouseWheelDirection::Undefined;
    double remainingDelta = 0; ///< The distance that is left, positive; in lines or pixels.
    double carry = 0;          ///< The fraction of a unit that the steps left over; 0 at the start.
    double stepDelta = 0;      ///< The most that one update scrolls; if it is not positive, the scroll never ends.
    std::int32_t sign = 1;     ///< The direction of scrolling: 1 upwards or to the left, -1 downwards or to the right.
    bool inLines = false;      ///< The unit: lines if true, otherwise pixels.
};

/// Drives the system's mouse pointer by synthetic events, which look as if the user's own mouse had sent them.
///
/// Positions are in points from the top left of the desktop. Everything runs on the calling thread. Any thread may move
/// and scroll, but one at a time may use a button: two that click the same one at the same time make one click, as the
/// X server and macOS join the presses of a button that is down. If the system doesn't let programs post events,
/// nothing happens.
class Mouse {
public:
    Mouse() = delete;

    /// The pause between two events of `ButtonEvent`, in milliseconds; 10 until it is set.
    static int GetDelay() { return s_delay; }

    /// Sets the pause, which must not be negative. Call it before other threads use the mouse.
    static void SetDelay(int milliseconds) { s_delay = milliseconds; }

    /// Gives the pointer's position without fractions; 0, 0 if there is no display. Always true.
    static bool GetCurrentPosition(Position<0>& position);

    /// Moves the pointer to `position`; the system keeps it on the displays.
    static void SetPosition(Position<0> position);

    /// The same as `SetPosition`.
    static void Move(Position<0> position);

    /// Presses the button, releases it, or both in turn, `count` times, at the pointer's position at the start. Each
    /// round is the next click of a series: with both flags, a `count` of 2 is a double click. For an undefined button
    /// events without a meaning are posted.
    ///
    /// Sleeps for the delay between any two events. Returns `count`, or 0 if neither flag is set.
    static unsigned int ButtonEvent(Types::EnumValue<MouseButton> button, Types::EnumFlags<MouseButtonEvent> events,
                                    unsigned int count);

    /// Scrolls by `delta` lines or pixels: positive is upwards or to the left. Asserts that the direction is vertical
    /// or horizontal.
    static void Scroll(Types::EnumValue<MouseWheelDirection> direction, int delta, bool inLines);

    /// Continues a move. True when it is done: when the pointer is at the target, whoever moved it there, or when the
    /// time is up.
    ///
    /// The way is a straight line at constant speed, computed from the start: if the user moves the pointer meanwhile,
    /// the next update moves it back to the line.
    static bool Update(MouseMoveContext& context);

    /// Continues a scroll by one step. True when it is done. Asserts that the direction is vertical or horizontal.
    ///
    /// Only whole units are scrolled; each step adds the fraction that the one before it left over.
    static bool Update(MouseScrollContext& context);

private:
    static inline int s_delay = 10;
};

} // namespace Tovra::System::Device::Mouse
