#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <fstream>

// After all others, since Xlib defines common words as macros.
// clang-format off
#include <Support/XClient.h>
#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/extensions/shape.h>
// clang-format on

namespace Tovra::Tests {

XClient::XClient(const char* displayName) : m_display(XOpenDisplay(displayName)) {
    XSelectInput(m_display, GetRoot(), SubstructureNotifyMask | PropertyChangeMask | FocusChangeMask);
    XSync(m_display, False);
}

XClient::~XClient() {
    XCloseDisplay(m_display);
}

Atom XClient::GetAtom(const std::string& name) const {
    return XInternAtom(m_display, name.c_str(), False);
}

bool XClient::WaitUntil(const std::function<bool()>& condition) const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (!WaitForEvent(deadline)) {
            return false;
        }
    }
    return true;
}

bool XClient::WaitForEvent(std::chrono::steady_clock::time_point deadline) const {
    while (XPending(m_display) == 0) {
        const auto rest =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd descriptor = {.fd = ConnectionNumber(m_display), .events = POLLIN, .revents = 0};
        if (rest.count() <= 0 || poll(&descriptor, 1, static_cast<int>(rest.count())) == 0) {
            return false;
        }
    }
    XEvent event{};
    XNextEvent(m_display, &event);
    return true;
}

void XClient::Watch(::Window window) const {
    XSelectInput(m_display, window, PropertyChangeMask | StructureNotifyMask | FocusChangeMask);
    XSync(m_display, False);
}

XClientMessageEvent XClient::WaitForMessage() const {
    constexpr auto isMessage = [](Display*, XEvent* event, XPointer) -> Bool {
        return event->type == ClientMessage ? True : False;
    };
    XEvent event{};
    XIfEvent(m_display, &event, isMessage, nullptr);
    return event.xclient;
}

::Window XClient::MakeWindow(const System::Math::Rectangle& frame, const XWindowStyle& style) const {
    XSetWindowAttributes attributes{};
    attributes.override_redirect = style.isOverrideRedirect ? True : False;
    attributes.event_mask = StructureNotifyMask | PropertyChangeMask | FocusChangeMask;
    attributes.background_pixel = 0x0000FF;
    // A window without output can't have a background.
    const unsigned long mask = CWOverrideRedirect | CWEventMask | (style.isInputOnly ? 0 : CWBackPixel);
    const ::Window window =
        XCreateWindow(m_display, GetRoot(), frame.left, frame.top, static_cast<unsigned int>(frame.right - frame.left),
                      static_cast<unsigned int>(frame.bottom - frame.top), 0, 0,
                      style.isInputOnly ? InputOnly : InputOutput, nullptr, mask, &attributes);
    if (!style.title.empty()) {
        SetText(window, XA_WM_NAME, XA_STRING, style.title);
    }
    SetTypes(window, style.types);
    // USPosition and USSize: window managers keep the place that a person chose.
    std::array<long, 18> hints = {1 | 2, frame.left, frame.top};
    XChangeProperty(m_display, window, XA_WM_NORMAL_HINTS, XA_WM_SIZE_HINTS, 32, PropModeReplace,
                    reinterpret_cast<unsigned char*>(hints.data()), hints.size());
    if (style.isMapped) {
        XMapRaised(m_display, window);
        EXPECT_TRUE(WaitUntil([this, window] { return CanBeSeen(window); }));
    }
    XSync(m_display, False);
    return window;
}

::Window XClient::MakePart(::Window window) const {
    const ::Window part = XCreateSimpleWindow(m_display, window, 0, 0, 10, 10, 0, 0, 0);
    XMapWindow(m_display, part);
    XSync(m_display, False);
    return part;
}

void XClient::Destroy(::Window window) const {
    XDestroyWindow(m_display, window);
    XSync(m_display, False);
}

void XClient::SetText(::Window window, Atom property, Atom type, std::string_view text) const {
    SetProperty<char>(window, property, type, 8, text);
}

void XClient::SetNumbers(::Window window, const std::string& property, Atom type,
                         const std::vector<long>& numbers) const {
    SetProperty<long>(window, GetAtom(property), type, 32, numbers);
}

void XClient::SetTypes(::Window window, const std::vector<std::string>& types) const {
    std::vector<long> atoms;
    for (const std::string& type : types) {
        atoms.push_back(static_cast<long>(GetAtom("_NET_WM_WINDOW_TYPE_" + type)));
    }
    if (!atoms.empty()) {
        SetNumbers(window, "_NET_WM_WINDOW_TYPE", XA_ATOM, atoms);
    }
}

void XClient::SetOwner(::Window window, const XWindowOwner& owner) const {
    SetNumbers(window, "_NET_WM_PID", XA_CARDINAL, owner.processes);
    SetText(window, XA_WM_CLIENT_MACHINE, XA_STRING, owner.machine);
}

void XClient::AnnounceManager() const {
    const ::Window check = MakeWindow({0, 0, 1, 1}, {.isOverrideRedirect = true, .isMapped = false});
    for (const ::Window window : {check, GetRoot()}) {
        SetNumbers(window, "_NET_SUPPORTING_WM_CHECK", XA_WINDOW, {static_cast<long>(check)});
    }
}

void XClient::ListWindows(const std::vector<::Window>& windows) const {
    SetNumbers(GetRoot(), "_NET_CLIENT_LIST_STACKING", XA_WINDOW, {windows.begin(), windows.end()});
}

bool XClient::CanBeSeen(::Window window) const {
    XWindowAttributes attributes{};
    return XGetWindowAttributes(m_display, window, &attributes) != 0 && attributes.map_state == IsViewable;
}

bool XClient::IsChildOfRoot(::Window window) const {
    ::Window root = 0;
    ::Window parent = 0;
    ::Window* children = nullptr;
    unsigned int count = 0;
    XQueryTree(m_display, window, &root, &parent, &children, &count);
    XFree(children);
    return parent == root;
}

bool XClient::Exists(::Window window) const {
    const auto windows = GetStacking();
    return std::ranges::find(windows, window) != windows.end();
}

std::vector<::Window> XClient::GetStacking() const {
    ::Window root = 0;
    ::Window parent = 0;
    ::Window* children = nullptr;
    unsigned int count = 0;
    XQueryTree(m_display, GetRoot(), &root, &parent, &children, &count);
    std::vector<::Window> result(children, children + count);
    XFree(children);
    return result;
}

XWindowAttributes XClient::GetAttributes(::Window window) const {
    XWindowAttributes attributes{};
    EXPECT_NE(XGetWindowAttributes(m_display, window, &attributes), 0);
    return attributes;
}

std::vector<int> XClient::GetArea(::Window window) const {
    const XWindowAttributes attributes = GetAttributes(window);
    return {attributes.x, attributes.y, attributes.width, attributes.height};
}

int XClient::CountShape(::Window window, int kind) const {
    int count = -1;
    int ordering = 0;
    XRectangle* const rectangles = XShapeGetRectangles(m_display, window, kind, &count, &ordering);
    XFree(rectangles);
    return count;
}

unsigned long XClient::GetOpacity(::Window window) const {
    Atom type = 0;
    int format = 0;
    unsigned long count = 0;
    unsigned long rest = 0;
    unsigned char* data = nullptr;
    XGetWindowProperty(m_display, window, GetAtom("_NET_WM_WINDOW_OPACITY"), 0, 1, False, XA_CARDINAL, &type, &format,
                       &count, &rest, &data);
    // Xlib sign-extends 32-bit values.
    const unsigned long opacity = count == 1 && rest == 0 ? *reinterpret_cast<unsigned long*>(data) & 0xFFFFFFFF : 1;
    XFree(data);
    return opacity;
}

unsigned long XClient::GetPixel(int x, int y) const {
    XImage* const image = XGetImage(m_display, GetRoot(), x, y, 1, 1, AllPlanes, ZPixmap);
    const unsigned long pixel = XGetPixel(image, 0, 0) & 0xFFFFFF;
    XDestroyImage(image);
    return pixel;
}

unsigned long XClient::GetContent(::Window window, int x, int y) const {
    XImage* const image = XGetImage(m_display, window, x, y, 1, 1, AllPlanes, ZPixmap);
    const unsigned long pixel = XGetPixel(image, 0, 0);
    XDestroyImage(image);
    return pixel;
}

std::vector<unsigned long> XClient::SavePicture(const std::filesystem::path& path,
                                                const std::optional<System::Math::Rectangle>& part) const {
    const XWindowAttributes screen = GetAttributes(GetRoot());
    const auto area =
        part.value_or(System::Math::Rectangle{.left = 0, .top = 0, .right = screen.width, .bottom = screen.height});
    const int width = area.right - area.left;
    const int height = area.bottom - area.top;
    XImage* const image = XGetImage(m_display, GetRoot(), area.left, area.top, static_cast<unsigned int>(width),
                                    static_cast<unsigned int>(height), AllPlanes, ZPixmap);
    std::ofstream file(path, std::ios::binary);
    file << "P6\n" << width << ' ' << height << "\n255\n";
    std::vector<unsigned long> pixels;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto pixel = pixels.emplace_back(XGetPixel(image, x, y) & 0xFFFFFF);
            file << static_cast<char>(pixel >> 16) << static_cast<char>(pixel >> 8) << static_cast<char>(pixel);
        }
    }
    XDestroyImage(image);
    return pixels;
}

void XClient::Paint(::Window window, unsigned long pixel) const {
    XSetWindowBackground(m_display, window, pixel);
    XClearWindow(m_display, window);
    XSync(m_display, False);
}

void XClient::AskForColor(Colormap colormap) const {
    XColor color{};
    XQueryColor(m_display, colormap, &color);
}

::Window XClient::GetFocus() const {
    ::Window focus = 0;
    int revert = 0;
    XGetInputFocus(m_display, &focus, &revert);
    return focus;
}

void XClient::SetFocus(::Window window) const {
    XSetInputFocus(m_display, window, RevertToPointerRoot, CurrentTime);
    XSync(m_display, False);
}

void XClient::MovePointer(int x, int y) const {
    XTestFakeMotionEvent(m_display, 0, x, y, CurrentTime);
    XSync(m_display, False);
}

void XClient::PressButton(unsigned int button, bool pressed) const {
    XTestFakeButtonEvent(m_display, button, pressed, CurrentTime);
    XSync(m_display, False);
}

void XClient::PressKey(unsigned int code, bool pressed) const {
    XTestFakeKeyEvent(m_display, code, pressed, CurrentTime);
    XSync(m_display, False);
}

} // namespace Tovra::Tests
