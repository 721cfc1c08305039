#include <Fakes/DisplayOperations.h>

#include <algorithm>
#include <stdexcept>

namespace Tovra::System::Device::Display {

using Tests::Fakes::displayOperations;
using Tests::Fakes::FakeDisplay;

/// The displays at the query's beginning.
struct DisplayQuery {
    std::vector<FakeDisplay> displays;
};

namespace {

const FakeDisplay& Find(const DisplayQuery* query, PlatformDisplayID display) {
    const auto found = std::ranges::find(query->displays, display, &FakeDisplay::id);
    if (found == query->displays.end()) {
        throw std::logic_error("There is no such display.");
    }
    return *found;
}

} // namespace

void EndDisplayQuery(DisplayQuery* query) {
    --displayOperations.openQueries;
    delete query;
}

HeldDisplayQuery BeginDisplayQuery() {
    ++displayOperations.openQueries;
    displayOperations.calls.emplace_back("Begin");
    if (displayOperations.onBegin) {
        displayOperations.onBegin();
    }
    return HeldDisplayQuery(new DisplayQuery{displayOperations.displays});
}

void GetDisplaysWithPoint(const DisplayQuery* query, double x, double y, std::span<PlatformDisplayID> displays,
                          std::uint32_t& count) {
    displayOperations.calls.emplace_back("WithPoint");
    displayOperations.points.emplace_back(x, y);
    count = 0;
    for (const FakeDisplay& display : query->displays) {
        if (x >= display.x && x < display.x + static_cast<double>(display.width) && y >= display.y &&
            y < display.y + static_cast<double>(display.height) && count < displays.size()) {
            displays[count++] = display.id;
        }
    }
}

std::int32_t GetActiveDisplayList(const DisplayQuery* query, std::span<PlatformDisplayID> displays,
                                  std::uint32_t& count) {
    displayOperations.calls.emplace_back("List");
    displayOperations.capacities.push_back(displays.size());
    if (displayOperations.listFault.Strikes()) {
        return displayOperations.listFault.result;
    }
    count = 0;
    if (displayOperations.emptyRounds > 0) {
        --displayOperations.emptyRounds;
        return 0;
    }
    for (const FakeDisplay& display : query->displays) {
        if (count < displays.size()) {
            displays[count++] = display.id;
        }
    }
    return 0;
}

PlatformDisplayID GetMainDisplay(const DisplayQuery*) {
    displayOperations.calls.emplace_back("Main");
    return displayOperations.mainDisplay;
}

DisplayOrigin GetDisplayOrigin(const DisplayQuery* query, PlatformDisplayID display) {
    return {.x = Find(query, display).x, .y = Find(query, display).y};
}

std::vector<DisplayMode> CopyDisplayModes(const DisplayQuery* query, PlatformDisplayID display) {
    return Find(query, display).modes;
}

double GetCurrentRefreshRate(const DisplayQuery* query, PlatformDisplayID display) {
    displayOperations.ratedDisplays.push_back(display);
    return Find(query, display).refreshRate;
}

std::size_t GetWidthInPoints(const DisplayQuery* query, PlatformDisplayID display) {
    return Find(query, display).width;
}

std::size_t GetHeightInPoints(const DisplayQuery* query, PlatformDisplayID display) {
    return Find(query, display).height;
}

void SleepBetweenAttempts(std::chrono::nanoseconds time) {
    displayOperations.calls.emplace_back("Sleep");
    displayOperations.sleeps.push_back(time);
}

} // namespace Tovra::System::Device::Display
