#include <System/X11/X11_Linux.h>
#include <System/X11/XServerProbe_Linux.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <type_traits>

namespace Tovra::System::X11 {

namespace {

void Report(const char* text) {
    std::fprintf(stderr, "Exception: %s\n", text);
}

/// Replaces Xlib's default, which exits the process.
void OnConnectionLostExit(Display*, void*) {}

/// Ignores SIGPIPE unless the process handles it: a server that goes away must not end the process.
void IgnoreBrokenPipes() {
    struct sigaction action{};
    if (sigaction(SIGPIPE, nullptr, &action) == 0 && action.sa_handler == SIG_DFL) {
        std::signal(SIGPIPE, SIG_IGN);
    }
}

} // namespace

constinit Connection Connection::s_instance;

static_assert(std::is_trivially_destructible_v<Connection>);

int Connection::OnConnectionLost(Display* display) {
    if (s_exit != nullptr) {
        s_instance.XUnlockDisplay(display); // Locked for this handler, and awaited by other threads.
    }
    AbandonConnection();
    return 0;
}

void Connection::Open() {
    // Kept until Xlib has connected: a server may reset when its last client leaves.
    const ServerProbe probe(std::getenv("DISPLAY"));
    if (!probe.HasAnswered() || !Xlib::Load() || !XFixes::Load()) {
        return;
    }
    IgnoreBrokenPipes();
    XInitThreads();
    XSetErrorHandler([](Display* failed, XErrorEvent* event) {
        ReportError(failed, event->error_code);
        return 0;
    });
    XSetIOErrorHandler(OnConnectionLost);
    display = XOpenDisplay(nullptr);
    if (display == nullptr) {
        return;
    }
    XSetIOErrorExitHandler(display, OnConnectionLostExit, nullptr);
    root = static_cast<xcb_window_t>(DefaultRootWindow(display));
    if (X11Xcb::Load() && XcbCore::Load()) {
        xcb = XGetXCBConnection(display);
    }
}

bool Connection::Sync() {
    XSync(display, False);
    return !IsConnectionLost();
}

void Connection::ReportError(Display* display, int code) {
    std::array<char, 256> text{};
    s_instance.XGetErrorText(display, code, text.data(), static_cast<int>(text.size()));
    Report(text.data());
}

Connection* GetConnection() {
    Connection& connection = Connection::s_instance;
    std::call_once(connection.m_isOpened, &Connection::Open, &connection);
    return connection.display == nullptr || IsConnectionLost() ? nullptr : &connection;
}

bool IsConnectionLost() {
    return Connection::s_instance.m_isLost;
}

void AbandonConnection() {
    if (!Connection::s_instance.m_isLost.exchange(true)) {
        Report("The connection to the X server is lost.");
    }
    if (s_exit != nullptr) {
        // Xlib writes through a null pointer if it goes on, and `XOpenDisplay` ends the process.
        std::longjmp(*s_exit, 1);
    }
}

} // namespace Tovra::System::X11
