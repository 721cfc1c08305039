#pragma once

// An internal header of the Linux host: what windows say of themselves, asked for through XCB.

#include <System/Desktop/Xcb_Linux.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Tovra::System::Desktop::Xcb {

/// The names that the server has numbers for (EWMH).
#define TOVRA_X11_ATOMS(ATOM)                                                                                          \
    ATOM(activeWindow, "_NET_ACTIVE_WINDOW")                                                                           \
    ATOM(clientListStacking, "_NET_CLIENT_LIST_STACKING")                                                              \
    ATOM(name, "_NET_WM_NAME")                                                                                         \
    ATOM(processId, "_NET_WM_PID")                                                                                     \
    ATOM(restackWindow, "_NET_RESTACK_WINDOW")                                                                         \
    ATOM(state, "_NET_WM_STATE")                                                                                       \
    ATOM(stateHidden, "_NET_WM_STATE_HIDDEN")                                                                          \
    ATOM(supportingManagerCheck, "_NET_SUPPORTING_WM_CHECK")                                                           \
    ATOM(type, "_NET_WM_WINDOW_TYPE")                                                                                  \
    ATOM(typeCombo, "_NET_WM_WINDOW_TYPE_COMBO")                                                                       \
    ATOM(typeDesktop, "_NET_WM_WINDOW_TYPE_DESKTOP")                                                                   \
    ATOM(typeDialog, "_NET_WM_WINDOW_TYPE_DIALOG")                                                                     \
    ATOM(typeDock, "_NET_WM_WINDOW_TYPE_DOCK")                                                                         \
    ATOM(typeDragAndDrop, "_NET_WM_WINDOW_TYPE_DND")                                                                   \
    ATOM(typeDropdownMenu, "_NET_WM_WINDOW_TYPE_DROPDOWN_MENU")                                                        \
    ATOM(typeMenu, "_NET_WM_WINDOW_TYPE_MENU")                                                                         \
    ATOM(typeNormal, "_NET_WM_WINDOW_TYPE_NORMAL")                                                                     \
    ATOM(typeNotification, "_NET_WM_WINDOW_TYPE_NOTIFICATION")                                                         \
    ATOM(typePopupMenu, "_NET_WM_WINDOW_TYPE_POPUP_MENU")                                                              \
    ATOM(typeSplash, "_NET_WM_WINDOW_TYPE_SPLASH")                                                                     \
    ATOM(typeToolbar, "_NET_WM_WINDOW_TYPE_TOOLBAR")                                                                   \
    ATOM(typeTooltip, "_NET_WM_WINDOW_TYPE_TOOLTIP")                                                                   \
    ATOM(typeUtility, "_NET_WM_WINDOW_TYPE_UTILITY")                                                                   \
    ATOM(utf8, "UTF8_STRING")

/// The server's numbers of the names; 0 for one that could not be had.
struct Atoms {
#define TOVRA_X11_ATOM_MEMBER(member, text) xcb_atom_t member;
    TOVRA_X11_ATOMS(TOVRA_X11_ATOM_MEMBER)
#undef TOVRA_X11_ATOM_MEMBER
};

/// The numbers of the names. One round trip at the first call. Any thread.
const Atoms& GetAtoms(const Server& server);

/// What follows the fixed part of a reply.
template <class T, class Fixed>
std::span<const T> GetTail(const Reply<Fixed>& reply, std::size_t count) {
    return {reinterpret_cast<const T*>(reply.get() + 1), count};
}

/// Whether the window has such a property of that type and format. One of another type comes without its content.
inline bool Has(const Reply<xcb_get_property_reply_t>& property, xcb_atom_t type, std::uint8_t format) {
    return property != nullptr && property->type == type && property->format == format;
}

/// The numbers of a property in format 32; empty if the window has none.
std::vector<std::uint32_t> GetNumbers(const Reply<xcb_get_property_reply_t>& property);

/// The first of the numbers, or 0.
std::uint32_t GetNumber(const Reply<xcb_get_property_reply_t>& property);

inline bool Holds(std::span<const std::uint32_t> numbers, std::uint32_t number) {
    return std::ranges::find(numbers, number) != numbers.end();
}

/// A property of a window, at most so many units of 4 bytes of it. Types and states are few, and a stranger's endless
/// list of them must not fill our memory.
class PropertyQuestion : public Question<&Functions::xcb_get_property, &Functions::xcb_get_property_reply> {
public:
    PropertyQuestion(const Server& server, xcb_window_t window, xcb_atom_t property, xcb_atom_t type,
                     std::uint32_t length = 64)
        : Question(server, std::uint8_t{0}, window, property, type, 0U, length) {}
};

} // namespace Tovra::System::Desktop::Xcb
