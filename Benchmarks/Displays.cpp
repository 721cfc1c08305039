// Measures the list of displays. xrandr is timed as a whole process less the time of a start that does little but
// connect to the server. Needs a display with three monitors. DisplaysBenchmark [row ...]

#include <System/Device/Display/DisplayCache.h>
#include <System/Runtime/Application.h>

#include <HeldReply.h>
#include <Programs.h>
#include <xcb/randr.h>

#include <random>
#include <span>
#include <vector>

// After all others, since Xlib's macros have common names.
// clang-format off
#include <X11/Xlib.h>
#include <X11/Xutil.h>
// clang-format on

namespace {

using Tovra::Benchmarks::AtMost;
using Tovra::Benchmarks::Compare;
using Tovra::Benchmarks::Hold;
using Tovra::Benchmarks::Keep;
using Tovra::Benchmarks::MakeRun;
using Tovra::Benchmarks::Require;
using Tovra::System::Device::Display::DisplayCache;
using Tovra::System::Device::Display::DisplayInfo;
using Tovra::System::Device::Display::noDisplay;
using Tovra::System::Device::Display::RefreshType;
using Tovra::System::Math::Coordinate2;
using Tovra::System::Math::Rectangle;

constexpr unsigned long monitorCount = 3;
constexpr unsigned long displayCount = 32;

/// The requests that tell of all monitors, in two round trips.
void AskForMonitors(xcb_connection_t* connection, xcb_window_t root) {
    const auto resourcesCookie = xcb_randr_get_screen_resources_current(connection, root);
    const auto primaryCookie = xcb_randr_get_output_primary(connection, root);
    const auto resources = Hold(xcb_randr_get_screen_resources_current_reply(connection, resourcesCookie, nullptr));
    Keep(Hold(xcb_randr_get_output_primary_reply(connection, primaryCookie, nullptr)));
    std::vector<xcb_randr_get_output_info_cookie_t> outputs;
    std::vector<xcb_randr_get_crtc_info_cookie_t> crtcs;
    for (const auto output :
         std::span(xcb_randr_get_screen_resources_current_outputs(resources.get()), resources->num_outputs)) {
        outputs.push_back(xcb_randr_get_output_info(connection, output, resources->config_timestamp));
    }
    for (const auto crtc :
         std::span(xcb_randr_get_screen_resources_current_crtcs(resources.get()), resources->num_crtcs)) {
        crtcs.push_back(xcb_randr_get_crtc_info(connection, crtc, resources->config_timestamp));
    }
    for (const auto output : outputs) {
        Keep(Hold(xcb_randr_get_output_info_reply(connection, output, nullptr)));
    }
    for (const auto crtc : crtcs) {
        Keep(Hold(xcb_randr_get_crtc_info_reply(connection, crtc, nullptr)));
    }
}

void CompareRefresh(DisplayCache& cache) {
    const auto ours = [&cache] {
        Require(cache.Refresh(RefreshType::DisplayChanged) && cache.GetDisplayInfoCount() == monitorCount,
                "There are not three monitors.");
    };
    xcb_connection_t* const connection = xcb_connect(nullptr, nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    Compare("Refresh of 3 monitors", ours,
            {{"peer", "`xrandr --current`", AtMost(0.7), MakeRun({"xrandr", "--current"}),
              MakeRun({"xrandr", "--version"})},
             {"limit", "the requests alone", AtMost(1.2), [=] { AskForMonitors(connection, root); }}});
    xcb_disconnect(connection);
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

void CompareGetDisplay(DisplayCache& cache) {
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
    const auto loop = [&rectangles, &points] {
        for (const Coordinate2 point : points) {
            Keep(FindSmallest(rectangles, point));
        }
    };
    std::vector<Region> regions;
    for (const auto [left, top, right, bottom] : rectangles) {
        XRectangle area = {static_cast<short>(left), static_cast<short>(top), static_cast<unsigned short>(right - left),
                           static_cast<unsigned short>(bottom - top)};
        regions.push_back(XCreateRegion());
        XUnionRectWithRegion(&area, regions.back(), regions.back());
    }
    const auto theirs = [&regions, &points] {
        for (const Coordinate2 point : points) {
            for (const Region region : regions) {
                Keep(XPointInRegion(region, point.x, point.y));
            }
        }
    };
    Compare("`GetDisplay` among 32 displays", ours,
            {{"peer", "`XPointInRegion` of Xlib", AtMost(1.0), theirs},
             {"limit", "a loop over the rectangles", AtMost(1.5), loop}});
    for (const Region region : regions) {
        XDestroyRegion(region);
    }
}

} // namespace

int main(int count, char** arguments) {
    Tovra::Benchmarks::ChooseRows(count, arguments);
    // Nothing is logged without a logger, but logging needs an application.
    const Tovra::System::Runtime::Application application(L"DisplaysBenchmark");
    DisplayCache cache;
    cache.Initialize(nullptr);
    CompareRefresh(cache);
    CompareGetDisplay(cache);
}
