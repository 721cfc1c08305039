#pragma once

// How displays have changed, for a host that only says that they have.

#include <System/Device/Display/DisplayOperations.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Tovra::System::Device::Display {

/// What a change did to a display, as the product's own system flags it (`CGDisplayChangeSummaryFlags`).
enum class DisplayChangeFlag : std::uint32_t {
    BeginConfiguration = 1U << 0, ///< The change has not happened yet.
    Add = 1U << 4,
    Remove = 1U << 5,
    DesktopShapeChanged = 1U << 12,
};

/// What can change about a display in use.
struct DisplayState {
    PlatformDisplayID display = 0;
    double x = 0; ///< In points, as the next three.
    double y = 0;
    std::size_t width = 0;
    std::size_t height = 0;
    std::size_t nativeWidth = 0; ///< Of its own mode, in pixels; 0 without one.
    std::size_t nativeHeight = 0;
    double refreshRate = 0; ///< In Hz.
    bool isMain = false;

    friend bool operator==(const DisplayState&, const DisplayState&) = default;
};

/// What happened to one display.
struct DisplayChange {
    PlatformDisplayID display;
    DisplayChangeFlag flag;

    friend bool operator==(const DisplayChange&, const DisplayChange&) = default;
};

/// The mode that a display is made for: the first that is marked so. Null if none is.
const DisplayMode* FindNativeMode(const std::vector<DisplayMode>& modes);

/// The displays in use as they are now.
std::vector<DisplayState> GetDisplayStates();

/// What happened to each display between two moments: first those that are gone, then those that are new or different,
/// each in its list's order.
std::vector<DisplayChange> FindDisplayChanges(const std::vector<DisplayState>& before,
                                              const std::vector<DisplayState>& after);

} // namespace Tovra::System::Device::Display
