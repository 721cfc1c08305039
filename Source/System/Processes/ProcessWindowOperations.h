#pragma once

#include <System/Types/EnumFlags.h>
#include <System/Types/VisitorAction.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the windows of processes are asked of the operating system: the window server's list, whose entries have
/// numbers, and the accessibility layer, whose windows have none. Coordinates are in points, with the origin at the top
/// left of the first screen. Any thread. Nothing is logged or thrown here; what can't be had is missing.
namespace Tovra::System::Processes {

/// The room for a text of the list, its NUL included: a longer one can't be read.
inline constexpr std::size_t windowTextBufferSize = 256;

/// A point of the screen.
struct WindowPoint {
    double x = 0;
    double y = 0;
};

/// A rectangle of the window server.
struct WindowBounds {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    /// As `CGRectContainsPoint`: the left and top edges belong to the rectangle, the right and bottom edges don't.
    constexpr bool Contains(WindowPoint point) const {
        const auto [left, right] = std::minmax({x, x + width});
        const auto [top, bottom] = std::minmax({y, y + height});
        return left <= point.x && point.x < right && top <= point.y && point.y < bottom;
    }
};

/// What counts of a text of the list: what comes before its first NUL.
constexpr std::string_view CutAtNul(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

/// One window as the list describes it. Each field may be missing: a walk asks for the fields that it reads, and of
/// those the window server may have none or an unreadable one.
struct WindowListEntry {
    std::optional<std::uint32_t> number = {};  ///< `kCGWindowNumber`.
    std::optional<std::int32_t> ownerId = {};  ///< `kCGWindowOwnerPID`.
    std::optional<std::int32_t> layer = {};    ///< `kCGWindowLayer`: 0 for the normal ones.
    std::optional<WindowBounds> bounds = {};   ///< `kCGWindowBounds`.
    std::optional<std::string> name = {};      ///< `kCGWindowName`, in UTF-8, as far as `CutAtNul` leaves it.
    std::optional<std::string> ownerName = {}; ///< `kCGWindowOwnerName`, the same.
    std::optional<bool> isOnScreen = {};       ///< `kCGWindowIsOnscreen`.
};

/// The fields of an entry, as bits.
enum class WindowListField : std::uint32_t {
    Number = 1,
    OwnerId = 2,
    Layer = 4,
    Bounds = 8,
    Name = 16,
    OwnerName = 32, ///< Need not be there where the name is not empty.
    IsOnScreen = 64,
};

/// A set of fields.
using WindowListFields = Types::EnumFlags<WindowListField>;

/// The set of two fields.
constexpr WindowListFields operator|(WindowListField left, WindowListField right) {
    return WindowListFields(left) | right;
}

/// Which windows are on a list; the values are the window server's.
enum class WindowListOption : std::uint32_t {
    All = 0,             ///< Also the hidden ones.
    OnScreenOnly = 1,    ///< Those that can be seen.
    IncludingWindow = 8, ///< The one of the query.
};

/// What a walk through the list is to show.
struct WindowListQuery {
    WindowListOption option = WindowListOption::All;
    WindowListFields fields = {};           ///< The others need not be there.
    std::uint32_t window = 0;               ///< For `IncludingWindow` alone.
    std::optional<std::uint32_t> only = {}; ///< Entries of other numbers need not be shown.
    /// Entries without this point in their bounds need not be shown.
    std::optional<WindowPoint> point = {};
};

/// Called with each entry; its result says whether the walk goes on. The entry lives as long as the call.
using WindowListVisitor = std::function<VisitorAction(const WindowListEntry&)>;

/// Takes a fresh snapshot of the list and shows its entries, front to back, until the visitor stops:
/// `CGWindowListCopyWindowInfo`. Shows none if there is no list. The visitor must not ask for windows.
void WalkWindowList(const WindowListQuery& query, const WindowListVisitor& visitor);

/// An application or a window of the accessibility layer (`AXUIElementRef`). Opaque; ended by
/// `ReleaseAccessibilityElement`.
struct AccessibilityElement;

/// Ends the caller's hold on an element: `CFRelease`. Not null.
void ReleaseAccessibilityElement(AccessibilityElement* element);

/// Releases a held element.
struct AccessibilityElementDeleter {
    void operator()(AccessibilityElement* element) const { ReleaseAccessibilityElement(element); }
};

/// An element that is held, or null.
using HeldAccessibilityElement = std::unique_ptr<AccessibilityElement, AccessibilityElementDeleter>;

/// The process of the frontmost application, or 0: `GetFrontProcess`, `GetProcessPID`.
std::int32_t GetFrontProcessId();

/// The application of a process: `AXUIElementCreateApplication`. Null if there can't be one.
HeldAccessibilityElement CreateApplicationElement(std::int32_t processId);

/// The window that has the focus within an application, or null: `AXUIElementCopyAttributeValue` with
/// "AXFocusedWindow".
HeldAccessibilityElement CopyFocusedWindow(AccessibilityElement& application);

/// The first windows of an application, at most so many: `AXUIElementCopyAttributeValues` with "AXWindows". None if it
/// fails; empty if there are none to be had.
std::optional<std::vector<HeldAccessibilityElement>> CopyWindows(AccessibilityElement& application,
                                                                 std::size_t maximumCount);

/// Gives the upper left corner of a window: `AXUIElementCopyAttributeValue` with "AXPosition". 0, or the layer's error.
std::int32_t CopyWindowPosition(AccessibilityElement& window, double& x, double& y);

/// Gives the size of a window: `AXUIElementCopyAttributeValue` with "AXSize". 0, or the layer's error.
std::int32_t CopyWindowSize(AccessibilityElement& window, double& width, double& height);

/// Gives a window the focus within its application: `AXUIElementSetAttributeValue` with "AXFocusedWindow". 0, or the
/// layer's error.
std::int32_t SetFocusedWindow(AccessibilityElement& application, AccessibilityElement& window);

/// Raises a window: `AXUIElementPerformAction` with "AXRaise". 0, or the layer's error.
std::int32_t RaiseWindow(AccessibilityElement& window);

} // namespace Tovra::System::Processes
