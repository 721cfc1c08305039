#pragma once

// An internal header of the Linux host: the atoms that are used, by name.

#include <xcb/xcb.h>

namespace Tovra::System::X11 {

/// Each atom with its member (EWMH, ICCCM).
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

/// The atoms on the server; XCB_ATOM_NONE for one that it could not give.
struct Atoms {
#define TOVRA_X11_ATOM_MEMBER(member, text) xcb_atom_t member = XCB_ATOM_NONE;
    TOVRA_X11_ATOMS(TOVRA_X11_ATOM_MEMBER)
#undef TOVRA_X11_ATOM_MEMBER
};

} // namespace Tovra::System::X11
