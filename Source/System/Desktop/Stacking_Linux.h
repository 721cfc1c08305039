#pragma once

// An internal header of the Linux host: which windows there are, in which order, and what is asked of them through the
// window manager, or, where none runs, of the server.

#include <System/Desktop/Properties_Linux.h>

#include <optional>
#include <vector>

namespace Tovra::System::Desktop::Xcb {

using ChildrenQuestion = Question<&Functions::xcb_query_tree, &Functions::xcb_query_tree_reply>;

/// The windows that programs have on the desktop.
struct Stacking {
    bool isManaged = false;            ///< Whether a window manager runs.
    std::vector<xcb_window_t> windows; ///< Front to back.
};

/// Asks for the window manager's list or, without one, for the root's children. One round trip, up to two more if the
/// window manager has come or gone.
class StackingQuestions {
public:
    explicit StackingQuestions(const Server& server);

    /// Waits for the answers, once.
    Stacking Take() const;

private:
    PropertyQuestion AskBack(xcb_window_t checkWindow) const;
    bool IsAlive(xcb_window_t checkWindow) const;
    std::vector<xcb_window_t> TakeChildren() const;

    const Server& m_server;
    PropertyQuestion m_list;
    PropertyQuestion m_check;
    xcb_window_t m_guess;
    std::optional<PropertyQuestion> m_guessed;
    std::optional<ChildrenQuestion> m_children;
};

/// Whether that can be a program's window: the root is the server's, and none is what properties of ill programs name.
/// To the X resource extension none also means all programs.
inline bool CanBelongToAProgram(const Server& server, xcb_window_t window) {
    return window != XCB_WINDOW_NONE && window != server.root;
}

/// Gives a window the keyboard: a message to the window manager (EWMH). True if it went out, as nothing waits for the
/// window manager; without one, if the window has the focus. Two round trips.
bool FocusWindow(const Server& server, xcb_window_t window);

/// Raises a window above its like: a message to the window manager (EWMH). True if the window is there and the message
/// went out; without a window manager, if it was raised. Two round trips.
bool RaiseWindow(const Server& server, xcb_window_t window);

/// Both at once, as a person does who picks a window: window managers raise what they activate. Two round trips,
/// without a window manager three.
bool ActivateWindow(const Server& server, xcb_window_t window);

} // namespace Tovra::System::Desktop::Xcb
