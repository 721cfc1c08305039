#pragma once

// An internal header of the Linux host: the windows on the desktop, their order, and requests to raise or focus one,
// which go to the window manager or, where none runs, to the server.

#include <System/X11/Properties_Linux.h>

#include <optional>
#include <vector>

namespace Tovra::System::X11::Xcb {

/// Asks for a window's parent and children.
using TreeRequest = Request<&Connection::xcb_query_tree, &Connection::xcb_query_tree_reply>;

/// The windows that programs have on the desktop.
struct Stacking {
    bool isManaged = false;            ///< Whether a window manager runs.
    std::vector<xcb_window_t> windows; ///< Front to back.
};

/// Requests for the window manager's list or, without one, for the root's children. One round trip, up to two more if
/// the window manager has come or gone.
class StackingRequests {
public:
    explicit StackingRequests(Connection& x11);

    /// Waits for the replies. Call it once, always.
    Stacking GetReply() const;

private:
    PropertyRequest SendCheck(xcb_window_t checkWindow) const;
    bool IsAlive(xcb_window_t checkWindow) const;
    std::vector<xcb_window_t> GetChildren() const;

    Connection& m_x11;
    PropertyRequest m_list;
    PropertyRequest m_check;
    xcb_window_t m_guess;
    std::optional<PropertyRequest> m_guessed;
    std::optional<TreeRequest> m_children;
};

/// Whether that can be a program's window. The root is the server's, and XCB_WINDOW_NONE is what properties of broken
/// clients name; to the X resource extension it means all clients.
inline bool CanBelongToAProgram(const Connection& x11, xcb_window_t window) {
    return window != XCB_WINDOW_NONE && window != x11.root;
}

/// Gives a window the focus, by a message to the window manager (EWMH): true if it was sent, as nothing waits for the
/// window manager. Without one: true if the window has the focus. Two round trips.
bool FocusWindow(Connection& x11, xcb_window_t window);

/// Raises a window above others of its layer, by a message to the window manager (EWMH): true if the window exists and
/// the message was sent. Without a window manager: true if it was raised. Two round trips.
bool RaiseWindow(Connection& x11, xcb_window_t window);

/// Raises and focuses a window, as a user does who clicks it: window managers raise what they activate. Two round
/// trips, without a window manager three.
bool ActivateWindow(Connection& x11, xcb_window_t window);

} // namespace Tovra::System::X11::Xcb
