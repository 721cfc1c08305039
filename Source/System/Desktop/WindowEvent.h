#pragma once

#include <System/Device/Keyboard/KeyCode.h>

#include <array>
#include <cstdint>

namespace Tovra::System::Desktop {

/// A keyboard or mouse event. Fields that its type does not use are 0.
struct WindowEvent {
    /// What happened.
    enum class Type : std::uint8_t {
        Key = 1,
        MouseMove = 2,
        Scroll = 3,
        MouseButton = 4,
    };

    Type type{};
    Device::Keyboard::Key key{}; ///< Key events: the key.
    bool pressed = false;        ///< Whether the key or button was pressed; true for moves and scrolls.
    std::uint8_t button = 0;     ///< Button events: 1 for the left, 3 for the right button.
    std::int32_t x = 0;          ///< Moves: where the pointer is now, in points from the top left of the first screen.
    std::int32_t y = 0;          ///< See `x`.
    /// Intentional: always 0; callers rely on the presence of the fields only.
    std::array<std::uint64_t, 2> reserved{};
    /// Scrolls: the vertical distance, positive upwards. X11: in notches of the wheel. macOS: `scrollingDeltaY`, in
    /// lines, or in points where the device is that precise.
    float delta = 0;
};

} // namespace Tovra::System::Desktop
