// Measures the list of displays: its refresh against xrandr, which is timed as a whole process less the time of a start
// that does little but connect to the server; and a look-up against a plain loop. Needs a display with three monitors.

#include <System/Device/Display/DisplayCache.h>
#include <System/Runtime/Application.h>

#include <Programs.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using Tovra::Benchmarks::Compare;
using Tovra::Benchmarks::CompareLessStart;
using Tovra::Benchmarks::Keep;
using Tovra::Benchmarks::Require;
using Tovra::System::Device::Display::DisplayCache;
using Tovra::System::Device::Display::DisplayInfo;
using Tovra::System::Device::Display::noDisplay;
using Tovra::System::Device::Display::RefreshType;
using Tovra::System::Math::Coordinate2;
using Tovra::System::Math::Rectangle;

constexpr unsigned long monitorCount = 3;
constexpr unsigned long displayCount = 32;

bool CompareRefresh(DisplayCache& cache) {
    const auto ours = [&cache] {
        Require(cache.Refresh(RefreshType::DisplayChanged) && cache.GetDisplayInfoCount() == monitorCount,
                "There are not three monitors.");
    };
    return CompareLessStart("refresh of 3 monitors, xrandr --current", 0.7, ours, {"xrandr", "--current"},
                            {"xrandr", "--version"});
}

/// The smallest of the rectangles that contain a point, the first one of equals.
std::size_t FindSmallest(const std::vector<Rectangle>& rectangles, Coordinate2 point) {
    std::size_t result = rectangles.size();
    int smallestArea = 0x7FFFFFFF;
    for (std::size_t index = 0; index < rectangles.size(); ++index) {
        const auto [left, top, right, bottom] = rectangles[index];
        const int area = (right - left) * (bottom - top);
        if (left <= point.x && top <= point.y && right >= point.x && bottom >= point.y && area < smallestArea) {
            smallestArea = area;
            result = index;
        }
    }
    return result;
}

bool CompareGetDisplay(DisplayCache& cache) {
    std::mt19937 generator(1);
    const auto random = [&generator](unsigned int below) { return static_cast<int>(generator() % below); };
    while (cache.GetDisplayInfoCount() < displayCount) {
        const int left = random(2500);
        const int top = random(500);
        Require(cache.AddVirtualDisplay(Rectangle{left, top, left + 400, top + 200}) != noDisplay,
                "There is no display.");
    }
    std::vector<Rectangle> rectangles;
    for (unsigned long index = 0; index < displayCount; ++index) {
        const DisplayInfo& info = cache.GetDisplayInfo(index);
        rectangles.push_back({info.x, info.y, info.x + info.width, info.y + info.height});
    }
    std::vector<Coordinate2> points(10000);
    for (Coordinate2& point : points) {
        point = {random(3000), random(700)};
        Require(cache.GetDisplay(point.x, point.y) == FindSmallest(rectangles, point) + 1, "Displays differ.");
    }
    const auto ours = [&cache, &points] {
        for (const Coordinate2 point : points) {
            Keep(cache.GetDisplay(point.x, point.y));
        }
    };
    const auto theirs = [&rectangles, &points] {
        for (const Coordinate2 point : points) {
            Keep(FindSmallest(rectangles, point));
        }
    };
    return Compare("GetDisplay of 32, 32 rectangles", 1.5, ours, theirs);
}

} // namespace

int main() {
    // Nothing is logged without a logger, but logging needs an application.
    const Tovra::System::Runtime::Application application(L"DisplaysBenchmark");
    DisplayCache cache;
    cache.Initialize(nullptr);
    const bool isRefreshFast = CompareRefresh(cache);
    const bool isLookFast = CompareGetDisplay(cache);
    return isRefreshFast && isLookFast ? 0 : 1;
}
