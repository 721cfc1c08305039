#include <System/X11/X11_Linux.h>
#include <System/X11/XServerProbe_Linux.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace Tovra::System::X11 {

namespace {

void Report(const char* text) {
    std::fprintf(stderr, "Exception: %s\n", text);
}

/// Xlib ends the process unless it is given something else to do.
void OnConnectionLostExit(Display*, void*) {}

/// A server that goes away must not end a process that never thought of broken pipes.
void IgnoreBrokenPipes() {
    struct sigaction action{};
    if (sigaction(SIGPIPE, nullptr, &action) == 0 && action.sa_handler == SIG_DFL) {
        std::signal(SIGPIPE, SIG_IGN);
    }
}

} // namespace

Connection& Connection::GetInstance() {
    // Never destroyed: threads and the driver may use it while the process ends.
    static Connection& s_instance = *new Connection;
    return s_instance;
}

int Connection::OnConnectionLost(Display* display) {
    if (s_exit != nullptr) {
        GetInstance().XUnlockDisplay(display); // Locked for this handler, and awaited by other threads.
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
    XSetErrorHandler([](Display*, XErrorEvent* event) {
        GetInstance().ReportError(event->error_code);
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

void Connection::ReportError(int code) const {
    std::array<char, 256> text{};
    XGetErrorText(display, code, text.data(), static_cast<int>(text.size()));
    Report(text.data());
}

Connection* GetConnection() {
    Connection& connection = Connection::GetInstance();
    std::call_once(connection.m_isOpened, [&connection] { connection.Open(); });
    return connection.display == nullptr || IsConnectionLost() ? nullptr : &connection;
}

bool IsConnectionLost() {
    return Connection::GetInstance().m_isLost;
}

void AbandonConnection() {
    if (!Connection::GetInstance().m_isLost.exchange(true)) {
        Report("The connection to the X server is lost.");
    }
    if (s_exit != nullptr) {
        // Xlib writes through a null pointer if it goes on, and `XOpenDisplay` ends the process.
        std::longjmp(*s_exit, 1);
    }
}

} // namespace Tovra::System::X11
