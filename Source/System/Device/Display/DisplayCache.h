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

/// A display's position in the list, counted from 1. A refresh assigns new ids; names stay.
using DisplayID = std::uint16_t;

/// No display; this id is never assigned. 0 is no display either.
inline constexpr DisplayID noDisplay = 65535;

/// Why the displays are listed anew.
enum class RefreshType : std::uint32_t { Undefined, DisplayAdded, DisplayChanged, DisplayRemoved, _count };

/// The name of an enumerator, `_count` included. Static text. Asserts on any other value.
const char* GetRefreshTypeString(RefreshType type);

/// A monitor, or a part of one that is treated like a monitor (a virtual display). Points have their origin at the top
/// left of the desktop.
struct DisplayInfo {
    std::string name;             ///< "Display 7" for the system's display 7; the parent's name for a virtual one.
    DisplayID id = noDisplay;     ///< The id of this display.
    DisplayID parent = noDisplay; ///< The display that a virtual one is a part of; none for a monitor.
    PlatformDisplayID platformId = 0xFFFFFFFF; ///< The system's id; the parent's for a virtual display.
    std::uint16_t width = 0;                   ///< In points.
    std::uint16_t height = 0;                  ///< In points.
    std::uint16_t pixelWidth = 0;              ///< The points, or twice as many if the native mode has another size.
    std::uint16_t pixelHeight = 0;             ///< The points, or twice as many if the native mode has another size.
    double scaleX = 0;                         ///< Pixels of the native mode per point; 1 for a virtual display.
    double scaleY = 0;                         ///< Pixels of the native mode per point; 1 for a virtual display.
    std::int16_t x = 0; ///< The left edge, in points; that of a new virtual display relative to its parent's.
    std::int16_t y = 0; ///< The top edge, in points; that of a new virtual display relative to its parent's.
    std::uint16_t refreshRate = 0; ///< In Hz, without its fraction; 0 if unknown.
    bool isPrimary = false;        ///< Whether it is the system's main display.
};

/// What a virtual display was made from.
struct VirtualDisplayInfo {
    DisplayID id = noDisplay;
    Processes::ProcessWindow window{0}; ///< Handle 0 for a rectangle.
};

/// The list of the monitors and of the virtual displays: rectangles and windows that are treated like monitors. It
/// follows the operating system's display changes, waits while there is no display, and calls its listeners.
///
/// Not locked: the displays belong to the thread on which they change, usually the main thread. Only callbacks may be
/// added and removed on any thread, also by a callback. Callbacks run on the thread that caused the change.
class DisplayCache final
    : public Runtime::System<DisplayCache, "DisplayCache", GUID{0x2741C9268DCB47A2, 0x9DE7F385B2457F35}> {
public:
    /// Called with the active display, or `noDisplay`.
    using ActiveDisplayCallback = std::function<void(DisplayID)>;
    /// Called after each refresh.
    using RefreshCallback = std::function<void()>;

    /// The id of this system's type.
    static constexpr Types::TypeID s_typeID = 0xC1F295C4;

    DisplayCache() = default;
    ~DisplayCache() override;

    /// Lists the displays once: does not wait for one and calls no callback. `config` is ignored. Always true.
    bool Initialize(const Runtime::IConfig* config) override;

    /// Leaves `parameters` unchanged: the cache has no loop.
    void GetExecutionParameters(Runtime::SystemExecutionParameters& parameters) override;

    /// Does nothing on any host. Always true.
    static bool InitializePlatform(const Runtime::IConfig* config);

    /// Appends the system's displays to the list, makes the one under the pointer active without calling callbacks, and
    /// logs every display of the list. Asserts that sizes and positions of the system's displays fit into 16 bits.
    void IterateThroughDevices();

    /// Lists the displays anew and calls the refresh callbacks. True if there is a display.
    ///
    /// If there is none, it tries a hundred times and blocks the thread for 50 seconds in all; then no
    /// display is active. Otherwise the display with the name of the active one is made active, or the primary display
    /// if there is no such name. Virtual displays of windows are added again, those of rectangles are lost. If no
    /// display was active before, the one under the pointer becomes active, without the callbacks on the active
    /// display.
    bool Refresh(RefreshType type);

    /// The record of a display, or null for an unknown id. Owned by the cache; valid until the list changes.
    const DisplayInfo* GetDisplayInfo(DisplayID id) const;

    /// The record at a position in the list, counted from 0; asserts that there is one. Owned by the cache; valid until
    /// the list changes.
    const DisplayInfo& GetDisplayInfo(unsigned long index) const;

    /// The number of displays in the list, virtual ones included.
    unsigned long GetDisplayInfoCount() const { return m_displays.size(); }

    /// Whether the id is in the list.
    /// Intentional: also true for `noDisplay`; callers rely on it.
    bool IsDisplayAvailable(DisplayID id) const;

    /// Adds a virtual display: the part of a monitor that a window covers, on the monitor of which it covers most.
    /// Returns its id, or `noDisplay` if there is no such window, its frame is empty or it covers no monitor; that is
    /// logged. It survives a refresh, with a new id.
    DisplayID AddVirtualDisplay(Processes::ProcessWindow window);

    /// The same for a rectangle of the desktop, in points. It does not survive a refresh.
    DisplayID AddVirtualDisplay(const Math::Rectangle& region);

    /// Appends the record of a virtual display without noting what it was made from. Returns its id, or `noDisplay` if
    /// the rectangle covers no monitor. Leaves the primary display and the rectangle of the desktop as they are.
    DisplayID AddVirtualDisplayInternal(const Math::Rectangle& rectangle);

    /// What a virtual display was made from, or null for any other id. Owned by the cache; valid until the virtual
    /// displays change.
    const VirtualDisplayInfo* GetVirtualDisplayInfo(DisplayID id) const;

    /// Sets a display's position and size and calls the refresh callbacks; asserts that there is such a display.
    /// Intentional: the position is from the desktop's origin, even if it was relative to a parent before; callers move
    /// their displays on the desktop.
    void RefreshVirtualDisplayInfo(DisplayID id, const Math::Rectangle& rectangle);

    /// Removes a virtual display and refreshes the list; does nothing for any other id. If it was active, the primary
    /// display becomes active.
    void RemoveVirtualDisplayInfo(DisplayID id);

    /// Makes a display active and calls the callbacks on the active display; does nothing if it is active already. Does
    /// not check whether there is such a display.
    void SetActiveDisplay(DisplayID id);

    /// The active display, or `noDisplay`.
    DisplayID GetActiveDisplay() const { return m_activeDisplay; }

    /// The primary display, or `noDisplay`.
    DisplayID GetPrimaryDisplay() const { return m_primaryDisplay; }

    /// The active display, else the primary one, else the first, else `noDisplay`.
    DisplayID GetDefaultDisplay() const;

    /// The smallest display that contains a point of the desktop, the first one of equals, or `noDisplay`. Its right
    /// and bottom edges belong to a display, too.
    /// Intentional: the position of a virtual display is used as it stands in its record, even if relative to its
    /// parent.
    DisplayID GetDisplay(int x, int y) const;

    /// The smallest rectangle that contains the desktop's origin and all monitors, in points. Virtual displays don't
    /// change it.
    Math::Rectangle GetVirtualDesktopRect() const { return m_virtualDesktopRect; }

    /// Adds a callback that is called with the active display whenever that changes; it replaces an earlier one of the
    /// same owner. A call under way may still run after the removal. Any thread.
    void AddOnActiveDisplayChangedCallback(void* owner, ActiveDisplayCallback&& callback);
    void RemoveOnActiveDisplayChangedCallback(void* owner);

    /// Adds a callback that is called after each refresh and each `RefreshVirtualDisplayInfo`; otherwise as above.
    void AddOnRefreshedCallback(void* owner, RefreshCallback&& callback);
    void RemoveOnRefreshedCallback(void* owner);

private:
    /// Appends the system's displays and makes the one under the pointer active, without calling callbacks.
    void IterateThroughDevicesPlatform();

    /// Appends the record of a display and returns its id, or `noDisplay` if the display has no native mode.
    DisplayID AddDisplay(const DisplayQuery* query, PlatformDisplayID display, bool isPrimary);

    /// Lists the displays until there is one; false if none was found.
    bool WaitForDisplays();

    /// Makes the display of that name active again, or the primary one.
    void RestoreActiveDisplay(const std::string& name);

    /// The id of the next record.
    DisplayID GetNextID() const { return static_cast<DisplayID>(m_displays.size() + 1); }

    DisplayID m_primaryDisplay = noDisplay;
    DisplayID m_activeDisplay = noDisplay;
    Math::Rectangle m_virtualDesktopRect;
    std::vector<DisplayInfo> m_displays;
    std::vector<VirtualDisplayInfo> m_virtualDisplays;
    Containers::Callbacks<ActiveDisplayCallback> m_onActiveDisplayChanged;
    Containers::Callbacks<RefreshCallback> m_onRefreshed;
};

/// Called by the system for each display that a change has affected (`CGDisplayReconfigurationCallBack`). Refreshes the
/// application's display cache, unless `flags` (`DisplayChangeFlag`) say that the change is yet to happen. Asserts that
/// there is a cache. `display` and `userInfo` are ignored.
void DisplayReconfigurationCallback(std::uint32_t display, std::uint32_t flags, void* userInfo);

} // namespace Tovra::System::Device::Display
