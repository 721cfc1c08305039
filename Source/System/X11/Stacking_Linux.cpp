#include <System/X11/Stacking_Linux.h>

#include <algorithm>

namespace Tovra::System::X11::Xcb {

namespace {

/// Of the list of all windows, in units of 4 bytes.
constexpr std::uint32_t longestList = 1U << 20;

/// The source indication of a request by the user, which window managers obey (EWMH).
constexpr std::uint32_t fromPager = 2;

/// Sends a client message to the window manager about one of its windows (EWMH). One round trip.
bool SendToManager(Connection& x11, xcb_window_t window, xcb_atom_t type, const xcb_client_message_data_t& data) {
    const xcb_client_message_event_t event{.response_type = XCB_CLIENT_MESSAGE,
                                           .format = 32,
                                           .sequence = {},
                                           .window = window,
                                           .type = type,
                                           .data = data};
    return IsDone(x11,
                  x11.xcb_send_event_checked(x11.xcb, 0, x11.root,
                                             XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                                             reinterpret_cast<const char*>(&event)));
}

bool IsManaged(Connection& x11) {
    return StackingRequests(x11).GetReply().isManaged;
}

bool SendActivation(Connection& x11, xcb_window_t window) {
    return SendToManager(x11, window, x11.GetAtoms().activeWindow, {.data32 = {fromPager, XCB_CURRENT_TIME}});
}

bool FocusDirectly(Connection& x11, xcb_window_t window) {
    return IsDone(x11,
                  x11.xcb_set_input_focus_checked(x11.xcb, XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME));
}

bool RaiseDirectly(Connection& x11, xcb_window_t window) {
    const std::uint32_t mode = XCB_STACK_MODE_ABOVE;
    return IsDone(x11, x11.xcb_configure_window_checked(x11.xcb, window, XCB_CONFIG_WINDOW_STACK_MODE, &mode));
}

} // namespace

StackingRequests::StackingRequests(Connection& x11)
    : m_x11(x11), m_list(x11, x11.root, x11.GetAtoms().clientListStacking, XCB_ATOM_WINDOW, longestList),
      m_check(x11, x11.root, x11.GetAtoms().supportingManagerCheck, XCB_ATOM_WINDOW), m_guess(m_x11.managerWindow) {
    if (m_guess != XCB_WINDOW_NONE) {
        m_guessed.emplace(SendCheck(m_guess));
    }
    if (!m_x11.isManaged) {
        m_children.emplace(x11, x11.root);
    }
}

Stacking StackingRequests::GetReply() const {
    const auto list = m_list.GetReply();
    const xcb_window_t checkWindow = GetNumber(m_check.GetReply());
    m_x11.managerWindow = checkWindow;
    const bool isManaged = IsAlive(checkWindow) && Has(list, XCB_ATOM_WINDOW, 32);
    m_x11.isManaged = isManaged;
    Stacking stacking = {.isManaged = isManaged, .windows = {}};
    // The reply is taken even if it is not needed any more, or it would stay in memory.
    if (m_children || !isManaged) {
        stacking.windows = GetChildren();
    }
    if (isManaged) {
        stacking.windows = GetNumbers(list);
    }
    std::erase_if(stacking.windows, [this](xcb_window_t window) { return !CanBelongToAProgram(m_x11, window); });
    std::ranges::reverse(stacking.windows); // Both come from back to front.
    return stacking;
}

PropertyRequest StackingRequests::SendCheck(xcb_window_t checkWindow) const {
    return {m_x11, checkWindow, m_x11.GetAtoms().supportingManagerCheck, XCB_ATOM_WINDOW};
}

/// A window manager that crashed leaves its properties on the root, but not its own window, which names itself (EWMH).
bool StackingRequests::IsAlive(xcb_window_t checkWindow) const {
    const xcb_window_t guessed = m_guessed ? GetNumber(m_guessed->GetReply()) : XCB_WINDOW_NONE;
    if (checkWindow == XCB_WINDOW_NONE) {
        return false;
    }
    return (checkWindow == m_guess ? guessed : GetNumber(SendCheck(checkWindow).GetReply())) == checkWindow;
}

std::vector<xcb_window_t> StackingRequests::GetChildren() const {
    const auto children = (m_children ? *m_children : TreeRequest(m_x11, m_x11.root)).GetReply();
    if (children == nullptr) {
        return {};
    }
    const auto windows = GetTail<xcb_window_t>(children, children->children_len);
    return {windows.begin(), windows.end()};
}

bool FocusWindow(Connection& x11, xcb_window_t window) {
    return IsManaged(x11) ? SendActivation(x11, window) : FocusDirectly(x11, window);
}

bool RaiseWindow(Connection& x11, xcb_window_t window) {
    const GeometryRequest geometry(x11, window);
    const bool isManaged = IsManaged(x11);
    // A window manager ignores a message for a window that is gone.
    if (geometry.GetReply() == nullptr) {
        return false;
    }
    return isManaged ? SendToManager(x11, window, x11.GetAtoms().restackWindow,
                                     {.data32 = {fromPager, XCB_WINDOW_NONE, XCB_STACK_MODE_ABOVE}})
                     : RaiseDirectly(x11, window);
}

bool ActivateWindow(Connection& x11, xcb_window_t window) {
    return IsManaged(x11) ? SendActivation(x11, window) : RaiseDirectly(x11, window) && FocusDirectly(x11, window);
}

} // namespace Tovra::System::X11::Xcb
