#include <System/Desktop/PanelRules.h>
#include <System/Desktop/WindowPlatformNative.h>
#include <System/Device/Display/DisplayEvents_Linux.h>
#include <System/X11/Glx_Linux.h>
#include <System/X11/Xcb_Linux.h>

#include <X11/Xatom.h>
#include <X11/extensions/shapeconst.h>

#include <algorithm>
#include <cstdint>
#include <unordered_map>

namespace Tovra::System::Desktop {

namespace Glx = X11::Glx;
namespace Xcb = X11::Xcb;

using X11::Connection;

namespace {

/// What is known of a panel here and not by the server.
struct Panel {
    Colormap colormap = None;
    bool canBeShaped = false; ///< Whether the server has XFixes, which shapes windows.
    bool isMapped = false;    ///< Only a mapped window can be given the focus.
    bool shouldAllowFocus = false;
};

/// The events of every panel. The keymap reports the keys that were held before the pointer or the focus came.
constexpr long pointerEvents = ButtonPressMask | ButtonReleaseMask | PointerMotionMask | KeymapStateMask;

/// The events of a panel that may have the keyboard: without any focus, keys go to the window under the pointer.
constexpr long keyEvents = KeyPressMask | KeyReleaseMask;

using Panels = std::unordered_map<::Window, Panel>;

/// The living panels. Main thread.
Panels& GetPanels() {
    // Never destroyed: windows may outlive any static object.
    static Panels& s_panels = *new Panels;
    return s_panels;
}

::Window GetWindow(void* handle) {
    return X11::GetPanelWindow(reinterpret_cast<unsigned long>(handle));
}

/// An extent in X11's range, which has no window without area.
unsigned short ToExtent(float points) {
    return static_cast<unsigned short>(std::clamp(points, 1.0F, 32767.0F));
}

/// Coordinates and extents in X11's range.
XRectangle ToArea(float x, float y, float width, float height) {
    return {.x = X11::ToCoordinate(x), .y = X11::ToCoordinate(y), .width = ToExtent(width), .height = ToExtent(height)};
}

void SetShape(const Connection& x11, ::Window window, int kind, bool isEmpty) {
    if (!isEmpty) {
        x11.XFixesSetWindowShapeRegion(x11.display, window, kind, 0, 0, None);
        return;
    }
    const auto nothing = x11.XFixesCreateRegion(x11.display, nullptr, 0);
    x11.XFixesSetWindowShapeRegion(x11.display, window, kind, 0, 0, nothing);
    x11.XFixesDestroyRegion(x11.display, nothing);
}

/// Makes the panel visible or invisible: by its opacity for a compositor that obeys it (EWMH), by its shape otherwise.
/// Without shapes it is unmapped, which keeps its place in the stacking order.
void SetVisible(const Connection& x11, ::Window window, Panel& panel, bool isVisible) {
    const unsigned long opacity = isVisible ? 0xFFFFFFFF : 0;
    x11.XChangeProperty(x11.display, window, x11.XInternAtom(x11.display, "_NET_WM_WINDOW_OPACITY", False), XA_CARDINAL,
                        32, PropModeReplace, reinterpret_cast<const unsigned char*>(&opacity), 1);
    if (panel.canBeShaped) {
        SetShape(x11, window, ShapeBounding, !isVisible);
    }
    panel.isMapped = isVisible || panel.canBeShaped;
    if (panel.isMapped) {
        x11.XMapWindow(x11.display, window);
    } else {
        x11.XUnmapWindow(x11.display, window);
    }
}

bool HasXFixes(const Connection& x11) {
    int eventBase{};
    int errorBase{};
    return x11.XFixesQueryExtension(x11.display, &eventBase, &errorBase) != False;
}

/// A visual with an alpha channel if the server has one and contexts can be made with it, else one that contexts can be
/// made with, else one with an alpha channel, else the screen's. Loading the driver here costs no extra time: a context
/// would load it.
XVisualInfo ChooseVisual(const Connection& x11) {
    constexpr int depthWithAlpha = 32;
    Display* const display = x11.display;
    XVisualInfo visual{};
    const bool hasAlpha =
        x11.XMatchVisualInfo(display, DefaultScreen(display), depthWithAlpha, TrueColor, &visual) != 0;
    const Glx::Functions* const glx = Glx::GetFunctions();
    const bool servesContext =
        glx != nullptr && ((hasAlpha && Glx::ChooseConfiguration(x11, *glx, visual.visualid) != nullptr) ||
                           Glx::FindVisual(x11, *glx, visual));
    if (!hasAlpha && !servesContext) {
        visual.visual = DefaultVisual(display, DefaultScreen(display)); // Its depth is the root's, which 0 stands for.
    }
    return visual;
}

/// Makes a window that no window manager frames, moves or focuses.
::Window MakeWindow(const Connection& x11, const XVisualInfo& visual, Colormap colormap, const XRectangle& area) {
    XSetWindowAttributes attributes{}; // The background is clear.
    attributes.override_redirect = True;
    attributes.colormap = colormap;
    attributes.event_mask = pointerEvents;
    return x11.XCreateWindow(x11.display, x11.root, area.x, area.y, area.width, area.height, 0, visual.depth,
                             InputOutput, visual.visual,
                             CWBackPixel | CWBorderPixel | CWOverrideRedirect | CWColormap | CWEventMask, &attributes);
}

/// Makes an invisible panel. None if the server refused a part of it, and then nothing of it is left. Protocol errors
/// don't tell that, as requests of other threads may be refused too; the window's attributes do.
::Window MakePanel(const Connection& x11, const XRectangle& area, Panel& panel) {
    Display* const display = x11.display;
    const XVisualInfo visual = ChooseVisual(x11);
    panel = {.colormap = x11.XCreateColormap(display, x11.root, visual.visual, AllocNone),
             .canBeShaped = HasXFixes(x11)};
    const ::Window window = MakeWindow(x11, visual, panel.colormap, area);
    SetVisible(x11, window, panel, false);
    XWindowAttributes made{};
    const bool exists = x11.XGetWindowAttributes(display, window, &made) != 0;
    if (exists && made.map_state == (panel.isMapped ? IsViewable : IsUnmapped)) {
        return window;
    }
    if (exists) {
        x11.XDestroyWindow(display, window);
    }
    x11.XFreeColormap(display, panel.colormap);
    return None;
}

void* CreatePanel(const XRectangle& area) {
    Connection* const x11 = X11::GetConnection();
    if (x11 == nullptr) {
        return nullptr;
    }
    // A held key repeats as further presses alone, without releases in between.
    x11->XkbSetDetectableAutoRepeat(x11->display, True, nullptr);
    Panel panel;
    const ::Window window = MakePanel(*x11, area, panel);
    if (!x11->Sync() || window == None) {
        return nullptr;
    }
    GetPanels().emplace(window, panel);
    return reinterpret_cast<void*>(window);
}

/// Runs `work(connection, window, panel)` on the main thread, and waits until the server has carried it out. Does
/// nothing for a destroyed panel, a null handle and a lost connection.
template <class Work>
void RunOnPanel(void* handle, const Work& work) {
    RunOnMainThread([handle, &work] {
        const auto panel = GetPanels().find(GetWindow(handle));
        // Without a panel the server is not asked, nor even looked for.
        Connection* const x11 = panel == GetPanels().end() ? nullptr : X11::GetConnection();
        if (x11 != nullptr) {
            work(*x11, panel->first, panel->second);
            x11->Sync();
        }
    });
}

/// Lets the panel have the keyboard, or not. A panel that may no longer have it gives up the focus as well, or keys
/// would reach no window: the focus then follows the pointer, as when a panel is destroyed.
void AllowFocus(const Connection& x11, ::Window window, bool isAllowed) {
    if (isAllowed) {
        x11.XSelectInput(x11.display, window, pointerEvents | keyEvents);
        return;
    }
    x11.XSelectInput(x11.display, window, pointerEvents);
    ::Window focus = None;
    int revertTo{};
    x11.XGetInputFocus(x11.display, &focus, &revertTo);
    if (focus == window) {
        x11.XSetInputFocus(x11.display, PointerRoot, RevertToPointerRoot, CurrentTime);
    }
}

using CursorRequest = decltype(X11::XcbXFixes::xcb_xfixes_show_cursor_checked) X11::XcbXFixes::*;

/// Hides or shows the cursor on the whole screen. Through XCB, which tells whose request was refused; an error is
/// printed.
std::int32_t ChangeCursor(CursorRequest request) {
    const Xcb::Session session;
    Connection* const x11 = session.GetConnection();
    if (x11 == nullptr || !x11->HasCursorHiding()) {
        return X11::generalFailure;
    }
    const xcb_void_cookie_t cookie = (x11->*request)(x11->xcb, x11->root);
    if (const auto error = Xcb::GetError(*x11, cookie)) {
        Connection::ReportError(x11->display, error->error_code);
        return X11::generalFailure;
    }
    return Xcb::IsIntact(*x11) ? 0 : X11::generalFailure;
}

} // namespace

bool WindowInitializePlatformNative(void* userInfo) {
    // Any X11 client may change the cursor at any time.
    Device::Display::SelectDisplayEvents(userInfo);
    return true;
}

void* WindowCreatePlatformNative(float x, float y, float width, float height) {
    void* handle = nullptr;
    RunOnMainThread([&handle, x, y, width, height] { handle = CreatePanel(ToArea(x, y, width, height)); });
    return handle;
}

bool WindowUpdatePlatformNative(Window* window, Window::State state) {
    return UpdatePanel(*window, state);
}

void WindowSetSizePlatformNative(void* handle, float width, float height) {
    RunOnPanel(handle, [width, height](const Connection& x11, ::Window window, Panel&) {
        XWindowAttributes now{};
        if (x11.XGetWindowAttributes(x11.display, window, &now) != 0) {
            const auto newHeight = ToExtent(height);
            const short newY = X11::ToCoordinate(now.y + now.height - newHeight);
            x11.XMoveResizeWindow(x11.display, window, now.x, newY, ToExtent(width), newHeight);
        }
    });
}

void WindowSetPositionPlatformNative(void* handle, float x, float y) {
    RunOnPanel(handle, [x, y](const Connection& x11, ::Window window, Panel&) {
        x11.XMoveWindow(x11.display, window, X11::ToCoordinate(x), X11::ToCoordinate(y));
    });
}

void WindowSetRectanglePlatformNative(void* handle, float x, float y, float width, float height) {
    RunOnPanel(handle, [area = ToArea(x, y, width, height)](const Connection& x11, ::Window window, Panel&) {
        x11.XMoveResizeWindow(x11.display, window, area.x, area.y, area.width, area.height);
    });
}

void WindowShowPlatformNative(void* handle) {
    RunOnPanel(handle, [](const Connection& x11, ::Window window, Panel& panel) {
        SetVisible(x11, window, panel, true);
        x11.XRaiseWindow(x11.display, window);
    });
}

void WindowHidePlatformNative(void* handle) {
    RunOnPanel(handle,
               [](const Connection& x11, ::Window window, Panel& panel) { SetVisible(x11, window, panel, false); });
}

std::int32_t WindowShowCursorPlatformNative() {
    return ChangeCursor(&X11::XcbXFixes::xcb_xfixes_show_cursor_checked);
}

std::int32_t WindowHideCursorPlatformNative() {
    return ChangeCursor(&X11::XcbXFixes::xcb_xfixes_hide_cursor_checked);
}

void WindowPassthroughCursorPlatformNative(void* handle, bool passthrough) {
    RunOnPanel(handle, [passthrough](const Connection& x11, ::Window window, Panel& panel) {
        if (panel.canBeShaped) {
            SetShape(x11, window, ShapeInput, passthrough);
        }
        AllowFocus(x11, window, !passthrough);
        panel.shouldAllowFocus = !passthrough;
    });
}

void WindowExcludeFromCapturePlatformNative([[maybe_unused]] void* handle, [[maybe_unused]] bool exclude) {
    // Without effect: X11 has no window that is on the screen and not in a screenshot.
}

void WindowToFrontPlatformNative(void* handle) {
    RunOnPanel(handle, [](const Connection& x11, ::Window window, const Panel& panel) {
        x11.XRaiseWindow(x11.display, window);
        if (panel.shouldAllowFocus && panel.isMapped) {
            x11.XSetInputFocus(x11.display, window, RevertToPointerRoot, CurrentTime);
        }
    });
}

void WindowDestroyPlatformNative(void* handle) {
    RunOnPanel(handle, [](const Connection& x11, ::Window window, const Panel&) {
        const auto destroyed = GetPanels().extract(window);
        x11.XDestroyWindow(x11.display, window);
        x11.XFreeColormap(x11.display, destroyed.mapped().colormap);
    });
}

} // namespace Tovra::System::Desktop
