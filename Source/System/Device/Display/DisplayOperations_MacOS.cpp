#include <System/Device/Display/DisplayChanges.h>
#include <System/Device/Display/DisplayOperations.h>
#include <System/Utilities/CoreFoundation_MacOS.h>

#include <ApplicationServices/ApplicationServices.h>
#include <IOKit/graphics/IOGraphicsTypes.h>

#include <algorithm>

namespace Tovra::System::Device::Display {

static_assert(sizeof(PlatformDisplayID) == sizeof(CGDirectDisplayID));
static_assert(DisplayMode::s_nativeFlag == kDisplayModeNativeFlag);
static_assert(static_cast<int>(DisplayChangeFlag::BeginConfiguration) == kCGDisplayBeginConfigurationFlag);
static_assert(static_cast<int>(DisplayChangeFlag::Add) == kCGDisplayAddFlag);
static_assert(static_cast<int>(DisplayChangeFlag::Remove) == kCGDisplayRemoveFlag);
static_assert(static_cast<int>(DisplayChangeFlag::DesktopShapeChanged) == kCGDisplayDesktopShapeChangedFlag);

void EndDisplayQuery(DisplayQuery*) {}

HeldDisplayQuery BeginDisplayQuery() {
    return nullptr;
}

void GetDisplaysWithPoint(const DisplayQuery*, double x, double y, std::span<PlatformDisplayID> displays,
                          std::uint32_t& count) {
    const auto capacity = static_cast<std::uint32_t>(displays.size());
    if (CGGetDisplaysWithPoint(CGPointMake(x, y), capacity, displays.data(), &count) != kCGErrorSuccess) {
        // What it may have left there is no display.
        std::ranges::fill(displays, 0);
        count = 0;
    }
}

std::int32_t GetActiveDisplayList(const DisplayQuery*, std::span<PlatformDisplayID> displays, std::uint32_t& count) {
    return CGGetActiveDisplayList(static_cast<std::uint32_t>(displays.size()), displays.data(), &count);
}

PlatformDisplayID GetMainDisplay(const DisplayQuery*) {
    return CGMainDisplayID();
}

DisplayOrigin GetDisplayOrigin(const DisplayQuery*, PlatformDisplayID display) {
    const CGRect bounds = CGDisplayBounds(display);
    return {.x = bounds.origin.x, .y = bounds.origin.y};
}

std::vector<DisplayMode> CopyDisplayModes(const DisplayQuery*, PlatformDisplayID display) {
    std::vector<DisplayMode> modes;
    const Utilities::HeldReference<CFArrayRef> list(CGDisplayCopyAllDisplayModes(display, nullptr));
    if (list == nullptr) {
        return modes;
    }
    for (CFIndex index = 0; index < CFArrayGetCount(list.get()); ++index) {
        auto* const mode =
            Utilities::CastTo<CGDisplayModeRef>(CFArrayGetValueAtIndex(list.get(), index), CGDisplayModeGetTypeID());
        if (mode == nullptr) {
            continue;
        }
        modes.push_back({.flags = CGDisplayModeGetIOFlags(mode),
                         .width = CGDisplayModeGetWidth(mode),
                         .height = CGDisplayModeGetHeight(mode)});
    }
    return modes;
}

double GetCurrentRefreshRate(const DisplayQuery*, PlatformDisplayID display) {
    // Intentional: the mode is never released; it stays valid for all code of the process that got hold of it. The
    // analyzer reports the leak.
    auto* const mode = CGDisplayCopyDisplayMode(display);
    return mode == nullptr ? 0 : CGDisplayModeGetRefreshRate(mode); // NOLINT(clang-analyzer-osx.cocoa.RetainCount)
}

std::size_t GetWidthInPoints(const DisplayQuery*, PlatformDisplayID display) {
    return CGDisplayPixelsWide(display);
}

std::size_t GetHeightInPoints(const DisplayQuery*, PlatformDisplayID display) {
    return CGDisplayPixelsHigh(display);
}

} // namespace Tovra::System::Device::Display
