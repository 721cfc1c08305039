#pragma once

#include <System/Device/Display/DisplayOperations.h>
#include <System/Processes/ProcessWindow.h>
#include <System/Runtime/System.h>
#include <System/Types/Callbacks.h>
#include <System/Types/Geometry.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Tovra::System::Device::Display {

/// A display's place in the list, counted from 1. Every refresh numbers the displays anew; what stays is the name.
using DisplayID = std::uint16_t;

/// Stands for no display, as the highest number is never given. 0 is no display either.
inline constexpr DisplayID noDisplay = 65535;

/// Why the displays are looked for anew.
enum class RefreshType : std::uint32_t { Undefined, DisplayAdded, DisplayChanged, DisplayRemoved, _count };

/// The name of a reason, static text; asserts that it is one. The number of reasons counts as one.
const char* GetRefreshTypeString(RefreshType type);

/// A monitor, or a part of one that is treated as a monitor of its own (a virtual display). Points have their origin at
/// the top left of the desktop.
struct DisplayInfo {
    std::string name;             ///< "Display 7" for the system's display 7; that of its parent for a virtual one.
    DisplayID id = noDisplay;     ///< This record's own.
    DisplayID parent = noDisplay; ///< The display that a virtual one is a part of; none for a monitor.
    PlatformDisplayID platformId = 0xFFFFFFFF; ///< The system's number; that of its parent for a virtual one.
    std::uint16_t width = 0;                   ///< In points.
    std::uint16_t height = 0;                  ///< In points.
    std::uint16_t pixelWidth = 0;              ///< Once or twice the points, whatever the scale is.
    std::uint16_t pixelHeight = 0;             ///< Once or twice the points, whatever the scale is.
    double scaleX = 0;                         ///< Pixels of the display's own mode to a point.
    double scaleY = 0;                         ///< Pixels of the display's own mode to a point.
    std::int16_t x = 0; ///< Of the left edge, in points; for a new virtual display from its parent's left edge.
    std::int16_t y = 0; ///< Of the top edge, in points; for a new virtual display from its parent's top edge.
    std::uint16_t refreshRate = 0; ///< In Hz, the fraction cut off; 0 if not known.
    bool isPrimary = false;        ///< Whether the system treats it as the first.
};

/// What a virtual display was made of.
struct VirtualDisplayInfo {
    DisplayID id = noDisplay;
    Processes::ProcessWindow window{0}; ///< Handle 0 for a rectangle.
};

/// The system that knows the monitors, and the rectangles and windows that are to be treated like monitors. It follows
/// the operating system's display changes, waits while there is no display, and tells its listeners.
///
/// It has no lock: records, ids and virtual displays belong to the thread on which displays change, usually the main
/// thread. Only callbacks may be added and removed on any thread, in a callback as well. Callbacks run on the thread
/// that caused the change.
class DisplayCache final
    : public Runtime::System<DisplayCache, "DisplayCache", GUID{0x2741C9268DCB47A2, 0x9DE7F385B2457F35}> {
public:
    using ActiveDisplayCallback = std::function<void(DisplayID)>;
    using RefreshCallback = std::function<void()>;

    static constexpr Types::TypeID s_typeID = 0xC1F295C4;

    DisplayCache() = default;
    ~DisplayCache() override;

    /// Lists the displays once, neither waiting for any nor calling anyone. Always true. There is no configuration.
    bool Initialize(const Runtime::IConfig* config) override;

    /// Asks for nothing: the cache has no loop.
    void GetExecutionParameters(Runtime::SystemExecutionParameters& parameters) override;

    /// True; no host has anything to prepare.
    static bool InitializePlatform(const Runtime::IConfig* config);

    /// Appends the system's displays to the list, and logs each display that the list then holds. Asserts that extents
    /// and places of the system's displays fit into 16 bits.
    void IterateThroughDevices();

    /// Lists the displays anew and calls the refresh callbacks; true if there is a display.
    ///
    /// Without one it tries a hundred times and holds the thread for 50 seconds in all; the active display is none
    /// then. Otherwise the active display is looked for by its name, and the primary one takes its place if it is gone.
    /// Virtual displays of windows are made anew, those of rectangles are lost. If no display was active before, the
    /// one under the pointer is active now, and the callbacks on the active display are not called for that.
    bool Refresh(RefreshType type);

    /// The record of a display, or null. It lives until the list changes.
    const DisplayInfo* GetDisplayInfo(DisplayID id) const;

    /// The record at a place in the list, counted from 0; asserts that there is one. It lives until the list changes.
    const DisplayInfo& GetDisplayInfo(unsigned long index) const;

    /// How many displays the list holds, virtual ones included.
    unsigned long GetDisplayInfoCount() const { return m_displays.size(); }

    /// Whether the id is on the list; also true for `noDisplay`.
    bool IsDisplayAvailable(DisplayID id) const;

    /// Treats the part of a monitor that a window covers as a display of its own, of the monitor that it covers most.
    /// `noDisplay` if there is no such window or it covers no monitor. It survives a refresh.
    DisplayID AddVirtualDisplay(Processes::ProcessWindow window);

    /// The same of a rectangle of the desktop. It does not survive a refresh.
    DisplayID AddVirtualDisplay(const Math::Rectangle& region);

    /// Appends the record of a virtual display, without noting what it is made of. Primary display and desktop stay as
    /// they are.
    DisplayID AddVirtualDisplayInternal(const Math::Rectangle& rectangle);

    /// What a virtual display was made of, or null. It lives until the virtual displays change.
    const VirtualDisplayInfo* GetVirtualDisplayInfo(DisplayID id) const;

    /// Gives a display another place and size and calls the refresh callbacks; asserts that the display is known. The
    /// place is taken as it is given, from the desktop's origin, even if it was relative to a parent before.
    void RefreshVirtualDisplayInfo(DisplayID id, const Math::Rectangle& rectangle);

    /// Gives a virtual display up and lists the displays anew; nothing happens if it is none. The primary display
    /// becomes active in its place.
    void RemoveVirtualDisplayInfo(DisplayID id);

    /// Makes a display active and calls who wants to know; nothing happens if it is active. Whether there is such a
    /// display is not asked.
    void SetActiveDisplay(DisplayID id);

    /// The active display, or `noDisplay`.
    DisplayID GetActiveDisplay() const { return m_activeDisplay; }

    /// The primary display, or `noDisplay`.
    DisplayID GetPrimaryDisplay() const { return m_primaryDisplay; }

    /// The active display, else the primary one, else the first, else `noDisplay`.
    DisplayID GetDefaultDisplay() const;

    /// The smallest display that holds a point of the desktop, the first one of equals, or `noDisplay`. All edges
    /// belong to a display. A virtual one counts where its record says it lies.
    DisplayID GetDisplay(int x, int y) const;

    /// The smallest rectangle around the desktop's origin and all monitors, in points. Virtual displays don't change
    /// it.
    Math::Rectangle GetVirtualDesktopRect() const { return m_virtualDesktopRect; }

    /// Calls the callback with the active display whenever that changes; at most one callback an owner.
    void AddOnActiveDisplayChangedCallback(void* owner, ActiveDisplayCallback&& callback);
    void RemoveOnActiveDisplayChangedCallback(void* owner);

    /// Calls the callback after each refresh; at most one callback an owner.
    void AddOnRefreshedCallback(void* owner, RefreshCallback&& callback);
    void RemoveOnRefreshedCallback(void* owner);

private:
    /// Appends the system's displays and makes the one under the pointer active, without telling anyone.
    void IterateThroughDevicesPlatform();

    /// Appends the record of a system's display; gives its id, or `noDisplay` if the display has no native mode.
    DisplayID AddDisplay(const DisplayQuery* query, PlatformDisplayID display, bool isPrimary);

    /// Waits until there is a display; false if none has come.
    bool WaitForDisplays();

    /// Makes the display of that name active again, or the primary one.
    void RestoreActiveDisplay(const std::string& name);

    /// The id of a record that is appended next.
    DisplayID GetNextID() const { return static_cast<DisplayID>(m_displays.size() + 1); }

    DisplayID m_primaryDisplay = noDisplay;
    DisplayID m_activeDisplay = noDisplay;
    Math::Rectangle m_virtualDesktopRect;
    std::vector<DisplayInfo> m_displays;
    std::vector<VirtualDisplayInfo> m_virtualDisplays;
    Containers::Callbacks<ActiveDisplayCallback> m_onActiveDisplayChanged;
    Containers::Callbacks<RefreshCallback> m_onRefreshed;
};

/// What the system calls for each display that a change has affected (`CGDisplayReconfigurationCallBack`): refreshes
/// the application's display cache, once a call. Asserts that there is one. `userInfo` has no meaning.
void DisplayReconfigurationCallback(std::uint32_t display, std::uint32_t flags, void* userInfo);

} // namespace Tovra::System::Device::Display
