#pragma once

// The displays' seam to the operating system. Coordinates and sizes are in points, with the origin at the top left of
// the desktop. Any thread. Nothing is logged or thrown here.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace Tovra::System::Device::Display {

/// The system's id of a display (`CGDirectDisplayID`, a RandR output); 0 for none.
using PlatformDisplayID = std::uint32_t;

/// The number of displays that are listed at most.
inline constexpr std::size_t mostDisplays = 32;

/// The upper left corner of a display.
struct DisplayOrigin {
    double x = 0;
    double y = 0;
};

/// A mode that a display can be switched to.
struct DisplayMode {
    /// Marks the native mode, the one that the display is made for (`kDisplayModeNativeFlag`).
    static constexpr std::uint32_t s_nativeFlag = 0x02000000;

    std::uint32_t flags = 0;
    std::size_t width = 0; ///< In pixels.
    std::size_t height = 0;
};

/// One query of the displays. On X11 a snapshot of all, as they are fetched at once; null on macOS, where each function
/// asks the system. Opaque.
struct DisplayQuery;

/// Frees a query, which must not be null.
void EndDisplayQuery(DisplayQuery* query);

/// Frees a query by `EndDisplayQuery`.
struct DisplayQueryDeleter {
    void operator()(DisplayQuery* query) const { EndDisplayQuery(query); }
};

/// An owned query, or null.
using HeldDisplayQuery = std::unique_ptr<DisplayQuery, DisplayQueryDeleter>;

/// Begins a query, to be passed to the functions below.
HeldDisplayQuery BeginDisplayQuery();

/// Gives the displays that contain a point, as many as `displays` has room for, and their number; none after an error.
void GetDisplaysWithPoint(const DisplayQuery* query, double x, double y, std::span<PlatformDisplayID> displays,
                          std::uint32_t& count);

/// Gives the displays in use, the main one first, as many as `displays` has room for, and their number. Returns 0, or
/// the system's error, after which the outputs must not be used.
std::int32_t GetActiveDisplayList(const DisplayQuery* query, std::span<PlatformDisplayID> displays,
                                  std::uint32_t& count);

/// The system's main display, or 0.
PlatformDisplayID GetMainDisplay(const DisplayQuery* query);

/// The upper left corner of a display on the desktop.
DisplayOrigin GetDisplayOrigin(const DisplayQuery* query, PlatformDisplayID display);

/// All modes of a display, in the system's order; empty for a display that is gone.
std::vector<DisplayMode> CopyDisplayModes(const DisplayQuery* query, PlatformDisplayID display);

/// The refresh rate of the display's present mode, in Hz; 0 if unknown.
double GetCurrentRefreshRate(const DisplayQuery* query, PlatformDisplayID display);

/// The width of the part of the desktop that the display shows.
std::size_t GetWidthInPoints(const DisplayQuery* query, PlatformDisplayID display);

/// The height of the part of the desktop that the display shows.
std::size_t GetHeightInPoints(const DisplayQuery* query, PlatformDisplayID display);

/// Suspends the calling thread before the displays are listed again.
void SleepBetweenAttempts(std::chrono::nanoseconds time);

} // namespace Tovra::System::Device::Display
