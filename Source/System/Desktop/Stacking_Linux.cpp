#include <System/Desktop/Stacking_Linux.h>

#include <array>
#include <atomic>

namespace Tovra::System::Desktop::Xcb {

namespace {

/// The window that was named last as that of a running window manager, or none; and whether one ran. Guesses, by which
/// the next questions about it need no round trips of their own.
std::atomic<xcb_window_t> s_checkWindow = XCB_WINDOW_NONE;
std::atomic<bool> s_isManaged = false;

/// Of all windows, in units of 4 bytes.
constexpr std::uint32_t longestList = 1U << 20;

/// A request by the person, which window managers heed.
constexpr std::uint32_t fromPager = 2;

/// Asks the window manager for something that it does with one of its windows (EWMH). One round trip.
bool SendToManager(const Server& server, xcb_window_t window, xcb_atom_t type,
                   const std::array<std::uint32_t, 5>& data) {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = type;
    std::ranges::copy(data, event.data.data32);
    return IsDone(server, GetFunctions().xcb_send_event_checked(server.connection, 0, server.root,
                                                                XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY |
                                                                    XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                                                                reinterpret_cast<const char*>(&event)));
}

bool IsManaged(const Server& server) {
    return StackingQuestions(server).Take().isManaged;
}

bool SendActivation(const Server& server, xcb_window_t window) {
    return SendToManager(server, window, GetAtoms(server).activeWindow, {fromPager, XCB_CURRENT_TIME});
}

bool FocusDirectly(const Server& server, xcb_window_t window) {
    return IsDone(server, GetFunctions().xcb_set_input_focus_checked(server.connection, XCB_INPUT_FOCUS_POINTER_ROOT,
                                                                     window, XCB_CURRENT_TIME));
}

bool RaiseDirectly(const Server& server, xcb_window_t window) {
    const std::uint32_t mode = XCB_STACK_MODE_ABOVE;
    return IsDone(server, GetFunctions().xcb_configure_window_checked(server.connection, window,
                                                                      XCB_CONFIG_WINDOW_STACK_MODE, &mode));
}

} // namespace

StackingQuestions::StackingQuestions(const Server& server)
    : m_server(server), m_list(server, server.root, GetAtoms(server).clientListStacking, XCB_ATOM_WINDOW, longestList),
      m_check(server, server.root, GetAtoms(server).supportingManagerCheck, XCB_ATOM_WINDOW), m_guess(s_checkWindow) {
    if (m_guess != XCB_WINDOW_NONE) {
        m_guessed.emplace(AskBack(m_guess));
    }
    if (!s_isManaged) {
        m_children.emplace(server, server.root);
    }
}

Stacking StackingQuestions::Take() const {
    const auto list = m_list.Take();
    const xcb_window_t checkWindow = GetNumber(m_check.Take());
    const bool isManaged = IsAlive(checkWindow) && Has(list, XCB_ATOM_WINDOW, 32);
    s_checkWindow = checkWindow;
    s_isManaged = isManaged;
    Stacking stacking = {.isManaged = isManaged, .windows = {}};
    // Also if they are not needed after all: an answer that nobody takes stays with the connection.
    if (m_children || !isManaged) {
        stacking.windows = TakeChildren();
    }
    if (isManaged) {
        stacking.windows = GetNumbers(list);
    }
    std::erase_if(stacking.windows, [this](xcb_window_t window) { return !CanBelongToAProgram(m_server, window); });
    std::ranges::reverse(stacking.windows); // Both come from back to front.
    return stacking;
}

PropertyQuestion StackingQuestions::AskBack(xcb_window_t checkWindow) const {
    return {m_server, checkWindow, GetAtoms(m_server).supportingManagerCheck, XCB_ATOM_WINDOW};
}

/// A window manager that crashed leaves everything on the root, but not its own window, which names itself (EWMH).
bool StackingQuestions::IsAlive(xcb_window_t checkWindow) const {
    const xcb_window_t guessed = m_guessed ? GetNumber(m_guessed->Take()) : XCB_WINDOW_NONE;
    if (checkWindow == XCB_WINDOW_NONE) {
        return false;
    }
    return (checkWindow == m_guess ? guessed : GetNumber(AskBack(checkWindow).Take())) == checkWindow;
}

std::vector<xcb_window_t> StackingQuestions::TakeChildren() const {
    const auto children = (m_children ? *m_children : ChildrenQuestion(m_server, m_server.root)).Take();
    if (children == nullptr) {
        return {};
    }
    const auto windows = GetTail<xcb_window_t>(children, children->children_len);
    return {windows.begin(), windows.end()};
}

bool FocusWindow(const Server& server, xcb_window_t window) {
    return IsManaged(server) ? SendActivation(server, window) : FocusDirectly(server, window);
}

bool RaiseWindow(const Server& server, xcb_window_t window) {
    const GeometryQuestion geometry(server, window);
    const bool isManaged = IsManaged(server);
    // A window manager takes a message for a window that is gone without a word.
    if (geometry.Take() == nullptr) {
        return false;
    }
    return isManaged ? SendToManager(server, window, GetAtoms(server).restackWindow,
                                     {fromPager, XCB_WINDOW_NONE, XCB_STACK_MODE_ABOVE})
                     : RaiseDirectly(server, window);
}

bool ActivateWindow(const Server& server, xcb_window_t window) {
    return IsManaged(server) ? SendActivation(server, window)
                             : RaiseDirectly(server, window) && FocusDirectly(server, window);
}

} // namespace Tovra::System::Desktop::Xcb
