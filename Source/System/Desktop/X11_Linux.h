#pragma once

// An internal header of the Linux host: it shows Xlib, so only `_Linux.cpp` files include it.

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/Xfixes.h>
#include <X11/extensions/Xrandr.h>
#include <dlfcn.h>

#undef Always // Also the name of a log level.

namespace Tovra::System::Desktop::X11 {

/// Every function of the X libraries that this system calls, each with the library that holds it: the one table that
/// makes the members and their loading. Functions of Xlib that are macros need no entry.
#define TOVRA_X11_FUNCTIONS(FUNCTION)                                                                                  \
    FUNCTION(X11, XGetErrorText)                                                                                       \
    FUNCTION(X11, XFree)                                                                                               \
    FUNCTION(X11, XGetWindowAttributes)                                                                                \
    FUNCTION(X11, XInitThreads)                                                                                        \
    FUNCTION(X11, XNextRequest)                                                                                        \
    FUNCTION(X11, XOpenDisplay)                                                                                        \
    FUNCTION(X11, XSetErrorHandler)                                                                                    \
    FUNCTION(X11, XSetIOErrorExitHandler)                                                                              \
    FUNCTION(X11, XSetIOErrorHandler)                                                                                  \
    FUNCTION(X11, XSync)                                                                                               \
    FUNCTION(X11, XVisualIDFromVisual)

/// The X libraries as they were found at run time. They are never linked, since a machine may lack them.
struct Functions {
#define TOVRA_X11_MEMBER(library, name) decltype(&::name) name;
    TOVRA_X11_FUNCTIONS(TOVRA_X11_MEMBER)
#undef TOVRA_X11_MEMBER
};

/// Takes a function from a library that was opened at run time; false if it isn't there.
template <class F>
bool LoadFunction(void* library, const char* name, F& function) {
    function = reinterpret_cast<F>(dlsym(library, name));
    return function != nullptr;
}

/// The process's one connection to the X server, which the variable DISPLAY names. Made at the first call, which may
/// take some seconds; what comes of it is settled for the life of the process.
///
/// Null if a library is missing or no server answers, and from the moment on when the connection is lost. Ask anew
/// before each piece of work: after a loss no function of Xlib or GLX may be called any more, as each would report it
/// again. Protocol errors and the loss are printed to the standard error stream as "Exception: " and a text; neither
/// ends the process, and a broken pipe doesn't either. Any thread. Owned by the process.
Display* GetDisplay();

/// The loaded functions; call them only while `GetDisplay` gives a display.
const Functions& GetFunctions();

/// The X window of a panel: a panel's handle, as the rest of the system holds it, is the id of its window.
constexpr ::Window GetPanelWindow(unsigned long handle) {
    return handle;
}

/// Tells whether the server carried out what it was asked for since the object was made. Needs a display.
class RequestCheck {
public:
    explicit RequestCheck(Display* display);

    /// Waits for the server's answer to everything asked so far: one round trip. False if one of the requests since
    /// construction was refused or the connection is lost. What was created counts as made only after this. Any thread,
    /// though a refused request of another thread is also counted.
    bool Succeeded() const;

private:
    Display* m_display;
    unsigned long m_firstRequest;
};

} // namespace Tovra::System::Desktop::X11
