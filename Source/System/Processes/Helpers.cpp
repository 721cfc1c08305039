#include <System/Processes/Helpers.h>

#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace Tovra::System::Processes::Helpers {

namespace {

/// The largest difference of each number of two rectangles that mean the same window.
constexpr double toleranceInPoints = 2.0;

/// Of a window that doesn't tell its bounds: agree with none.
constexpr WindowBounds unknownBounds = {.x = std::numeric_limits<double>::quiet_NaN()};

constexpr std::size_t maximumWindowCount = 1000;

bool Agree(const WindowBounds& left, const WindowBounds& right) {
    const std::array differences = {left.x - right.x, left.y - right.y, left.width - right.width,
                                    left.height - right.height};
    for (const double difference : differences) {
        if (!(std::abs(difference) <= toleranceInPoints)) {
            return false;
        }
    }
    return true;
}

/// The bounds of a window of the accessibility layer; none if it lacks position or size.
std::optional<WindowBounds> GetBounds(AccessibilityElement& window) {
    WindowBounds bounds;
    if (CopyWindowPosition(window, bounds.x, bounds.y) != 0 ||
        CopyWindowSize(window, bounds.width, bounds.height) != 0) {
        return std::nullopt;
    }
    return bounds;
}

/// The bounds of a window of the window server's list; none if it is not there.
std::optional<WindowBounds> GetBounds(std::uint32_t windowId) {
    std::optional<WindowBounds> bounds;
    const WindowListQuery query = {
        .option = WindowListOption::IncludingWindow, .fields = WindowListField::Bounds, .window = windowId};
    WalkWindowList(query, [&bounds](const WindowListEntry& entry) {
        bounds = entry.bounds;
        return VisitorAction::Stop;
    });
    return bounds;
}

} // namespace

HeldAccessibilityElement GetFocusedWindow(std::int32_t processId) {
    const HeldAccessibilityElement application = CreateApplicationElement(processId);
    return application == nullptr ? nullptr : CopyFocusedWindow(*application);
}

std::uint32_t GetWindowId(std::int32_t processId, AccessibilityElement* window) {
    if (window == nullptr) {
        return 0;
    }
    const std::optional<WindowBounds> bounds = GetBounds(*window);
    if (!bounds) {
        return 0;
    }
    std::uint32_t windowId = 0;
    const WindowListQuery query = {.option = WindowListOption::OnScreenOnly,
                                   .fields =
                                       WindowListField::Number | WindowListField::OwnerId | WindowListField::Bounds};
    WalkWindowList(query, [processId, &bounds, &windowId](const WindowListEntry& entry) {
        if (entry.ownerId != processId || !Agree(*bounds, entry.bounds.value_or(unknownBounds))) {
            return VisitorAction::Continue;
        }
        windowId = entry.number.value_or(0);
        return VisitorAction::Stop;
    });
    return windowId;
}

HeldAccessibilityElement GetWindow(std::int32_t processId, std::uint32_t windowId) {
    const std::optional<WindowBounds> bounds = GetBounds(windowId);
    if (!bounds) {
        return nullptr;
    }
    const HeldAccessibilityElement application = CreateApplicationElement(processId);
    if (application == nullptr) {
        return nullptr;
    }
    std::optional<std::vector<HeldAccessibilityElement>> windows = CopyWindows(*application, maximumWindowCount);
    if (!windows) {
        return nullptr;
    }
    for (HeldAccessibilityElement& window : *windows) {
        if (Agree(GetBounds(*window).value_or(unknownBounds), *bounds)) {
            return std::move(window);
        }
    }
    return nullptr;
}

} // namespace Tovra::System::Processes::Helpers
