#include <System/Desktop/X11_Linux.h>
#include <System/Desktop/XServerProbe_Linux.h>

#include <array>
#include <atomic>
#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace Tovra::System::Desktop::X11 {

namespace {

Functions s_functions;
std::atomic<unsigned long> s_lastRefusedRequest = 0;
std::atomic<bool> s_connectionLost = false;

/// Where the connecting function is left for when the server goes away meanwhile; null at any other time.
std::jmp_buf* s_leaveConnecting = nullptr;

bool LoadFunctions() {
    void* const X11 = dlopen("libX11.so.6", RTLD_LAZY);
    void* const Xfixes = dlopen("libXfixes.so.3", RTLD_LAZY);
    void* const Xrandr = dlopen("libXrandr.so.2", RTLD_LAZY);
    if (X11 == nullptr || Xfixes == nullptr || Xrandr == nullptr) {
        return false;
    }
#define TOVRA_X11_LOAD(library, name) LoadFunction(library, #name, s_functions.name)&&
    return TOVRA_X11_FUNCTIONS(TOVRA_X11_LOAD) true;
#undef TOVRA_X11_LOAD
}

void Report(const char* text) {
    std::fprintf(stderr, "Exception: %s\n", text);
}

int OnProtocolError(Display* display, XErrorEvent* event) {
    std::array<char, 256> text{};
    s_functions.XGetErrorText(display, event->error_code, text.data(), static_cast<int>(text.size()));
    Report(text.data());
    s_lastRefusedRequest = event->serial;
    return 0;
}

int OnConnectionLost(Display*) {
    if (!s_connectionLost.exchange(true)) {
        Report("The connection to the X server is lost.");
    }
    if (s_leaveConnecting != nullptr) {
        // Until `XOpenDisplay` has returned, nothing but leaving it keeps Xlib from ending the process.
        std::longjmp(*s_leaveConnecting, 1);
    }
    return 0;
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

Display* OpenDisplay() {
    std::jmp_buf leaveConnecting;
    if (setjmp(leaveConnecting) != 0) {
        s_leaveConnecting = nullptr;
        return nullptr;
    }
    s_leaveConnecting = &leaveConnecting;
    Display* const display = s_functions.XOpenDisplay(nullptr);
    s_leaveConnecting = nullptr;
    return display;
}

Display* Connect() {
    const ServerProbe probe(std::getenv("DISPLAY"));
    if (!probe.HasAnswered() || !LoadFunctions()) {
        return nullptr;
    }
    IgnoreBrokenPipes();
    s_functions.XInitThreads();
    s_functions.XSetErrorHandler(OnProtocolError);
    s_functions.XSetIOErrorHandler(OnConnectionLost);
    Display* const display = OpenDisplay();
    if (display != nullptr) {
        s_functions.XSetIOErrorExitHandler(display, OnConnectionLostExit, nullptr);
    }
    return display;
}

} // namespace

Display* GetDisplay() {
    static Display* const s_display = Connect();
    return s_connectionLost ? nullptr : s_display;
}

const Functions& GetFunctions() {
    return s_functions;
}

RequestCheck::RequestCheck(Display* display) : m_display(display), m_firstRequest(s_functions.XNextRequest(display)) {}

bool RequestCheck::Succeeded() const {
    if (!s_connectionLost) {
        s_functions.XSync(m_display, False);
    }
    return !s_connectionLost && s_lastRefusedRequest < m_firstRequest;
}

} // namespace Tovra::System::Desktop::X11
