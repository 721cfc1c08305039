#pragma once

#include <cstdint>

/// Plain geometry. Unit and origin are those of the interface that uses it.
namespace Tovra::System::Math {

/// A point.
struct Coordinate2 {
    std::int32_t x = 0;
    std::int32_t y = 0;

    friend constexpr bool operator==(Coordinate2, Coordinate2) = default;
};

/// An extent.
struct Size2 {
    std::int32_t width = 0;
    std::int32_t height = 0;

    friend constexpr bool operator==(Size2, Size2) = default;
};

/// Two corners, not a corner and a size: the extent is `right - left` by `bottom - top`.
struct Rectangle {
    std::int32_t left = 0;
    std::int32_t top = 0;
    std::int32_t right = 0;
    std::int32_t bottom = 0;

    friend constexpr bool operator==(const Rectangle&, const Rectangle&) = default;
};

} // namespace Tovra::System::Math
