#pragma once

#include <System/Types/Geometry.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Include this header after all others, since Xlib defines common words as macros.
// clang-format off
#include <X11/Xlib.h>
// clang-format on

namespace Tovra::Tests {

/// What an `XClient` makes a window with.
struct XWindowStyle {
    std::string title = {};              ///< As WM_NAME; none if empty.
    std::vector<std::string> types = {}; ///< As _NET_WM_WINDOW_TYPE, without "_NET_WM_WINDOW_TYPE_".
    bool isOverrideRedirect = false;
    bool isInputOnly = false;
    bool isMapped = true;
};

/// What a window names as its owner.
struct XWindowOwner {
    std::vector<long> processes; ///< As _NET_WM_PID.
    std::string machine;         ///< As WM_CLIENT_MACHINE.
};

/// Another client of an X server, by Xlib: makes windows, measures those of others, and simulates keyboard and
/// mouse. When a call returns, the server has carried it out. Places and sizes are in pixels.
///
/// A program that uses it links `TovraXClient`.
class XClient {
public:
    /// A client of the display of that name, or of DISPLAY if it is null. The display must be there.
    explicit XClient(const char* displayName = nullptr);
    ~XClient();
    XClient(const XClient&) = delete;
    XClient& operator=(const XClient&) = delete;

    Display* GetDisplay() const { return m_display; }
    ::Window GetRoot() const { return DefaultRootWindow(m_display); }
    Atom GetAtom(const std::string& name) const;

    /// Waits until `condition` holds; it is asked again after each event: of the root, of this client's windows and of
    /// watched ones. False if it doesn't hold within 20 seconds.
    bool WaitUntil(const std::function<bool()>& condition) const;

    /// Receives events of another client's window from now on.
    void Watch(::Window window) const;

    /// Waits for the next message to the window manager, without a time limit.
    XClientMessageEvent WaitForMessage() const;

    /// Makes a blue window. A mapped one is on top and viewable when the call returns.
    ::Window MakeWindow(const System::Math::Rectangle& frame = {.left = 0, .top = 0, .right = 200, .bottom = 200},
                        const XWindowStyle& style = {}) const;

    /// Makes a mapped window within another one.
    ::Window MakePart(::Window window) const;

    void Destroy(::Window window) const;

    /// `Number` is what Xlib has for the format: char for 8, short for 16, long for 32.
    template <class Number>
    void SetProperty(::Window window, Atom property, Atom type, int format, std::span<const Number> numbers) const {
        XChangeProperty(m_display, window, property, type, format, PropModeReplace,
                        reinterpret_cast<const unsigned char*>(numbers.data()), static_cast<int>(numbers.size()));
        XSync(m_display, False);
    }
    void SetText(::Window window, Atom property, Atom type, std::string_view text) const;
    void SetNumbers(::Window window, const std::string& property, Atom type, const std::vector<long>& numbers) const;
    void SetTypes(::Window window, const std::vector<std::string>& types) const;
    void SetOwner(::Window window, const XWindowOwner& owner) const;

    /// Announces a window manager on the root, as EWMH's _NET_SUPPORTING_WM_CHECK.
    void AnnounceManager() const;

    /// Lists windows as a window manager does, those at the back first, as EWMH's _NET_CLIENT_LIST_STACKING.
    void ListWindows(const std::vector<::Window>& windows) const;

    bool CanBeSeen(::Window window) const;

    /// Whether the window is a child of the root, so not in a window manager's frame.
    bool IsChildOfRoot(::Window window) const;

    /// Whether the window is a child of the root, mapped or not; a destroyed one is not.
    bool Exists(::Window window) const;

    /// The root's children, lowest first.
    std::vector<::Window> GetStacking() const;

    XWindowAttributes GetAttributes(::Window window) const;

    /// Left, top, width and height, from the parent's corner.
    std::vector<int> GetArea(::Window window) const;

    /// How many rectangles the window's shape of that kind has: 0 for an empty shape.
    int CountShape(::Window window, int kind) const;

    /// _NET_WM_WINDOW_OPACITY; 1 if it is not set to one number.
    unsigned long GetOpacity(::Window window) const;

    /// The colour on the screen, without alpha.
    unsigned long GetPixel(int x, int y) const;

    /// The colour of the window's own content, alpha included.
    unsigned long GetContent(::Window window, int x, int y) const;

    /// The colours of the screen or a part of it, row by row, which are also saved to a file for a person to look at.
    std::vector<unsigned long> SavePicture(const std::filesystem::path& path,
                                           const std::optional<System::Math::Rectangle>& part = {}) const;

    /// Fills the window, as its owner would draw.
    void Paint(::Window window, unsigned long pixel) const;

    /// Asks for a colour of a colour map: an X error, which is printed, if there is no such map.
    void AskForColor(Colormap colormap) const;

    ::Window GetFocus() const;
    void SetFocus(::Window window) const;

    void MovePointer(int x, int y) const;
    void PressButton(unsigned int button, bool pressed) const;
    void PressKey(unsigned int code, bool pressed) const;

private:
    bool WaitForEvent(std::chrono::steady_clock::time_point deadline) const;

    Display* m_display;
};

} // namespace Tovra::Tests
