#include <System/Device/Display/DisplayCache.h>
#include <System/Device/Display/DisplayChanges.h>
#include <System/Device/Mouse/Mouse.h>
#include <System/Log/Log.h>
#include <System/Runtime/ApplicationAccess.h>
#include <System/Types/Utilities.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <format>
#include <optional>
#include <span>
#include <utility>

TOVRA_LOG_CONTEXT(System);

namespace Tovra::System::Device::Display {

namespace {

/// The size of a display's native mode, in pixels.
struct NativeSize {
    std::uint16_t width;
    std::uint16_t height;
};

/// The size of the display's native mode; none if there is no such mode or its area is 0.
std::optional<NativeSize> FindNativeSize(const std::vector<DisplayMode>& modes) {
    const DisplayMode* const mode = FindNativeMode(modes);
    if (mode == nullptr) {
        return std::nullopt;
    }
    const NativeSize size{static_cast<std::uint16_t>(mode->width), static_cast<std::uint16_t>(mode->height)};
    return size.width == 0 || size.height == 0 ? std::nullopt : std::optional(size);
}

/// The rate without its fraction. It goes through 64 bits, since a mode that a user has defined may have any rate.
std::uint16_t TruncateRate(double rate) {
    return static_cast<std::uint16_t>(static_cast<std::int64_t>(rate));
}

Math::Rectangle GetArea(const DisplayInfo& display) {
    return {display.x, display.y, display.x + display.width, display.y + display.height};
}

Math::Rectangle Intersect(const Math::Rectangle& one, const Math::Rectangle& other) {
    return {std::max(one.left, other.left), std::max(one.top, other.top), std::min(one.right, other.right),
            std::min(one.bottom, other.bottom)};
}

Math::Rectangle Unite(const Math::Rectangle& one, const Math::Rectangle& other) {
    return {std::min(one.left, other.left), std::min(one.top, other.top), std::max(one.right, other.right),
            std::max(one.bottom, other.bottom)};
}

/// The area of a rectangle; 0 unless both its extents are positive.
std::int64_t GetCoverage(const Math::Rectangle& rectangle) {
    const std::int64_t width = std::int64_t{rectangle.right} - rectangle.left;
    const std::int64_t height = std::int64_t{rectangle.bottom} - rectangle.top;
    return std::max<std::int64_t>(width, 0) * std::max<std::int64_t>(height, 0);
}

/// Intentional: the area is computed in 32 bits, so a frame whose area is a multiple of 2^32 counts as empty; callers
/// have seen it so since the first release.
bool IsEmptyFrame(const Math::Rectangle& frame) {
    const auto subtract = [](std::int32_t from, std::int32_t what) {
        return static_cast<std::uint32_t>(from) - static_cast<std::uint32_t>(what);
    };
    return subtract(frame.bottom, frame.top) * subtract(frame.right, frame.left) == 0;
}

/// The distance between two edges.
std::uint16_t GetExtent(std::int32_t from, std::int32_t to) {
    return static_cast<std::uint16_t>(std::abs(std::int64_t{to} - from));
}

void LogDisplay(const DisplayInfo& display, const char* primary, const char* end) {
    TOVRA_LOG(DisplayCache, Always, "Display #", display.id, " (", display.x, ",", display.y, " ", display.width, "x",
              display.height, ")", display.parent != noDisplay ? " virtual" : "", primary, end);
}

/// The refresh that a change of the displays requires; none for the announcement of a change.
std::optional<RefreshType> GetRefreshType(std::uint32_t flags) {
    const auto has = [flags](DisplayChangeFlag flag) { return (flags & static_cast<std::uint32_t>(flag)) != 0; };
    if (has(DisplayChangeFlag::BeginConfiguration)) {
        return std::nullopt;
    }
    if (has(DisplayChangeFlag::Remove)) {
        return RefreshType::DisplayRemoved;
    }
    if (has(DisplayChangeFlag::DesktopShapeChanged)) {
        return RefreshType::DisplayChanged;
    }
    return has(DisplayChangeFlag::Add) ? RefreshType::DisplayAdded : RefreshType::Undefined;
}

} // namespace

const char* GetRefreshTypeString(RefreshType type) {
    switch (type) {
    case RefreshType::Undefined:
        return "Undefined";
    case RefreshType::DisplayAdded:
        return "DisplayAdded";
    case RefreshType::DisplayChanged:
        return "DisplayChanged";
    case RefreshType::DisplayRemoved:
        return "DisplayRemoved";
    case RefreshType::_count:
        return "_count";
    }
    TOVRA_FAIL_CASE();
}

DisplayCache::~DisplayCache() {
    TOVRA_LOG(DisplayCache, Debug, "Display cache destroyed.");
}

bool DisplayCache::Initialize(const Runtime::IConfig* config) {
    macro_logContext.stream = Log::StreamID::DisplayCache;
    Log::ContextRegistry::UpdateContext(macro_logContext);
    IterateThroughDevices();
    return InitializePlatform(config);
}

void DisplayCache::GetExecutionParameters(Runtime::SystemExecutionParameters&) {}

bool DisplayCache::InitializePlatform(const Runtime::IConfig*) {
    return true;
}

void DisplayCache::IterateThroughDevices() {
    IterateThroughDevicesPlatform();
    for (const DisplayInfo& display : m_displays) {
        if (display.isPrimary) {
            m_primaryDisplay = display.id;
        }
        m_virtualDesktopRect = Unite(m_virtualDesktopRect, GetArea(display));
    }
    for (const DisplayInfo& display : m_displays) {
        LogDisplay(display, display.id == m_primaryDisplay ? " primary" : "",
                   display.id == m_activeDisplay ? " active." : ".");
    }
}

void DisplayCache::IterateThroughDevicesPlatform() {
    Mouse::Position<0> pointer;
    Mouse::Mouse::GetCurrentPosition(pointer);
    const HeldDisplayQuery held = BeginDisplayQuery();
    const DisplayQuery* const query = held.get();

    std::uint32_t count{};
    PlatformDisplayID underPointer = 0;
    GetDisplaysWithPoint(query, static_cast<float>(pointer.x), static_cast<float>(pointer.y), {&underPointer, 1},
                         count);

    std::array<PlatformDisplayID, mostDisplays> displays{};
    if (GetActiveDisplayList(query, displays, count) != 0) {
        return;
    }
    const PlatformDisplayID mainDisplay = GetMainDisplay(query);
    for (const PlatformDisplayID display : std::span(displays).first(count)) {
        const DisplayID id = AddDisplay(query, display, display == mainDisplay);
        if (id != noDisplay && display == underPointer) {
            m_activeDisplay = id;
        }
    }
}

DisplayID DisplayCache::AddDisplay(const DisplayQuery* query, PlatformDisplayID display, bool isPrimary) {
    const DisplayOrigin origin = GetDisplayOrigin(query, display);
    const std::optional<NativeSize> native = FindNativeSize(CopyDisplayModes(query, display));
    if (!native) {
        return noDisplay;
    }
    const double rate = GetCurrentRefreshRate(query, display);
    const auto width = SafeCast<std::uint16_t>(GetWidthInPoints(query, display));
    const auto height = SafeCast<std::uint16_t>(GetHeightInPoints(query, display));
    // Intentional: a doubling, not a product with the scale; callers size their pictures by it, and find the true ratio
    // in the scale.
    const int doubling = native->width != width || native->height != height ? 1 : 0;
    DisplayInfo info{.name = std::format("Display {}", display),
                     .id = GetNextID(),
                     .platformId = display,
                     .width = width,
                     .height = height,
                     .pixelWidth = static_cast<std::uint16_t>(width << doubling),
                     .pixelHeight = static_cast<std::uint16_t>(height << doubling),
                     .scaleX = static_cast<double>(native->width) / width,
                     .scaleY = static_cast<double>(native->height) / height,
                     .x = SafeCast<std::int16_t>(origin.x),
                     .y = SafeCast<std::int16_t>(origin.y),
                     .refreshRate = TruncateRate(rate),
                     .isPrimary = isPrimary};
    return m_displays.emplace_back(std::move(info)).id;
}

bool DisplayCache::Refresh(RefreshType type) {
    TOVRA_LOG(DisplayCache, Debug, "Refresh start");
    TOVRA_LOG(DisplayCache, Verbose, "Called: Refresh");
    TOVRA_LOG(DisplayCache, Info, "Display cache refresh reason: ", GetRefreshTypeString(type));

    const DisplayID formerDisplay = m_activeDisplay;
    const DisplayInfo* const formerInfo = GetDisplayInfo(formerDisplay);
    const std::string formerName = formerInfo != nullptr ? formerInfo->name : std::string();
    const std::vector<VirtualDisplayInfo> formerVirtualDisplays = std::exchange(m_virtualDisplays, {});
    m_displays.clear();
    m_primaryDisplay = noDisplay;
    m_virtualDesktopRect = {};

    if (!WaitForDisplays()) {
        TOVRA_LOG(DisplayCache, Warning, "No display found, no active display set.");
        SetActiveDisplay(noDisplay);
    } else {
        // Intentional: added as a window even if it was made from a rectangle, which then fails; only windows survive a
        // refresh, and callers add their rectangles again when they are told of it.
        for (const VirtualDisplayInfo& virtualDisplay : formerVirtualDisplays) {
            AddVirtualDisplay(virtualDisplay.window);
        }
        // Intentional: if no display was active, only this step is left out; the callbacks on the active display are
        // not told of the one under the pointer, but all callbacks on a refresh are called.
        if (formerDisplay != noDisplay) {
            RestoreActiveDisplay(formerName);
        }
    }
    m_onRefreshed.Call();
    TOVRA_LOG(DisplayCache, Debug, "Refresh end");
    return !m_displays.empty();
}

bool DisplayCache::WaitForDisplays() {
    constexpr int attempts = 100;
    constexpr int attemptsPerWarning = 10;
    constexpr std::chrono::nanoseconds pause(500'000'000);
    for (int attempt = 1; attempt <= attempts; ++attempt) {
        IterateThroughDevices();
        if (!m_displays.empty()) {
            return true;
        }
        if (attempt % attemptsPerWarning == 1) {
            TOVRA_LOG(DisplayCache, Warning, "Failed to find displays, retry ", attempt, " / ", attempts);
        }
        SleepBetweenAttempts(pause);
    }
    return false;
}

void DisplayCache::RestoreActiveDisplay(const std::string& name) {
    // Intentional: for a virtual display this finds its parent, which has the same name and comes first; ids of virtual
    // displays don't survive a refresh, so callers make the new one active themselves.
    const auto display = std::ranges::find(m_displays, name, &DisplayInfo::name);
    const DisplayID id = display == m_displays.end() ? noDisplay : display->id;
    SetActiveDisplay(id < noDisplay ? id : m_primaryDisplay);
}

const DisplayInfo* DisplayCache::GetDisplayInfo(DisplayID id) const {
    return id == 0 || id > m_displays.size() ? nullptr : &m_displays[id - 1U];
}

const DisplayInfo& DisplayCache::GetDisplayInfo(unsigned long index) const {
    TOVRA_ASSERT(index < m_displays.size(), "Parameter 'index' is out-of-range.");
    return m_displays[index];
}

bool DisplayCache::IsDisplayAvailable(DisplayID id) const {
    return id == noDisplay || GetDisplayInfo(id) != nullptr;
}

DisplayID DisplayCache::AddVirtualDisplay(Processes::ProcessWindow window) {
    if (window.handle == 0) {
        TOVRA_LOG(DisplayCache, Warning, "Parameter 'window' is not valid.");
        return noDisplay;
    }
    const Math::Rectangle frame = window.GetFrame();
    if (IsEmptyFrame(frame)) {
        TOVRA_LOG(DisplayCache, Warning, "Frame of parameter 'window' is not valid.");
        return noDisplay;
    }
    const DisplayID id = AddVirtualDisplayInternal(frame);
    if (id == noDisplay) {
        TOVRA_LOG(DisplayCache, Warning, "Failed to add virtual display for parameter 'window'.");
        return noDisplay;
    }
    m_virtualDisplays.push_back({id, window});
    return id;
}

DisplayID DisplayCache::AddVirtualDisplay(const Math::Rectangle& region) {
    const DisplayID id = AddVirtualDisplayInternal(region);
    if (id == noDisplay) {
        TOVRA_LOG(DisplayCache, Warning, "Failed to add virtual display for parameter 'region'.");
        return noDisplay;
    }
    m_virtualDisplays.push_back({.id = id});
    return id;
}

DisplayID DisplayCache::AddVirtualDisplayInternal(const Math::Rectangle& rectangle) {
    const auto cover = [&rectangle](const DisplayInfo& display) {
        return display.parent == noDisplay ? GetCoverage(Intersect(rectangle, GetArea(display))) : 0;
    };
    const auto parent = std::ranges::max_element(m_displays, {}, cover);
    if (parent == m_displays.end() || cover(*parent) == 0) {
        return noDisplay;
    }
    const Math::Rectangle overlap = Intersect(rectangle, GetArea(*parent));
    const std::uint16_t width = GetExtent(overlap.left, overlap.right);
    const std::uint16_t height = GetExtent(overlap.top, overlap.bottom);
    DisplayInfo info{.name = parent->name,
                     .id = GetNextID(),
                     .parent = parent->id,
                     .platformId = parent->platformId,
                     .width = width,
                     .height = height,
                     .pixelWidth = width,
                     .pixelHeight = height,
                     .scaleX = 1.0,
                     .scaleY = 1.0,
                     .x = static_cast<std::int16_t>(overlap.left - parent->x),
                     .y = static_cast<std::int16_t>(overlap.top - parent->y),
                     .refreshRate = parent->refreshRate};
    LogDisplay(info, "", "");
    return m_displays.emplace_back(std::move(info)).id;
}

const VirtualDisplayInfo* DisplayCache::GetVirtualDisplayInfo(DisplayID id) const {
    const auto found = std::ranges::find(m_virtualDisplays, id, &VirtualDisplayInfo::id);
    return found == m_virtualDisplays.end() ? nullptr : &*found;
}

void DisplayCache::RefreshVirtualDisplayInfo(DisplayID id, const Math::Rectangle& rectangle) {
    const std::size_t index = std::size_t{id} - 1;
    TOVRA_ASSERT(index < m_displays.size(), "Parameter 'displayID' is not referencing a known display.");
    DisplayInfo& display = m_displays[index];
    display.pixelWidth = display.width = GetExtent(rectangle.left, rectangle.right);
    display.pixelHeight = display.height = GetExtent(rectangle.top, rectangle.bottom);
    // Intentional: an absolute position, unlike that of a new virtual display, which is relative to its parent; callers
    // who move their displays do so on the desktop.
    display.x = static_cast<std::int16_t>(rectangle.left);
    display.y = static_cast<std::int16_t>(rectangle.top);
    m_onRefreshed.Call();
}

void DisplayCache::RemoveVirtualDisplayInfo(DisplayID id) {
    const auto found = std::ranges::find(m_virtualDisplays, id, &VirtualDisplayInfo::id);
    if (found == m_virtualDisplays.end()) {
        return;
    }
    m_virtualDisplays.erase(found);
    if (id == m_activeDisplay) {
        SetActiveDisplay(m_primaryDisplay);
    }
    Refresh(RefreshType::DisplayRemoved);
}

void DisplayCache::SetActiveDisplay(DisplayID id) {
    if (id == m_activeDisplay) {
        return;
    }
    TOVRA_LOG(DisplayCache, Verbose, "SetActiveDisplay from ", m_activeDisplay, " to ", id, ".");
    m_activeDisplay = id;
    // Each callback gets the display that is active when it is called: one before it may have set another.
    m_onActiveDisplayChanged.Call(m_activeDisplay);
}

DisplayID DisplayCache::GetDefaultDisplay() const {
    if (m_activeDisplay < noDisplay) {
        return m_activeDisplay;
    }
    if (m_primaryDisplay < noDisplay) {
        return m_primaryDisplay;
    }
    return m_displays.empty() ? noDisplay : m_displays.front().id;
}

DisplayID DisplayCache::GetDisplay(int x, int y) const {
    DisplayID result = noDisplay;
    std::uint32_t smallestArea = 0x7FFFFFFF;
    for (const DisplayInfo& display : m_displays) {
        const std::uint32_t area = std::uint32_t{display.width} * display.height;
        if (display.x <= x && display.y <= y && display.x + display.width >= x && display.y + display.height >= y &&
            area < smallestArea) {
            smallestArea = area;
            result = display.id;
        }
    }
    return result;
}

void DisplayCache::AddOnActiveDisplayChangedCallback(void* owner, ActiveDisplayCallback&& callback) {
    m_onActiveDisplayChanged.PushBack(owner, std::move(callback));
}

void DisplayCache::RemoveOnActiveDisplayChangedCallback(void* owner) {
    m_onActiveDisplayChanged.Remove(owner);
}

void DisplayCache::AddOnRefreshedCallback(void* owner, RefreshCallback&& callback) {
    m_onRefreshed.PushBack(owner, std::move(callback));
}

void DisplayCache::RemoveOnRefreshedCallback(void* owner) {
    m_onRefreshed.Remove(owner);
}

void DisplayReconfigurationCallback(std::uint32_t, std::uint32_t flags, void*) {
    if (const std::optional<RefreshType> type = GetRefreshType(flags)) {
        Runtime::GetSystem<DisplayCache>().Refresh(*type);
    }
}

} // namespace Tovra::System::Device::Display
