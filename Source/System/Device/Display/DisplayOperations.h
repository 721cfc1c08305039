#pragma once

// What the rules of displays ask of the operating system. Coordinates and sizes are in points, with the origin at the
// top left of the desktop. Any thread. Nothing is logged or thrown here.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace Tovra::System::Device::Display {

/// The number by which the system knows a display (`CGDirectDisplayID`, an output of RandR); 0 for none.
using PlatformDisplayID = std::uint32_t;

/// How many displays are asked for at most.
inline constexpr std::size_t mostDisplays = 32;

/// The upper left corner of a display.
struct DisplayOrigin {
    double x = 0;
    double y = 0;
};

/// A mode that a display can be switched to.
struct DisplayMode {
    /// Marks the mode that the display is made for (`kDisplayModeNativeFlag`).
    static constexpr std::uint32_t s_nativeFlag = 0x02000000;

    std::uint32_t flags = 0;
    std::size_t width = 0; ///< In pixels.
    std::size_t height = 0;
};

/// The displays as one round of questions finds them, for a host that has to fetch them all at once; null on one that
/// has them at hand. What it holds is the host's own.
struct DisplayQuery;

/// Ends a round of questions; `query` is not null.
void EndDisplayQuery(DisplayQuery* query);

struct DisplayQueryDeleter {
    void operator()(DisplayQuery* query) const { EndDisplayQuery(query); }
};

using HeldDisplayQuery = std::unique_ptr<DisplayQuery, DisplayQueryDeleter>;

/// Begins a round of questions, which sees the displays of this moment. The functions below belong to a round.
HeldDisplayQuery BeginDisplayQuery();

/// Gives the displays that hold a point, as many as there is room for, and their number.
void GetDisplaysWithPoint(const DisplayQuery* query, double x, double y, std::span<PlatformDisplayID> displays,
                          std::uint32_t& count);

/// Gives the displays that are in use, the main one first, as many as there is room for, and their number. 0, or the
/// system's error, after which nothing is given.
std::int32_t GetActiveDisplayList(const DisplayQuery* query, std::span<PlatformDisplayID> displays,
                                  std::uint32_t& count);

/// The display that the system itself treats as the first, or 0.
PlatformDisplayID GetMainDisplay(const DisplayQuery* query);

/// Where a display lies on the desktop.
DisplayOrigin GetDisplayOrigin(const DisplayQuery* query, PlatformDisplayID display);

/// All modes of a display in the system's order; empty for one that is gone.
std::vector<DisplayMode> CopyDisplayModes(const DisplayQuery* query, PlatformDisplayID display);

/// How often the display is redrawn in its present mode, in Hz; 0 where that is not known.
double GetCurrentRefreshRate(const DisplayQuery* query, PlatformDisplayID display);

/// The width of the desktop's part that the display shows.
std::size_t GetWidthInPoints(const DisplayQuery* query, PlatformDisplayID display);

/// The height of the desktop's part that the display shows.
std::size_t GetHeightInPoints(const DisplayQuery* query, PlatformDisplayID display);

/// Suspends the calling thread while the system may find its displays again.
void SleepBetweenAttempts(std::chrono::nanoseconds time);

} // namespace Tovra::System::Device::Display
