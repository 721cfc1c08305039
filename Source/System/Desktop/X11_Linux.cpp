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
std::atomic<bool> s_connectionLost = false;

/// Where this thread's X calls are left for when the connection is lost; null outside of them.
thread_local std::jmp_buf* s_afterLoss = nullptr;

bool LoadFunctions() {
    void* const X11 = dlopen("libX11.so.6", RTLD_LAZY);
    void* const Xfixes = dlopen("libXfixes.so.3", RTLD_LAZY);
    if (X11 == nullptr || Xfixes == nullptr) {
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
    ReportError(display, event->error_code);
    return 0;
}

int OnConnectionLost(Display* display) {
    if (s_afterLoss != nullptr) {
        s_functions.XUnlockDisplay(display); // Locked for this handler, and awaited by other threads.
    }
    AbandonConnection();
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

/// Calls `work`, which holds no destructors, and leaves it if the connection is lost meanwhile.
template <class F>
void LeaveOnLoss(const F& work) {
    if (s_afterLoss != nullptr) {
        work(); // The outer work is left as well.
        return;
    }
    std::jmp_buf afterLoss;
    if (setjmp(afterLoss) == 0) {
        s_afterLoss = &afterLoss;
        work();
    }
    s_afterLoss = nullptr;
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
    Display* display = nullptr;
    LeaveOnLoss([&display] { display = s_functions.XOpenDisplay(nullptr); });
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

void AbandonConnection() {
    if (!s_connectionLost.exchange(true)) {
        Report("The connection to the X server is lost.");
    }
    if (s_afterLoss != nullptr) {
        // Xlib writes through a null pointer if it goes on, and `XOpenDisplay` ends the process.
        std::longjmp(*s_afterLoss, 1);
    }
}

bool Run(const Work& work) {
    if (Display* const display = GetDisplay()) {
        LeaveOnLoss([&work, display] { work(display); });
    }
    return GetDisplay() != nullptr;
}

bool RunAndWait(const Work& work) {
    return Run([&work](Display* display) {
        work(display);
        s_functions.XSync(display, False);
    });
}

void ReportError(Display* display, int code) {
    std::array<char, 256> text{};
    s_functions.XGetErrorText(display, code, text.data(), static_cast<int>(text.size()));
    Report(text.data());
}

} // namespace Tovra::System::Desktop::X11
