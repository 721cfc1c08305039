#include <System/Processes/ProcessWindowOperations.h>
#include <System/Processes/WindowRequests_Linux.h>
#include <System/X11/Stacking_Linux.h>

#include <algorithm>
#include <span>

namespace Tovra::System::Processes {

namespace Xcb = X11::Xcb;

using X11::Connection;
using Xcb::PropertyRequest;
using Xcb::Request;
using Xcb::Session;

namespace {

using FocusRequest = Request<&Connection::xcb_get_input_focus, &Connection::xcb_get_input_focus_reply>;

/// The fields that a query needs of each window.
WindowListFields GetFields(const WindowListQuery& query) {
    return query.option == WindowListOption::OnScreenOnly ? query.fields | WindowListField::IsOnScreen : query.fields;
}

bool IsShown(const WindowListQuery& query, const WindowListEntry& entry) {
    return query.option != WindowListOption::OnScreenOnly || entry.isOnScreen.value_or(false);
}

/// Reads a batch: one round trip, or two if only those at a point count, of which there are few.
WindowListEntries Read(Connection& x11, std::span<const xcb_window_t> windows, const WindowListQuery& query) {
    WindowListEntries entries = MakeEntries(windows);
    WindowListFields fields = GetFields(query);
    if (query.point) {
        WindowRequests(x11, entries, WindowListField::Bounds).Fill(entries);
        std::erase_if(entries, [&query](const WindowListEntry& entry) {
            return !entry.bounds.value_or(WindowBounds()).Contains(*query.point);
        });
        fields &= ~WindowListFields(WindowListField::Bounds);
    }
    if (!entries.empty()) {
        WindowRequests(x11, entries, fields).Fill(entries);
    }
    return entries;
}

/// Visits the windows in batches that double in size, since what is looked for is mostly in front.
void WalkBatches(Connection& x11, const WindowListQuery& query, const WindowListVisitor& visitor) {
    const Xcb::Stacking stacking = Xcb::StackingRequests(x11).GetReply();
    std::span<const xcb_window_t> rest = stacking.windows;
    for (std::size_t batchSize = 8; !rest.empty(); batchSize *= 2) {
        const auto batch = rest.first(std::min(batchSize, rest.size()));
        rest = rest.subspan(batch.size());
        for (const WindowListEntry& entry : Read(x11, batch, query)) {
            if (IsShown(query, entry) && visitor(entry) == VisitorAction::Stop) {
                return;
            }
        }
    }
}

/// Visits one window, if it is on the list. All requests are sent together.
void VisitOne(Connection& x11, xcb_window_t window, const WindowListQuery& query, const WindowListVisitor& visitor) {
    if (!Xcb::CanBelongToAProgram(x11, window)) {
        return;
    }
    const Xcb::StackingRequests stacking(x11);
    WindowListEntries entries = MakeEntries({&window, 1});
    const WindowRequests requests(x11, entries, GetFields(query));
    const bool isOnList = Xcb::Contains(stacking.GetReply().windows, window);
    requests.Fill(entries);
    if (isOnList && IsShown(query, entries.front())) {
        visitor(entries.front());
    }
}

/// The root's child that contains a window, or none. One round trip for each level.
xcb_window_t GetTopLevel(Connection& x11, xcb_window_t window) {
    while (window != XCB_WINDOW_NONE) {
        const auto reply = Xcb::TreeRequest(x11, window).GetReply();
        const xcb_window_t parent = reply == nullptr ? XCB_WINDOW_NONE : reply->parent;
        if (parent == x11.root) {
            return window;
        }
        window = parent;
    }
    return XCB_WINDOW_NONE;
}

/// The window that has the keyboard, or none: the window manager's active one; without one, that which holds the focus,
/// if a window does. One round trip; without a window manager also one for each level.
xcb_window_t GetFocused(Connection& x11) {
    const Xcb::StackingRequests stacking(x11);
    const PropertyRequest active(x11, x11.root, x11.GetAtoms().activeWindow, XCB_ATOM_WINDOW);
    const FocusRequest focus(x11);
    const bool isManaged = stacking.GetReply().isManaged;
    const xcb_window_t activeWindow = Xcb::GetNumber(active.GetReply());
    const auto reply = focus.GetReply();
    if (isManaged) {
        return activeWindow;
    }
    return reply == nullptr || reply->focus == XCB_INPUT_FOCUS_POINTER_ROOT ? XCB_WINDOW_NONE
                                                                            : GetTopLevel(x11, reply->focus);
}

/// The entry of the focused window; an empty one if none has the focus. One round trip more than finding it.
WindowListEntry GetFocusedEntry(Connection& x11, WindowListFields fields) {
    const xcb_window_t window = GetFocused(x11);
    return Xcb::CanBelongToAProgram(x11, window) ? GetEntry(x11, window, fields) : WindowListEntry();
}

/// The accessibility layer's error for a request that can't be carried out.
constexpr std::int32_t accessibilityFailure = -25200;

} // namespace

/// X11 has no accessibility layer of its own: an application is its process, a window its X window with the bounds that
/// it had when it was looked up, so that measuring many of them takes no round trips.
struct AccessibilityElement {
    std::int32_t processId = 0; ///< Of an application.
    xcb_window_t window = XCB_WINDOW_NONE;
    std::optional<WindowBounds> bounds = {};
};

namespace {

HeldAccessibilityElement HoldWindow(const WindowListEntry& entry) {
    return HeldAccessibilityElement(
        new AccessibilityElement{.window = entry.number.value_or(XCB_WINDOW_NONE), .bounds = entry.bounds});
}

/// Sends a request about a window. 0, or the accessibility layer's error.
std::int32_t SendRequest(bool (*request)(Connection&, xcb_window_t), const AccessibilityElement& window) {
    const Session session;
    return session.GetConnection() != nullptr && request(*session.GetConnection(), window.window)
               ? 0
               : accessibilityFailure;
}

} // namespace

// One round trip for a window by its number, whether for its frame, owner, visibility or name; one more for the name if
// the title is empty. Otherwise one for the list and one for each batch of windows (of 8, 16, 32 …) until the visitor
// stops: all windows of a process among 200 take 6. The window under a point takes one for the list, one for the bounds
// of each batch and one more for each batch that has a window there: 3 if it is among the first 8 windows.
void WalkWindowList(const WindowListQuery& query, const WindowListVisitor& visitor) {
    const Session session;
    Connection* const x11 = session.GetConnection();
    if (x11 == nullptr) {
        return;
    }
    const auto only = query.option == WindowListOption::IncludingWindow ? query.window : query.only;
    if (only) {
        VisitOne(*x11, *only, query, visitor);
    } else {
        WalkBatches(*x11, query, visitor);
    }
}

void ReleaseAccessibilityElement(AccessibilityElement* element) {
    delete element;
}

// Two round trips; without a window manager also one for each level down to the focus.
std::int32_t GetFrontProcessId() {
    const Session session;
    return session.GetConnection() == nullptr
               ? 0
               : GetFocusedEntry(*session.GetConnection(), WindowListField::OwnerId).ownerId.value_or(0);
}

HeldAccessibilityElement CreateApplicationElement(std::int32_t processId) {
    return HeldAccessibilityElement(processId < 1 ? nullptr : new AccessibilityElement{.processId = processId});
}

// Two round trips for the process that has the focus; without a window manager also one for each level down to it. X11
// keeps no focus for the others: theirs is their frontmost normal window on the screen, which takes a walk through the
// list besides.
HeldAccessibilityElement CopyFocusedWindow(AccessibilityElement& application) {
    const Session session;
    if (session.GetConnection() == nullptr) {
        return nullptr;
    }
    const WindowListFields fields = WindowListField::OwnerId | WindowListField::Bounds;
    const WindowListEntry focused = GetFocusedEntry(*session.GetConnection(), fields);
    if (focused.ownerId == application.processId) {
        return HoldWindow(focused);
    }
    HeldAccessibilityElement element;
    WalkWindowList({.option = WindowListOption::OnScreenOnly, .fields = fields | WindowListField::Layer},
                   [&application, &element](const WindowListEntry& entry) {
                       if (entry.ownerId != application.processId || entry.layer != 0) {
                           return VisitorAction::Continue;
                       }
                       element = HoldWindow(entry);
                       return VisitorAction::Stop;
                   });
    return element;
}

// A walk through the list.
std::optional<std::vector<HeldAccessibilityElement>> CopyWindows(AccessibilityElement& application,
                                                                 std::size_t maximumCount) {
    std::vector<HeldAccessibilityElement> windows;
    WalkWindowList({.fields = WindowListField::OwnerId | WindowListField::Bounds},
                   [&application, maximumCount, &windows](const WindowListEntry& entry) {
                       if (entry.ownerId == application.processId) {
                           windows.push_back(HoldWindow(entry));
                       }
                       return windows.size() < maximumCount ? VisitorAction::Continue : VisitorAction::Stop;
                   });
    return windows;
}

std::int32_t CopyWindowPosition(AccessibilityElement& window, double& x, double& y) {
    if (!window.bounds) {
        return accessibilityFailure;
    }
    x = window.bounds->x;
    y = window.bounds->y;
    return 0;
}

std::int32_t CopyWindowSize(AccessibilityElement& window, double& width, double& height) {
    if (!window.bounds) {
        return accessibilityFailure;
    }
    width = window.bounds->width;
    height = window.bounds->height;
    return 0;
}

// Two round trips.
std::int32_t SetFocusedWindow([[maybe_unused]] AccessibilityElement& application, AccessibilityElement& window) {
    return SendRequest(Xcb::FocusWindow, window);
}

// Two round trips.
std::int32_t RaiseWindow(AccessibilityElement& window) {
    return SendRequest(Xcb::RaiseWindow, window);
}

} // namespace Tovra::System::Processes
