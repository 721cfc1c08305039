#include <System/Desktop/Glx_Linux.h>
#include <System/Desktop/PanelRules.h>
#include <System/Desktop/Stacking_Linux.h>
#include <System/Desktop/WindowPlatformNative.h>
#include <System/Desktop/X11_Linux.h>
#include <System/Device/Display/DisplayEvents_Linux.h>
#include <System/Processes/Process.h>
#include <System/Processes/ProcessWindowOperations.h>

#include <X11/Xatom.h>
#include <X11/extensions/shapeconst.h>

#include <algorithm>
#include <cstdint>
#include <unordered_map>

namespace Tovra::System::Desktop {

namespace {

/// What the server does not know of a panel.
struct Panel {
    Colormap colormap = None;
    bool canBeShaped = false; ///< Whether the server has XFixes, which shapes windows.
    bool isMapped = false;    ///< Only what is mapped can be given the focus.
    bool shouldAllowFocus = false;
};

/// What every panel wants to know. The keymap tells what was held before the pointer or the focus came.
constexpr long pointerEvents = ButtonPressMask | ButtonReleaseMask | PointerMotionMask | KeymapStateMask;

/// What only a panel with the right to the keyboard is told: keys go to a window under the pointer without any focus.
constexpr long keyEvents = KeyPressMask | KeyReleaseMask;

using Panels = std::unordered_map<::Window, Panel>;

/// The panels that live. Main thread.
Panels& GetPanels() {
    // Never destroyed: windows may outlive any static object.
    static Panels& s_panels = *new Panels;
    return s_panels;
}

::Window GetWindow(void* handle) {
    return X11::GetPanelWindow(reinterpret_cast<unsigned long>(handle));
}

/// A coordinate as X11 can carry it.
short ToCoordinate(float points) {
    return static_cast<short>(std::clamp(points, -32768.0F, 32767.0F));
}

/// An extent as X11 can carry it, which knows no window without area.
unsigned short ToExtent(float points) {
    return static_cast<unsigned short>(std::clamp(points, 1.0F, 32767.0F));
}

/// Coordinates and extents as X11 can carry them.
XRectangle ToArea(float x, float y, float width, float height) {
    return {.x = ToCoordinate(x), .y = ToCoordinate(y), .width = ToExtent(width), .height = ToExtent(height)};
}

Atom GetAtom(Display* display, const char* name) {
    return X11::GetFunctions().XInternAtom(display, name, False);
}

void SetShape(Display* display, ::Window window, int kind, bool isEmpty) {
    const auto& x11 = X11::GetFunctions();
    if (!isEmpty) {
        x11.XFixesSetWindowShapeRegion(display, window, kind, 0, 0, None);
        return;
    }
    const auto nothing = x11.XFixesCreateRegion(display, nullptr, 0);
    x11.XFixesSetWindowShapeRegion(display, window, kind, 0, 0, nothing);
    x11.XFixesDestroyRegion(display, nothing);
}

/// Lets the panel be seen or not: by its opacity where a compositor heeds that (EWMH), by its shape where there is
/// none. Without shapes it leaves the screen, and keeps its place in the order of windows.
void SetSeen(Display* display, ::Window window, Panel& panel, bool isSeen) {
    const auto& x11 = X11::GetFunctions();
    const unsigned long opacity = isSeen ? 0xFFFFFFFF : 0;
    x11.XChangeProperty(display, window, GetAtom(display, "_NET_WM_WINDOW_OPACITY"), XA_CARDINAL, 32, PropModeReplace,
                        reinterpret_cast<const unsigned char*>(&opacity), 1);
    if (panel.canBeShaped) {
        SetShape(display, window, ShapeBounding, !isSeen);
    }
    panel.isMapped = isSeen || panel.canBeShaped;
    if (panel.isMapped) {
        x11.XMapWindow(display, window);
    } else {
        x11.XUnmapWindow(display, window);
    }
}

bool HasXFixes(Display* display) {
    int eventBase = 0;
    int errorBase = 0;
    return X11::GetFunctions().XFixesQueryExtension(display, &eventBase, &errorBase) != False;
}

/// What a panel is made with: an alpha channel where the server has one and contexts can be made with it or with
/// nothing, else what a context needs, else what there is. The driver's first answer costs what a context would pay.
XVisualInfo ChooseVisual(Display* display) {
    constexpr int depthWithAlpha = 32;
    XVisualInfo visual{};
    const bool hasAlpha =
        X11::GetFunctions().XMatchVisualInfo(display, DefaultScreen(display), depthWithAlpha, TrueColor, &visual) != 0;
    const bool servesContext =
        Glx::IsLoaded() && ((hasAlpha && Glx::ChooseConfiguration(display, visual.visualid) != nullptr) ||
                            Glx::FindVisual(display, visual));
    if (!hasAlpha && !servesContext) {
        visual.visual = DefaultVisual(display, DefaultScreen(display));
        visual.depth = DefaultDepth(display, DefaultScreen(display));
    }
    return visual;
}

/// Makes a window that no window manager frames, moves or focuses.
::Window MakeWindow(Display* display, const XVisualInfo& visual, Colormap colormap, const XRectangle& area) {
    XSetWindowAttributes attributes{};
    attributes.background_pixel = 0;
    attributes.border_pixel = 0;
    attributes.override_redirect = True;
    attributes.colormap = colormap;
    attributes.event_mask = pointerEvents;
    return X11::GetFunctions().XCreateWindow(
        display, DefaultRootWindow(display), area.x, area.y, area.width, area.height, 0, visual.depth, InputOutput,
        visual.visual, CWBackPixel | CWBorderPixel | CWOverrideRedirect | CWColormap | CWEventMask, &attributes);
}

/// Makes a panel that can't be seen yet. None if the server refused a part of it, and then nothing of it is left. The
/// server is asked what there is, as other threads' requests are refused as well.
::Window MakePanel(Display* display, const XRectangle& area, Panel& panel) {
    const auto& x11 = X11::GetFunctions();
    const XVisualInfo visual = ChooseVisual(display);
    panel.canBeShaped = HasXFixes(display);
    panel.colormap = x11.XCreateColormap(display, DefaultRootWindow(display), visual.visual, AllocNone);
    const ::Window window = MakeWindow(display, visual, panel.colormap, area);
    SetSeen(display, window, panel, false);
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
    ::Window window = None;
    Panel panel;
    const bool isConnected = X11::RunAndWait([&window, &panel, &area](Display* display) {
        // A held key repeats as further presses alone, without releases in between.
        X11::GetFunctions().XkbSetDetectableAutoRepeat(display, True, nullptr);
        window = MakePanel(display, area, panel);
    });
    if (!isConnected || window == None) {
        return nullptr;
    }
    GetPanels().emplace(window, panel);
    return reinterpret_cast<void*>(window);
}

/// Runs `work(display, window, panel)` by the thread rule, and waits until the server has carried it out. A panel that
/// is no more, a null handle and a lost connection leave nothing to do.
template <class Work>
void RunOnPanel(void* handle, const Work& work) {
    RunOnMainThread([handle, &work] {
        const auto panel = GetPanels().find(GetWindow(handle));
        if (panel != GetPanels().end()) {
            X11::RunAndWait([&work, &panel](Display* display) { work(display, panel->first, panel->second); });
        }
    });
}

/// Gives the right to the keyboard or takes it. A panel that loses it gives up the focus as well, or keys would reach
/// nobody: the focus then goes where it goes when a panel ends.
void AllowFocus(Display* display, ::Window window, bool isAllowed) {
    const auto& x11 = X11::GetFunctions();
    if (isAllowed) {
        x11.XSelectInput(display, window, pointerEvents | keyEvents);
        return;
    }
    x11.XSelectInput(display, window, pointerEvents);
    ::Window focus = None;
    int revertTo = 0;
    x11.XGetInputFocus(display, &focus, &revertTo);
    if (focus == window) {
        x11.XSetInputFocus(display, PointerRoot, RevertToPointerRoot, CurrentTime);
    }
}

using CursorRequest = decltype(&xcb_xfixes_show_cursor_checked) Xcb::Functions::*;

/// Hides the cursor or shows it on the whole screen. Through XCB, which tells whose request was refused; a refusal is
/// printed.
std::int32_t ChangeCursor(CursorRequest request) {
    const Xcb::Session session;
    const Xcb::Server* const server = session.GetServer();
    if (server == nullptr || !Xcb::HidesCursor(*server)) {
        return X11::generalFailure;
    }
    const auto& xcb = Xcb::GetFunctions();
    const xcb_void_cookie_t cookie = (xcb.*request)(server->connection, server->root);
    const Xcb::Reply<xcb_generic_error_t> error(xcb.xcb_request_check(server->connection, cookie));
    if (error != nullptr) {
        X11::Run([code = error->error_code](Display* display) { X11::ReportError(display, code); });
    }
    return error == nullptr && Xcb::IsConnected(*server) ? 0 : X11::generalFailure;
}

/// How well a window serves to bring its process forward, in rising order.
enum class Fitness {
    NotThere,
    Hidden, ///< It would come back from where the person has put it, which nobody asked for.
    Unusual,
    Normal,
};

Fitness GetFitness(const Processes::WindowListEntry& entry) {
    if (!entry.isOnScreen.value_or(false)) {
        return Fitness::Hidden;
    }
    return entry.layer == 0 ? Fitness::Normal : Fitness::Unusual;
}

/// The frontmost of the process's windows that serve best to bring it forward; 0 if it has none. One round trip for the
/// list and one for each batch of windows (of 8, 16, 32 …), until there can't be a better one.
std::uint32_t FindForemostWindow(std::int32_t processId) {
    using Processes::WindowListField;
    std::uint32_t window = 0;
    Fitness fitness = Fitness::NotThere;
    Processes::WalkWindowList(
        {.fields = WindowListField::OwnerId | WindowListField::Layer | WindowListField::IsOnScreen},
        [processId, &window, &fitness](const Processes::WindowListEntry& entry) {
            if (entry.ownerId == processId && GetFitness(entry) > fitness) {
                window = entry.number.value_or(0);
                fitness = GetFitness(entry);
            }
            return fitness == Fitness::Normal ? VisitorAction::Stop : VisitorAction::Continue;
        });
    return window;
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
    RunOnPanel(handle, [width, height](Display* display, ::Window window, Panel&) {
        const auto& x11 = X11::GetFunctions();
        XWindowAttributes now{};
        if (x11.XGetWindowAttributes(display, window, &now) != 0) {
            const auto newHeight = ToExtent(height);
            const short newY = ToCoordinate(static_cast<float>(now.y + now.height - newHeight));
            x11.XMoveResizeWindow(display, window, now.x, newY, ToExtent(width), newHeight);
        }
    });
}

void WindowSetPositionPlatformNative(void* handle, float x, float y) {
    RunOnPanel(handle, [x, y](Display* display, ::Window window, Panel&) {
        X11::GetFunctions().XMoveWindow(display, window, ToCoordinate(x), ToCoordinate(y));
    });
}

void WindowSetRectanglePlatformNative(void* handle, float x, float y, float width, float height) {
    RunOnPanel(handle, [area = ToArea(x, y, width, height)](Display* display, ::Window window, Panel&) {
        X11::GetFunctions().XMoveResizeWindow(display, window, area.x, area.y, area.width, area.height);
    });
}

void WindowShowPlatformNative(void* handle) {
    RunOnPanel(handle, [](Display* display, ::Window window, Panel& panel) {
        SetSeen(display, window, panel, true);
        X11::GetFunctions().XRaiseWindow(display, window);
    });
}

void WindowHidePlatformNative(void* handle) {
    RunOnPanel(handle, [](Display* display, ::Window window, Panel& panel) { SetSeen(display, window, panel, false); });
}

std::int32_t WindowShowCursorPlatformNative() {
    return ChangeCursor(&Xcb::Functions::xcb_xfixes_show_cursor_checked);
}

std::int32_t WindowHideCursorPlatformNative() {
    return ChangeCursor(&Xcb::Functions::xcb_xfixes_hide_cursor_checked);
}

void WindowPassthroughCursorPlatformNative(void* handle, bool passthrough) {
    RunOnPanel(handle, [passthrough](Display* display, ::Window window, Panel& panel) {
        if (panel.canBeShaped) {
            SetShape(display, window, ShapeInput, passthrough);
        }
        AllowFocus(display, window, !passthrough);
        panel.shouldAllowFocus = !passthrough;
    });
}

void WindowExcludeFromCapturePlatformNative([[maybe_unused]] void* handle, [[maybe_unused]] bool exclude) {
    // Without effect: X11 has no window that is seen on the screen and not in a picture of it.
}

void WindowToFrontPlatformNative(void* handle) {
    RunOnPanel(handle, [](Display* display, ::Window window, const Panel& panel) {
        X11::GetFunctions().XRaiseWindow(display, window);
        if (panel.shouldAllowFocus && panel.isMapped) {
            X11::GetFunctions().XSetInputFocus(display, window, RevertToPointerRoot, CurrentTime);
        }
    });
}

// Finding the window, then two round trips, or three without a window manager. The windows are strangers': one that is
// gone meanwhile is nothing to print.
bool WindowActivateAppPlatformNative(std::int32_t processId) {
    const Processes::Process process(static_cast<std::uint64_t>(processId));
    const std::uint32_t window = process.IsValid() ? FindForemostWindow(processId) : 0;
    if (window == 0) {
        return false;
    }
    const Xcb::Session session;
    return session.GetServer() != nullptr && Xcb::ActivateWindow(*session.GetServer(), window);
}

void WindowDestroyPlatformNative(void* handle) {
    RunOnPanel(handle, [](Display* display, ::Window window, const Panel& panel) {
        X11::GetFunctions().XDestroyWindow(display, window);
        X11::GetFunctions().XFreeColormap(display, panel.colormap);
        GetPanels().erase(window);
    });
}

} // namespace Tovra::System::Desktop
