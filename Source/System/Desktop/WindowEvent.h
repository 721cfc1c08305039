#pragma once

#include <System/Device/Keyboard/KeyCode.h>

#include <array>
#include <cstdint>

namespace Tovra::System::Desktop {

/// Something that a person did with keyboard or mouse. A plain value; what its type does not use is 0.
struct WindowEvent {
    enum class Type : std::uint8_t {
        Key = 1,
        MouseMove = 2,
        Scroll = 3,
        MouseButton = 4,
    };

    Type type{};
    Device::Keyboard::Key key{}; ///< The key of a key event.
    bool pressed = false;        ///< Whether key or button went down; true for moving and scrolling.
    std::uint8_t button = 0;     ///< 1 for the left, 3 for the right button of a button event.
    std::int32_t x = 0;          ///< Of a move: the pointer on the screen, in points from the top left.
    std::int32_t y = 0;          ///< See `x`.
    /// Always 0 here; callers rely on their presence only.
    std::array<std::uint64_t, 2> reserved{};
    float delta = 0; ///< Of scrolling: the vertical distance, positive upwards.
};

} // namespace Tovra::System::Desktop
