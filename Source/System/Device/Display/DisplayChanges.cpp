#include <System/Device/Display/DisplayChanges.h>

#include <algorithm>
#include <array>
#include <span>

namespace Tovra::System::Device::Display {

const DisplayMode* FindNativeMode(const std::vector<DisplayMode>& modes) {
    const auto mode = std::ranges::find_if(
        modes, [](const DisplayMode& candidate) { return (candidate.flags & DisplayMode::s_nativeFlag) != 0; });
    return mode == modes.end() ? nullptr : &*mode;
}

std::vector<DisplayState> GetDisplayStates() {
    const HeldDisplayQuery held = BeginDisplayQuery();
    const DisplayQuery* const query = held.get();
    std::array<PlatformDisplayID, mostDisplays> displays{};
    std::uint32_t count{};
    std::vector<DisplayState> states;
    if (GetActiveDisplayList(query, displays, count) != 0) {
        return states;
    }
    const PlatformDisplayID mainDisplay = GetMainDisplay(query);
    for (const PlatformDisplayID display : std::span(displays).first(count)) {
        const DisplayOrigin origin = GetDisplayOrigin(query, display);
        const std::vector<DisplayMode> modes = CopyDisplayModes(query, display);
        const DisplayMode* const native = FindNativeMode(modes);
        states.push_back({.display = display,
                          .x = origin.x,
                          .y = origin.y,
                          .width = GetWidthInPoints(query, display),
                          .height = GetHeightInPoints(query, display),
                          .nativeWidth = native == nullptr ? 0 : native->width,
                          .nativeHeight = native == nullptr ? 0 : native->height,
                          .refreshRate = GetCurrentRefreshRate(query, display),
                          .isMain = display == mainDisplay});
    }
    return states;
}

std::vector<DisplayChange> FindDisplayChanges(const std::vector<DisplayState>& before,
                                              const std::vector<DisplayState>& after) {
    std::vector<DisplayChange> changes;
    for (const DisplayState& state : before) {
        if (std::ranges::find(after, state.display, &DisplayState::display) == after.end()) {
            changes.push_back({state.display, DisplayChangeFlag::Remove});
        }
    }
    for (const DisplayState& state : after) {
        const auto former = std::ranges::find(before, state.display, &DisplayState::display);
        if (former == before.end()) {
            changes.push_back({state.display, DisplayChangeFlag::Add});
        } else if (*former != state) {
            changes.push_back({state.display, DisplayChangeFlag::DesktopShapeChanged});
        }
    }
    return changes;
}

} // namespace Tovra::System::Device::Display
