#include <System/Utilities/BlockedSignals.h>
#include <System/X11/X11_Linux.h>
#include <System/X11/XServerProbe_Linux.h>

#include <X11/Xlibint.h> // `LockDisplay`.

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>

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

/// Xlib calls this with the display unlocked for the handler alone, as after XLockDisplay(3), and never gives it back.
int Connection::OnConnectionLost(Display* display) {
    s_instance.XUnlockDisplay(display); // Other threads wait for it.
    AbandonConnection();
    LockDisplay(display); // Xlib goes on in the middle of a function, which unlocks the display at its end.
    return 0;
}

void Connection::Open() {
    const char* const variable = std::getenv("DISPLAY");
    if (variable == nullptr) {
        return;
    }
    // Never destroyed, since the watchdog uses it.
    static const std::string& s_displayName = *new std::string(variable);
    const char* const displayName = s_displayName.c_str();
    // Kept until Xlib has connected: a server may reset when its last client leaves.
    const ServerProbe probe(displayName);
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
    display = Connect(displayName, probe);
    if (display == nullptr) {
        return;
    }
    root = static_cast<xcb_window_t>(DefaultRootWindow(display));
    if (X11Xcb::Load() && XcbCore::Load()) {
        xcb = XGetXCBConnection(display);
    }
}

Display* Connection::OpenDisplay(const char* displayName) const {
    Display* const connectedDisplay = XOpenDisplay(displayName);
    if (connectedDisplay != nullptr) {
        XSetIOErrorExitHandler(connectedDisplay, OnConnectionLostExit, nullptr);
    }
    return connectedDisplay;
}

/// Xlib connects on a thread of its own, which then is the watchdog's: nothing ends its wait for a full backlog or for
/// the resolver, so the thread may have to be left behind. Null if the server is given up.
Display* Connection::Connect(const char* displayName, const ServerProbe& probe) {
    std::promise<Display*> promise;
    std::future<Display*> connected = promise.get_future();
    const auto connect = [this, displayName](std::promise<Display*> result) {
        Display* const connectedDisplay = OpenDisplay(displayName);
        result.set_value(connectedDisplay);
        if (connectedDisplay != nullptr) {
            Watch(displayName, ConnectionNumber(connectedDisplay));
        }
    };
    try {
        const Utilities::BlockedSignals blocked(Utilities::BlockedSignals::Kind::AllButFaults);
        std::thread(connect, std::move(promise)).detach();
    } catch (const std::system_error&) {
        // No thread can be made, as at the limit of processes. The server has just answered the probe, so this thread
        // connects, and nothing watches over the connection.
        return OpenDisplay(displayName);
    }
    while (connected.wait_for(Watchdog::s_tick) != std::future_status::ready) {
        if (!m_watchdog.Tick(displayName)) {
            AbandonConnection();
            // The thread mostly ends then. It should be out of Xlib when the process ends, where Xlib frees its locks.
            ShutDownConnections(probe.GetSocket());
            connected.wait_for(Watchdog::s_tick);
            return nullptr;
        }
    }
    return connected.get();
}

/// Whoever waits for a server that is given up finds the connection lost.
void Connection::Watch(const char* displayName, int socketDescriptor) {
    while (!m_isLost) {
        m_watchdog.Sleep();
        if (!m_watchdog.Tick(displayName)) {
            ShutDownConnections(socketDescriptor);
        }
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
    connection.m_isOpened.Call([] { Connection::s_instance.Open(); });
    return connection.display == nullptr || IsConnectionLost() ? nullptr : &connection;
}

bool IsConnectionLost() {
    return Connection::s_instance.m_isLost;
}

void MarkConnectionAsLost() {
    if (!Connection::s_instance.m_isLost.exchange(true)) {
        Report("The connection to the X server is lost.");
    }
}

void AbandonConnection() {
    MarkConnectionAsLost();
    if (s_exit != nullptr) {
        // Xlib writes through a null pointer if it goes on, and `XOpenDisplay` ends the process.
        std::longjmp(*s_exit, 1);
    }
}

} // namespace Tovra::System::X11
