#pragma once

// Changes of the displays: the flags that report one, and, for a host whose events only say that something has changed,
// what it was.

#include <System/Device/Display/DisplayOperations.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Tovra::System::Device::Display {

/// What a change did to a display, with the values of macOS (`CGDisplayChangeSummaryFlags`).
enum class DisplayChangeFlag : std::uint32_t {
    BeginConfiguration = 1U << 0, ///< The change has not happened yet.
    Add = 1U << 4,
    Remove = 1U << 5,
    DesktopShapeChanged = 1U << 12,
};

/// The properties of a display that can change.
struct DisplayState {
    PlatformDisplayID display = 0;
    double x = 0; ///< In points, as are the next three.
    double y = 0;
    std::size_t width = 0;
    std::size_t height = 0;
    std::size_t nativeWidth = 0; ///< Of the native mode, in pixels; 0 without one.
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

/// The first mode that is marked as native, an element of `modes`; null if none is.
const DisplayMode* FindNativeMode(const std::vector<DisplayMode>& modes);

/// The displays in use now, in the system's order; empty if they can't be listed. Any thread.
std::vector<DisplayState> GetDisplayStates();

/// The changes from one list to the other: first the displays that are gone, then those that are new or different, each
/// in the order of its list.
std::vector<DisplayChange> FindDisplayChanges(const std::vector<DisplayState>& before,
                                              const std::vector<DisplayState>& after);

} // namespace Tovra::System::Device::Display
