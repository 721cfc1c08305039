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

/// The seam of other processes' windows to the operating system: the window server's list, whose entries have numbers,
/// and the accessibility layer, whose windows have none. Coordinates are in points, with the origin at the top left of
/// the first screen. Any thread. Nothing is logged or thrown; what can't be read is missing.
namespace Tovra::System::Processes {

/// The size of the buffer for a text of the list, with its NUL; a longer text can't be read.
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

    /// Whether the point lies in the rectangle; left and top edges belong to it, right and bottom edges don't:
    /// `CGRectContainsPoint`.
    constexpr bool Contains(WindowPoint point) const {
        const auto [left, right] = std::minmax({x, x + width});
        const auto [top, bottom] = std::minmax({y, y + height});
        return left <= point.x && point.x < right && top <= point.y && point.y < bottom;
    }
};

/// The text up to its first NUL byte, the part that counts.
constexpr std::string_view CutAtNul(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

/// A window of the list. Each field may be missing: a walk reads the fields of its query, and the window server may
/// lack one of them or have an unreadable one.
struct WindowListEntry {
    std::optional<std::uint32_t> number = {};  ///< `kCGWindowNumber`.
    std::optional<std::int32_t> ownerId = {};  ///< `kCGWindowOwnerPID`.
    std::optional<std::int32_t> layer = {};    ///< `kCGWindowLayer`: 0 for normal windows.
    std::optional<WindowBounds> bounds = {};   ///< `kCGWindowBounds`.
    std::optional<std::string> name = {};      ///< `kCGWindowName`, in UTF-8; to be cut by `CutAtNul`.
    std::optional<std::string> ownerName = {}; ///< `kCGWindowOwnerName`, likewise.
    std::optional<bool> isOnScreen = {};       ///< `kCGWindowIsOnscreen`.
};

/// The fields of an entry, as bits.
enum class WindowListField : std::uint32_t {
    Number = 1,
    OwnerId = 2,
    Layer = 4,
    Bounds = 8,
    Name = 16,
    OwnerName = 32, ///< May be missing if the name is not empty.
    IsOnScreen = 64,
};

/// A set of fields.
using WindowListFields = Types::EnumFlags<WindowListField>;

/// The set of both fields.
constexpr WindowListFields operator|(WindowListField left, WindowListField right) {
    return WindowListFields(left) | right;
}

/// Which windows a list contains; the values are the window server's.
enum class WindowListOption : std::uint32_t {
    All = 0,             ///< All windows, hidden ones included.
    OnScreenOnly = 1,    ///< The windows that can be seen.
    IncludingWindow = 8, ///< The window of the query.
};

/// What a walk through the list reads and visits.
struct WindowListQuery {
    WindowListOption option = WindowListOption::All;
    WindowListFields fields = {};           ///< Other fields may be missing.
    std::uint32_t window = 0;               ///< For `IncludingWindow` alone.
    std::optional<std::uint32_t> only = {}; ///< Entries with other numbers may be skipped.
    /// Entries whose bounds don't contain this point may be skipped.
    std::optional<WindowPoint> point = {};
};

/// Called with each entry; its result says whether the walk goes on. The entry lives as long as the call.
using WindowListVisitor = std::function<VisitorAction(const WindowListEntry&)>;

/// Takes a fresh snapshot of the list and calls the visitor for its entries, front to back, until it returns Stop:
/// `CGWindowListCopyWindowInfo`. Calls it for none if there is no list. The visitor must not query windows itself.
void WalkWindowList(const WindowListQuery& query, const WindowListVisitor& visitor);

/// An application or a window of the accessibility layer (`AXUIElementRef`). Opaque; freed by
/// `ReleaseAccessibilityElement`.
struct AccessibilityElement;

/// Releases an element, which must not be null: `CFRelease`.
void ReleaseAccessibilityElement(AccessibilityElement* element);

/// Releases an element by `ReleaseAccessibilityElement`.
struct AccessibilityElementDeleter {
    void operator()(AccessibilityElement* element) const { ReleaseAccessibilityElement(element); }
};

/// An owned element, or null.
using HeldAccessibilityElement = std::unique_ptr<AccessibilityElement, AccessibilityElementDeleter>;

/// The process id of the frontmost application, or 0: `GetFrontProcess`, `GetProcessPID`.
std::int32_t GetFrontProcessId();

/// The application of a process, or null: `AXUIElementCreateApplication`.
HeldAccessibilityElement CreateApplicationElement(std::int32_t processId);

/// The window that has the focus within an application, or null: `AXUIElementCopyAttributeValue` with
/// "AXFocusedWindow".
HeldAccessibilityElement CopyFocusedWindow(AccessibilityElement& application);

/// The first windows of an application, at most `maximumCount`: `AXUIElementCopyAttributeValues` with "AXWindows". None
/// on failure.
std::optional<std::vector<HeldAccessibilityElement>> CopyWindows(AccessibilityElement& application,
                                                                 std::size_t maximumCount);

/// Gives the upper left corner of a window: `AXUIElementCopyAttributeValue` with "AXPosition". Returns 0, or the
/// layer's error; the outputs must not be used then.
std::int32_t CopyWindowPosition(AccessibilityElement& window, double& x, double& y);

/// Gives the size of a window: `AXUIElementCopyAttributeValue` with "AXSize". Returns 0, or the layer's error; the
/// outputs must not be used then.
std::int32_t CopyWindowSize(AccessibilityElement& window, double& width, double& height);

/// Gives a window the focus within its application: `AXUIElementSetAttributeValue` with "AXFocusedWindow". Returns 0,
/// or the layer's error.
std::int32_t SetFocusedWindow(AccessibilityElement& application, AccessibilityElement& window);

/// Raises a window: `AXUIElementPerformAction` with "AXRaise". Returns 0, or the layer's error.
std::int32_t RaiseWindow(AccessibilityElement& window);

} // namespace Tovra::System::Processes
