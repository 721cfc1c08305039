#pragma once

// An internal header of the Linux host: the process's one connection to the X server. It shows Xlib and XCB, so only
// `_Linux` files include it.

#include <System/X11/Atoms_Linux.h>
#include <System/X11/Library_Linux.h>

#include <X11/XKBlib.h>
#include <X11/Xlib-xcb.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/extensions/Xfixes.h>
#include <xcb/randr.h>
#include <xcb/res.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <mutex>

#undef Always        // Also the name of a log level.
#undef IsModifierKey // Also a function on keys.

namespace Tovra::System::X11 {

class ServerProbe;

/// The functions of Xlib that are used, see TOVRA_LIBRARY. Those that are macros need no entry.
#define TOVRA_XLIB_FUNCTIONS(CALL, PLAIN)                                                                              \
    CALL(XChangeProperty)                                                                                              \
    CALL(XCheckIfEvent)                                                                                                \
    CALL(XCreateColormap)                                                                                              \
    CALL(XCreateWindow)                                                                                                \
    CALL(XDestroyWindow)                                                                                               \
    CALL(XFreeColormap)                                                                                                \
    CALL(XGetInputFocus)                                                                                               \
    CALL(XGetPointerMapping)                                                                                           \
    CALL(XGetWindowAttributes)                                                                                         \
    CALL(XInternAtom)                                                                                                  \
    CALL(XMapWindow)                                                                                                   \
    CALL(XMoveResizeWindow)                                                                                            \
    CALL(XMoveWindow)                                                                                                  \
    CALL(XNextEvent)                                                                                                   \
    CALL(XOpenDisplay)                                                                                                 \
    CALL(XPending)                                                                                                     \
    CALL(XQueryPointer)                                                                                                \
    CALL(XRaiseWindow)                                                                                                 \
    CALL(XSelectInput)                                                                                                 \
    CALL(XSetInputFocus)                                                                                               \
    CALL(XSync)                                                                                                        \
    CALL(XUnmapWindow)                                                                                                 \
    CALL(XkbSetDetectableAutoRepeat)                                                                                   \
    CALL(Xutf8TextPropertyToTextList)                                                                                  \
    PLAIN(XFree)                                                                                                       \
    PLAIN(XFreeStringList)                                                                                             \
    PLAIN(XGetErrorText)                                                                                               \
    PLAIN(XInitThreads)                                                                                                \
    PLAIN(XMatchVisualInfo)                                                                                            \
    PLAIN(XSetErrorHandler)                                                                                            \
    PLAIN(XSetIOErrorExitHandler)                                                                                      \
    PLAIN(XSetIOErrorHandler)                                                                                          \
    PLAIN(XUnlockDisplay)                                                                                              \
    PLAIN(XVisualIDFromVisual)

/// The functions of XFixes, for shapes of windows.
#define TOVRA_XFIXES_FUNCTIONS(CALL, PLAIN)                                                                            \
    CALL(XFixesCreateRegion)                                                                                           \
    CALL(XFixesDestroyRegion)                                                                                          \
    CALL(XFixesQueryExtension)                                                                                         \
    CALL(XFixesSetWindowShapeRegion)

/// The functions of XTest, which simulates input.
#define TOVRA_XTEST_FUNCTIONS(CALL, PLAIN)                                                                             \
    CALL(XTestFakeButtonEvent)                                                                                         \
    CALL(XTestFakeMotionEvent)                                                                                         \
    CALL(XTestQueryExtension)

/// The function that joins Xlib and XCB.
#define TOVRA_X11_XCB_FUNCTIONS(CALL, PLAIN) PLAIN(XGetXCBConnection)

/// The functions of XCB. Those of an extension have tables of their own, as a machine may lack it alone.
#define TOVRA_XCB_FUNCTIONS(CALL, PLAIN)                                                                               \
    CALL(xcb_configure_window_checked)                                                                                 \
    PLAIN(xcb_connection_has_error)                                                                                    \
    CALL(xcb_get_extension_data)                                                                                       \
    CALL(xcb_get_geometry)                                                                                             \
    CALL(xcb_get_geometry_reply)                                                                                       \
    CALL(xcb_get_input_focus)                                                                                          \
    CALL(xcb_get_input_focus_reply)                                                                                    \
    CALL(xcb_get_property)                                                                                             \
    CALL(xcb_get_property_reply)                                                                                       \
    PLAIN(xcb_get_setup)                                                                                               \
    CALL(xcb_get_window_attributes)                                                                                    \
    CALL(xcb_get_window_attributes_reply)                                                                              \
    CALL(xcb_intern_atom)                                                                                              \
    CALL(xcb_intern_atom_reply)                                                                                        \
    CALL(xcb_query_tree)                                                                                               \
    CALL(xcb_query_tree_reply)                                                                                         \
    CALL(xcb_request_check)                                                                                            \
    CALL(xcb_send_event_checked)                                                                                       \
    CALL(xcb_set_input_focus_checked)                                                                                  \
    CALL(xcb_translate_coordinates)                                                                                    \
    CALL(xcb_translate_coordinates_reply)

/// The functions of the X resource extension.
#define TOVRA_XCB_RESOURCE_FUNCTIONS(CALL, PLAIN)                                                                      \
    PLAIN(xcb_res_id)                                                                                                  \
    CALL(xcb_res_query_client_ids)                                                                                     \
    CALL(xcb_res_query_client_ids_reply)                                                                               \
    CALL(xcb_res_query_version)                                                                                        \
    CALL(xcb_res_query_version_reply)

/// The functions of RandR.
#define TOVRA_XCB_RANDR_FUNCTIONS(CALL, PLAIN)                                                                         \
    CALL(xcb_randr_get_crtc_info)                                                                                      \
    CALL(xcb_randr_get_crtc_info_reply)                                                                                \
    CALL(xcb_randr_get_output_info)                                                                                    \
    CALL(xcb_randr_get_output_info_reply)                                                                              \
    CALL(xcb_randr_get_output_primary)                                                                                 \
    CALL(xcb_randr_get_output_primary_reply)                                                                           \
    CALL(xcb_randr_get_screen_resources_current)                                                                       \
    CALL(xcb_randr_get_screen_resources_current_reply)                                                                 \
    PLAIN(xcb_randr_id)                                                                                                \
    CALL(xcb_randr_query_version)                                                                                      \
    CALL(xcb_randr_query_version_reply)                                                                                \
    CALL(xcb_randr_select_input_checked)

/// The functions of XFixes through XCB, for the cursor.
#define TOVRA_XCB_XFIXES_FUNCTIONS(CALL, PLAIN)                                                                        \
    CALL(xcb_xfixes_hide_cursor_checked)                                                                               \
    PLAIN(xcb_xfixes_id)                                                                                               \
    CALL(xcb_xfixes_query_version)                                                                                     \
    CALL(xcb_xfixes_query_version_reply)                                                                               \
    CALL(xcb_xfixes_show_cursor_checked)

/// The libraries with those functions.
TOVRA_LIBRARY(Xlib, "libX11.so.6", TOVRA_XLIB_FUNCTIONS);
TOVRA_LIBRARY(XFixes, "libXfixes.so.3", TOVRA_XFIXES_FUNCTIONS);
TOVRA_LIBRARY(XTest, "libXtst.so.6", TOVRA_XTEST_FUNCTIONS);
TOVRA_LIBRARY(X11Xcb, "libX11-xcb.so.1", TOVRA_X11_XCB_FUNCTIONS);
TOVRA_XCB_LIBRARY(XcbCore, "libxcb.so.1", TOVRA_XCB_FUNCTIONS);
TOVRA_XCB_LIBRARY(XcbResource, "libxcb-res.so.0", TOVRA_XCB_RESOURCE_FUNCTIONS);
TOVRA_XCB_LIBRARY(XcbRandr, "libxcb-randr.so.0", TOVRA_XCB_RANDR_FUNCTIONS);
TOVRA_XCB_LIBRARY(XcbXFixes, "libxcb-xfixes.so.0", TOVRA_XCB_XFIXES_FUNCTIONS);

/// X11 reports the wheel as buttons, up and down as the fourth and fifth.
inline constexpr unsigned int wheelUp = Button4;
inline constexpr unsigned int wheelDown = Button5;
inline constexpr unsigned int wheelLeft = 6;
inline constexpr unsigned int wheelRight = 7;

/// A coordinate in X11's range: a fraction is cut off.
template <class Number>
short ToCoordinate(Number points) {
    return static_cast<short>(std::clamp(points, Number{-32768}, Number{32767}));
}

/// Returned for a failure that has an error number on macOS and none on X11: macOS's least specific one
/// (`kCGErrorFailure`).
inline constexpr std::int32_t generalFailure = 1000;

/// Which process ids the server reports for its clients.
enum class ReportedProcessIds {
    Missing, ///< It lacks the X resource extension in version 1.2, or can't see this process.
    Ours,    ///< It reports this process under its own id.
    Foreign, ///< It runs on another machine or in another process namespace, or a forwarder stands between.
};

/// What `std::once_flag` is. That one is set within libc++'s library, where the thread sanitizer does not see it, and
/// takes what was done once for a race. Any thread.
class OnceFlag {
public:
    /// Calls `function()` at the first call; the others wait until that has returned.
    template <class F>
    void Call(const F& function) {
        if (m_isDone.load(std::memory_order_acquire)) {
            return;
        }
        const std::scoped_lock lock(m_mutex);
        if (!m_isDone.load(std::memory_order_relaxed)) {
            function();
            m_isDone.store(true, std::memory_order_release);
        }
    }

private:
    std::atomic<bool> m_isDone = false;
    std::mutex m_mutex;
};

/// A value that is found at the first use. Any thread.
template <class T>
class Once {
public:
    /// The value that `find()` returned at the first call. Lives as long as this object.
    template <class F>
    const T& Get(const F& find) {
        m_isFound.Call([this, &find] { m_value = find(); });
        return m_value;
    }

private:
    OnceFlag m_isFound;
    T m_value{};
};

/// The process's one connection to the X server, which the variable DISPLAY names, with everything that is known of
/// that server and the libraries' functions. It is opened at the first `GetConnection`, shared by all threads and never
/// closed or destroyed.
///
/// Protocol errors and the loss of the connection are printed to the standard error stream as "Exception: " and a text.
/// Neither ends the process, and a broken pipe doesn't either.
class Connection : public Xlib,
                   public XFixes,
                   public XTest,
                   public X11Xcb,
                   public XcbCore,
                   public XcbResource,
                   public XcbRandr,
                   public XcbXFixes {
public:
    Display* display = nullptr;          ///< For the functions of Xlib, GLX and XTest.
    xcb_connection_t* xcb = nullptr;     ///< The same connection for those of XCB; null if XCB is missing.
    xcb_window_t root = XCB_WINDOW_NONE; ///< Of the default screen.

    /// Waits until the server has carried out all requests so far: one round trip. False if the connection is lost.
    /// Something that was created counts as made only after this, and only if a request then finds it: all threads
    /// share the connection, and Xlib does not tell whose request was refused.
    bool Sync();

    /// Prints the text of a protocol error on `display`, which may still be connecting, as "Exception: ".
    static void ReportError(Display* display, int code);

    /// Two round trips at the first call. Needs XCB.
    ReportedProcessIds GetReportedProcessIds();

    /// Whether the server has RandR 1.3, which lists displays without probing for new monitors. Two round trips at the
    /// first call. Needs XCB.
    bool HasRandr();

    /// Whether the server has XFixes 4, which hides the cursor and shows it again. Two round trips at the first call.
    /// Needs XCB.
    bool HasCursorHiding();

    /// Whether the server has XTest. A few round trips at the first call, as libXtst asks for other extensions too.
    bool HasXTest();

    /// The atoms on this server. One round trip at the first call. Needs XCB.
    const Atoms& GetAtoms();

    /// The window that last named itself that of the running window manager, or none, and whether one was running.
    /// Cached guesses: with them the next check for a window manager needs no round trip of its own.
    std::atomic<xcb_window_t> managerWindow = XCB_WINDOW_NONE;
    std::atomic<bool> isManaged = false;

    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

private:
    constexpr Connection() = default;

    friend Connection* GetConnection();
    friend bool IsConnectionLost();
    friend void MarkConnectionAsLost();

    /// Exists from the program's start to its very end: threads and the driver may use it while the process ends.
    static Connection s_instance;

    static int OnConnectionLost(Display* display);

    void Open();
    Display* OpenDisplay(const char* displayName) const;
    Display* Connect(const char* displayName, const ServerProbe& probe);
    void Watch(const char* displayName, int socketDescriptor);
    bool HasExtension(xcb_extension_t* extension) const;
    ReportedProcessIds FindReportedProcessIds();
    bool FindRandr();
    bool FindCursorHiding();
    bool FindXTest();

    OnceFlag m_isOpened;
    Watchdog m_watchdog;
    std::atomic<bool> m_isLost = false;
    Once<ReportedProcessIds> m_reportedProcessIds;
    Once<bool> m_hasRandr;
    Once<bool> m_hasCursorHiding;
    Once<bool> m_hasXTest;
    Once<Atoms> m_atoms;
};

/// The connection; null if libX11 or libXfixes is missing or no server answers, and from the moment on when the
/// connection is lost. Opened at the first call, which may take some seconds; what comes of it is final. Any thread.
/// Owned by the process.
Connection* GetConnection();

/// Takes the connection for lost, and says so once. Any thread.
void MarkConnectionAsLost();

/// Takes the connection for lost and leaves the running `Call` of this thread, if any. Any thread.
void AbandonConnection();

/// The X window of a panel. A panel's handle is the id of its X window.
constexpr ::Window GetPanelWindow(unsigned long handle) {
    return handle;
}

} // namespace Tovra::System::X11
