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
#include <cstdio>
#include <unordered_map>

namespace Tovra::System::Desktop {

namespace {

/// What the server does not know of a panel.
struct Panel {
    Colormap colormap;
    bool shouldAllowFocus = false;
};

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
/// none.
void SetSeen(Display* display, ::Window window, bool isSeen) {
    const unsigned long opacity = isSeen ? 0xFFFFFFFF : 0;
    X11::GetFunctions().XChangeProperty(display, window, GetAtom(display, "_NET_WM_WINDOW_OPACITY"), XA_CARDINAL, 32,
                                        PropModeReplace, reinterpret_cast<const unsigned char*>(&opacity), 1);
    SetShape(display, window, ShapeBounding, !isSeen);
}

bool HasXFixes(Display* display) {
    int eventBase = 0;
    int errorBase = 0;
    return X11::GetFunctions().XFixesQueryExtension(display, &eventBase, &errorBase) != False;
}

/// What a panel is made with: true colour and an alpha channel, or nothing at all.
bool FindVisual(Display* display, XVisualInfo& visual) {
    constexpr int depthWithAlpha = 32;
    if (!HasXFixes(display) || X11::GetFunctions().XMatchVisualInfo(display, DefaultScreen(display), depthWithAlpha,
                                                                    TrueColor, &visual) == 0) {
        std::fputs("Exception: The X server has no transparent windows.\n", stderr);
        return false;
    }
    return true;
}

/// Makes a panel that no window manager frames, moves or focuses, and that can't be seen yet: its window is mapped.
::Window MakePanelWindow(Display* display, const XVisualInfo& visual, Colormap colormap, const XRectangle& area) {
    XSetWindowAttributes attributes{};
    attributes.background_pixel = 0;
    attributes.border_pixel = 0;
    attributes.override_redirect = True;
    attributes.colormap = colormap;
    attributes.event_mask =
        KeyPressMask | KeyReleaseMask | ButtonPressMask | ButtonReleaseMask | PointerMotionMask | KeymapStateMask;
    const auto& x11 = X11::GetFunctions();
    const ::Window window = x11.XCreateWindow(
        display, DefaultRootWindow(display), area.x, area.y, area.width, area.height, 0, visual.depth, InputOutput,
        visual.visual, CWBackPixel | CWBorderPixel | CWOverrideRedirect | CWColormap | CWEventMask, &attributes);
    SetSeen(display, window, false);
    x11.XMapRaised(display, window);
    return window;
}

void* CreatePanel(const XRectangle& area) {
    ::Window window = None;
    Colormap colormap = None;
    const bool isMade = X11::RunChecked([&window, &colormap, &area](Display* display) {
        XVisualInfo visual{};
        if (FindVisual(display, visual)) {
            const auto& x11 = X11::GetFunctions();
            // A held key repeats as further presses alone, without releases in between.
            x11.XkbSetDetectableAutoRepeat(display, True, nullptr);
            colormap = x11.XCreateColormap(display, DefaultRootWindow(display), visual.visual, AllocNone);
            window = MakePanelWindow(display, visual, colormap, area);
        }
    });
    if (!isMade || window == None) {
        return nullptr;
    }
    GetPanels().emplace(window, Panel{.colormap = colormap});
    return reinterpret_cast<void*>(window);
}

/// Runs `work(display, window, panel)` by the thread rule, and waits until the server has carried it out. A panel that
/// is no more, a null handle and a lost connection leave nothing to do.
template <class Work>
void RunOnPanel(void* handle, const Work& work) {
    RunOnMainThread([handle, &work] {
        const auto panel = GetPanels().find(GetWindow(handle));
        if (panel != GetPanels().end()) {
            X11::RunChecked([&work, &panel](Display* display) { work(display, panel->first, panel->second); });
        }
    });
}

std::int32_t ChangeCursor(decltype(&XFixesShowCursor) X11::Functions::* change) {
    bool isPossible = false;
    const bool isChanged = X11::RunChecked([&isPossible, change](Display* display) {
        isPossible = HasXFixes(display);
        if (isPossible) {
            (X11::GetFunctions().*change)(display, DefaultRootWindow(display));
        }
    });
    return isChanged && isPossible ? 0 : X11::generalFailure;
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
    RunOnPanel(handle, [](Display* display, ::Window window, Panel&) {
        SetSeen(display, window, true);
        X11::GetFunctions().XRaiseWindow(display, window);
    });
}

void WindowHidePlatformNative(void* handle) {
    RunOnPanel(handle, [](Display* display, ::Window window, Panel&) { SetSeen(display, window, false); });
}

std::int32_t WindowShowCursorPlatformNative() {
    return ChangeCursor(&X11::Functions::XFixesShowCursor);
}

std::int32_t WindowHideCursorPlatformNative() {
    return ChangeCursor(&X11::Functions::XFixesHideCursor);
}

void WindowPassthroughCursorPlatformNative(void* handle, bool passthrough) {
    RunOnPanel(handle, [passthrough](Display* display, ::Window window, Panel& panel) {
        SetShape(display, window, ShapeInput, passthrough);
        panel.shouldAllowFocus = !passthrough;
    });
}

void WindowExcludeFromCapturePlatformNative([[maybe_unused]] void* handle, [[maybe_unused]] bool exclude) {
    // Without effect: X11 has no window that is seen on the screen and not in a picture of it.
}

void WindowToFrontPlatformNative(void* handle) {
    RunOnPanel(handle, [](Display* display, ::Window window, const Panel& panel) {
        X11::GetFunctions().XRaiseWindow(display, window);
        if (panel.shouldAllowFocus) {
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
