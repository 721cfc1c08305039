// Measures queries about the windows of other processes against xdotool and wmctrl, on a desktop of 200 windows. Those
// are timed as whole processes less the time of a start of the same program that does little. Needs a display with
// a window manager.

#include <System/Processes/Process.h>
#include <System/Processes/ProcessWindow.h>

#include <Programs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

// After all others, since Xlib's macros have common names.
// clang-format off
#include <X11/Xlib.h>
#include <X11/Xutil.h>
// clang-format on

namespace {

using Tovra::Benchmarks::CompareLessStart;
using Tovra::Benchmarks::Require;
using Tovra::Benchmarks::Run;
using Tovra::System::VisitorAction;
using Tovra::System::Math::Rectangle;
using Tovra::System::Processes::Process;
using Tovra::System::Processes::ProcessWindow;

constexpr int windowCount = 200;

/// Another process with windows of usual size all over the screen, each on top of those before it.
class Desktop {
public:
    Desktop() {
        std::array<int, 2> pipeEnds{};
        Require(pipe(pipeEnds.data()) == 0, "No pipe.");
        m_id = fork();
        if (m_id == 0) {
            ShowWindows();
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
    static void ShowWindows() {
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
    }

    pid_t m_id = 0;
};

bool CompareWindowUnderAPoint() {
    const auto ours = [] {
        static unsigned int s_count = 0;
        const unsigned int point = s_count++;
        const ProcessWindow window =
            ProcessWindow::Get(static_cast<int>(300 + point % 4 * 200), static_cast<int>(200 + point / 4 % 4 * 150));
        Require(window.handle != 0, "There is no window.");
    };
    Run({"xdotool", "mousemove", "500", "350"});
    return CompareLessStart("window under a point, getmouselocation", 0.5, ours, {"xdotool", "getmouselocation"},
                            {"xdotool", "version"});
}

bool CompareWindowsOfAProcess(const Process& process) {
    const auto ours = [&process] {
        std::string name;
        const std::uint64_t count = ProcessWindow::ForEachWindow(
            process,
            [&name](const ProcessWindow& window) {
                Require(std::string_view(window.GetName(name)).starts_with("Window "), "A window has no name.");
                return VisitorAction::Continue;
            },
            "");
        Require(count == windowCount, "Windows are missing.");
    };
    return CompareLessStart("all windows with names, wmctrl -lp", 0.7, ours, {"wmctrl", "-lp"}, {"wmctrl", "-m"});
}

} // namespace

int main() {
    const Desktop desktop;
    const bool isPointFast = CompareWindowUnderAPoint();
    const bool areNamesFast = CompareWindowsOfAProcess(desktop.GetProcess());
    return isPointFast && areNamesFast ? 0 : 1;
}
