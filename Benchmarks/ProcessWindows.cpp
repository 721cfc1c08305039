// Measures queries about the windows of other processes against xdotool and wmctrl. Those are timed as whole processes
// less the time of a start of the same program that does little. Needs a display with a window manager.
// ProcessWindowsBenchmark [row ...]

#include <System/Processes/Process.h>
#include <System/Processes/ProcessWindow.h>

#include <HeldReply.h>
#include <Programs.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/res.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// After all others, since Xlib's macros have common names.
// clang-format off
#include <X11/Xlib.h>
#include <X11/Xutil.h>
// clang-format on

namespace {

using Tovra::Benchmarks::AtMost;
using Tovra::Benchmarks::Compare;
using Tovra::Benchmarks::Hold;
using Tovra::Benchmarks::IsChosen;
using Tovra::Benchmarks::Keep;
using Tovra::Benchmarks::MakeRun;
using Tovra::Benchmarks::Require;
using Tovra::System::VisitorAction;
using Tovra::System::Math::Rectangle;
using Tovra::System::Processes::Process;
using Tovra::System::Processes::ProcessWindow;

constexpr const char* pointRow = "The window under a point, of 200";
constexpr const char* namesRow = "All windows with names, of 200";
constexpr const char* growthRow = "A further window with its name, 10 to 1,000";

/// Another process with windows of usual size all over the screen, each on top of those before it.
class Desktop {
public:
    explicit Desktop(int windowCount) {
        std::array<int, 2> pipeEnds{};
        Require(pipe(pipeEnds.data()) == 0, "No pipe.");
        m_id = fork();
        if (m_id == 0) {
            ShowWindows(windowCount);
            Require(write(pipeEnds[1], "", 1) == 1, "No reader.");
            pause();
            _exit(0);
        }
        close(pipeEnds[1]);
        char byte = 0;
        Require(read(pipeEnds[0], &byte, 1) == 1, "The windows did not come up.");
        close(pipeEnds[0]);
    }
    ~Desktop() {
        kill(m_id, SIGKILL);
        waitpid(m_id, nullptr, 0);
    }
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;

    Process GetProcess() const { return {static_cast<std::uint64_t>(m_id)}; }

private:
    static void ShowWindows(int windowCount) {
        Display* const display = XOpenDisplay(nullptr);
        Require(display != nullptr, "There is no display.");
        std::mt19937 generator(1);
        for (int index = 0; index < windowCount; ++index) {
            XSizeHints hints{};
            hints.flags = USPosition | USSize;
            hints.x = static_cast<int>(generator() % 680);
            hints.y = static_cast<int>(generator() % 600);
            const Window window =
                XCreateSimpleWindow(display, DefaultRootWindow(display), hints.x, hints.y, 600, 400, 0, 0, 0);
            XSetWMNormalHints(display, window, &hints);
            XStoreName(display, window, ("Window " + std::to_string(index)).c_str());
            XSelectInput(display, window, StructureNotifyMask);
            XMapWindow(display, window);
        }
        for (int mapped = 0; mapped < windowCount;) {
            XEvent event{};
            XNextEvent(display, &event);
            mapped += event.type == MapNotify ? 1 : 0;
        }
        WaitForManager(display);
    }

    /// Waits until the window manager has handled what came before: it answers a request for the frame of a window
    /// that is not mapped yet (EWMH).
    static void WaitForManager(Display* display) {
        const Window root = DefaultRootWindow(display);
        const Window window = XCreateSimpleWindow(display, root, 0, 0, 1, 1, 0, 0, 0);
        XSelectInput(display, window, PropertyChangeMask);
        XEvent event{};
        event.xclient.type = ClientMessage;
        event.xclient.window = window;
        event.xclient.message_type = XInternAtom(display, "_NET_REQUEST_FRAME_EXTENTS", False);
        event.xclient.format = 32;
        XSendEvent(display, root, False, SubstructureNotifyMask | SubstructureRedirectMask, &event);
        const Atom answer = XInternAtom(display, "_NET_FRAME_EXTENTS", False);
        do {
            XNextEvent(display, &event);
        } while (event.type != PropertyNotify || event.xproperty.atom != answer);
    }

    pid_t m_id = 0;
};

/// The requests without which no query of windows can be answered.
class Requests {
public:
    Requests() : m_connection(xcb_connect(nullptr, nullptr)) {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        m_list = GetAtom("_NET_CLIENT_LIST_STACKING");
        m_name = GetAtom("_NET_WM_NAME");
    }
    ~Requests() { xcb_disconnect(m_connection); }
    Requests(const Requests&) = delete;
    Requests& operator=(const Requests&) = delete;

    /// The windows, from back to front. One round trip.
    std::vector<xcb_window_t> GetWindows() const {
        const auto cookie = xcb_get_property(m_connection, 0, m_root, m_list, XCB_ATOM_WINDOW, 0, 1U << 20);
        const auto reply = Hold(xcb_get_property_reply(m_connection, cookie, nullptr));
        const auto* const first = static_cast<const xcb_window_t*>(xcb_get_property_value(reply.get()));
        return {first, first + xcb_get_property_value_length(reply.get()) / 4};
    }

    /// Asks whose they are, all at once, and then for the name of each, as the caller asks for one at a time.
    void AskForOwnersAndNames() const {
        const std::vector<xcb_window_t> windows = GetWindows();
        std::vector<xcb_res_query_client_ids_cookie_t> owners;
        for (const xcb_window_t window : windows) {
            const xcb_res_client_id_spec_t who = {window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
            owners.push_back(xcb_res_query_client_ids(m_connection, 1, &who));
        }
        for (const auto owner : owners) {
            Keep(Hold(xcb_res_query_client_ids_reply(m_connection, owner, nullptr)));
        }
        for (const xcb_window_t window : windows) {
            AskForName(window);
        }
    }

    /// The frontmost window at a point; asks for places of eight windows at once.
    xcb_window_t FindAt(int x, int y) const {
        std::vector<xcb_window_t> windows = GetWindows();
        std::ranges::reverse(windows);
        for (std::span<const xcb_window_t> rest = windows; !rest.empty();) {
            const auto some = rest.first(std::min<std::size_t>(rest.size(), 8));
            rest = rest.subspan(some.size());
            std::vector<xcb_get_geometry_cookie_t> sizes;
            std::vector<xcb_translate_coordinates_cookie_t> places;
            for (const xcb_window_t window : some) {
                sizes.push_back(xcb_get_geometry(m_connection, window));
                places.push_back(xcb_translate_coordinates(m_connection, window, m_root, 0, 0));
            }
            xcb_window_t found = XCB_WINDOW_NONE;
            for (std::size_t index = 0; index < some.size(); ++index) {
                const auto size = Hold(xcb_get_geometry_reply(m_connection, sizes[index], nullptr));
                const auto place = Hold(xcb_translate_coordinates_reply(m_connection, places[index], nullptr));
                if (found == XCB_WINDOW_NONE && x >= place->dst_x && x < place->dst_x + size->width &&
                    y >= place->dst_y && y < place->dst_y + size->height) {
                    found = some[index];
                }
            }
            if (found != XCB_WINDOW_NONE) {
                return found;
            }
        }
        return XCB_WINDOW_NONE;
    }

private:
    /// Whether the window is still in the list, and its title, the new and the old one. One round trip.
    void AskForName(xcb_window_t window) const {
        const std::array cookies{xcb_get_property(m_connection, 0, m_root, m_list, XCB_ATOM_WINDOW, 0, 1U << 20),
                                 xcb_get_property(m_connection, 0, window, m_name, XCB_ATOM_ANY, 0, 1024),
                                 xcb_get_property(m_connection, 0, window, XCB_ATOM_WM_NAME, XCB_ATOM_ANY, 0, 1024)};
        for (const xcb_get_property_cookie_t cookie : cookies) {
            Keep(Hold(xcb_get_property_reply(m_connection, cookie, nullptr)));
        }
    }

    xcb_atom_t GetAtom(std::string_view name) const {
        const auto cookie = xcb_intern_atom(m_connection, 0, static_cast<std::uint16_t>(name.size()), name.data());
        return Hold(xcb_intern_atom_reply(m_connection, cookie, nullptr))->atom;
    }

    xcb_connection_t* m_connection;
    xcb_window_t m_root = XCB_WINDOW_NONE;
    xcb_atom_t m_list = XCB_ATOM_NONE;
    xcb_atom_t m_name = XCB_ATOM_NONE;
};

/// Some points of the screen, in turn: an odd number of them, so that who times every other one times them all.
class Points {
public:
    int GetX() const { return static_cast<int>(300 + m_count % 5 * 150); }
    int GetY() const { return static_cast<int>(200 + m_count / 5 % 3 * 225); }
    void GoOn() { ++m_count; }

private:
    unsigned int m_count = 0;
};

void CompareWindowUnderAPoint(const Requests& requests) {
    Points points;
    const auto ours = [&points] {
        points.GoOn();
        Require(ProcessWindow::Get(points.GetX(), points.GetY()).handle != 0, "There is no window.");
    };
    // At the point of ours, since it depends on the point how many windows are asked.
    const auto bare = [&points, &requests] {
        Require(requests.FindAt(points.GetX(), points.GetY()) != 0, "The limit finds no window.");
    };
    MakeRun({"xdotool", "mousemove", "500", "350"})();
    Compare(pointRow, ours,
            {{"peer", "`xdotool getmouselocation`", AtMost(0.5), MakeRun({"xdotool", "getmouselocation"}),
              MakeRun({"xdotool", "version"})},
             {"limit", "the requests alone", AtMost(1.2), bare}},
            601); // A query takes a small part of the peer's time.
}

/// All windows of a process, with their names.
void CompareWindowsOfAProcess(const Desktop& desktop, const Requests& requests, int windowCount, const char* row,
                              int rounds, int size) {
    const Process process = desktop.GetProcess();
    const auto ours = [&process, windowCount] {
        std::string name;
        const std::uint64_t count = ProcessWindow::ForEachWindow(
            process,
            [&name](const ProcessWindow& window) {
                Require(std::string_view(window.GetName(name)).starts_with("Window "), "A window has no name.");
                return VisitorAction::Continue;
            },
            "");
        Require(count == static_cast<std::uint64_t>(windowCount), "Windows are missing.");
    };
    Compare(row, ours,
            {{"peer", "`wmctrl -lp`", AtMost(0.7), MakeRun({"wmctrl", "-lp"}), MakeRun({"wmctrl", "-m"})},
             {"limit", "the requests alone", AtMost(1.5), [&requests] { requests.AskForOwnersAndNames(); }}},
            rounds, size);
}

} // namespace

int main(int count, char** arguments) {
    Tovra::Benchmarks::ChooseRows(count, arguments);
    if (IsChosen(pointRow) || IsChosen(namesRow)) {
        constexpr int windowCount = 200;
        const Desktop desktop(windowCount);
        const Requests requests;
        CompareWindowUnderAPoint(requests);
        CompareWindowsOfAProcess(desktop, requests, windowCount, namesRow, 101, 0);
    }
    if (IsChosen(growthRow)) {
        for (const int windowCount : {10, 30, 100, 300, 1'000}) {
            const Desktop desktop(windowCount);
            const Requests requests;
            CompareWindowsOfAProcess(desktop, requests, windowCount, growthRow, windowCount < 300 ? 31 : 15,
                                     windowCount);
        }
    }
}
