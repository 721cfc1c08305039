#pragma once

// An internal header of the Linux host: it shows Xlib, so only `_Linux.cpp` files include it.

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/Xfixes.h>
#include <dlfcn.h>

#include <cstdint>

#undef Always        // Also the name of a log level.
#undef IsModifierKey // Also a function on keys.

namespace Tovra::System::Desktop::X11 {

/// Every function of the X libraries that this system calls, each with the library that holds it: the one table that
/// makes the members and their loading. Functions of Xlib that are macros need no entry.
#define TOVRA_X11_FUNCTIONS(FUNCTION)                                                                                  \
    FUNCTION(X11, XChangeProperty)                                                                                     \
    FUNCTION(X11, XCheckIfEvent)                                                                                       \
    FUNCTION(X11, XCreateColormap)                                                                                     \
    FUNCTION(X11, XCreateWindow)                                                                                       \
    FUNCTION(X11, XDestroyWindow)                                                                                      \
    FUNCTION(X11, XFree)                                                                                               \
    FUNCTION(X11, XFreeColormap)                                                                                       \
    FUNCTION(X11, XFreeStringList)                                                                                     \
    FUNCTION(X11, XGetErrorText)                                                                                       \
    FUNCTION(X11, XGetInputFocus)                                                                                      \
    FUNCTION(X11, XGetPointerMapping)                                                                                  \
    FUNCTION(X11, XGetWindowAttributes)                                                                                \
    FUNCTION(X11, XInitThreads)                                                                                        \
    FUNCTION(X11, XInternAtom)                                                                                         \
    FUNCTION(X11, XMapWindow)                                                                                          \
    FUNCTION(X11, XMatchVisualInfo)                                                                                    \
    FUNCTION(X11, XMoveResizeWindow)                                                                                   \
    FUNCTION(X11, XMoveWindow)                                                                                         \
    FUNCTION(X11, XNextEvent)                                                                                          \
    FUNCTION(X11, XOpenDisplay)                                                                                        \
    FUNCTION(X11, XPending)                                                                                            \
    FUNCTION(X11, XQueryPointer)                                                                                       \
    FUNCTION(X11, XRaiseWindow)                                                                                        \
    FUNCTION(X11, XSelectInput)                                                                                        \
    FUNCTION(X11, XSetErrorHandler)                                                                                    \
    FUNCTION(X11, XSetIOErrorExitHandler)                                                                              \
    FUNCTION(X11, XSetIOErrorHandler)                                                                                  \
    FUNCTION(X11, XSetInputFocus)                                                                                      \
    FUNCTION(X11, XSync)                                                                                               \
    FUNCTION(X11, XUnlockDisplay)                                                                                      \
    FUNCTION(X11, XUnmapWindow)                                                                                        \
    FUNCTION(X11, XVisualIDFromVisual)                                                                                 \
    FUNCTION(X11, XkbSetDetectableAutoRepeat)                                                                          \
    FUNCTION(X11, Xutf8TextPropertyToTextList)                                                                         \
    FUNCTION(Xfixes, XFixesCreateRegion)                                                                               \
    FUNCTION(Xfixes, XFixesDestroyRegion)                                                                              \
    FUNCTION(Xfixes, XFixesQueryExtension)                                                                             \
    FUNCTION(Xfixes, XFixesSetWindowShapeRegion)

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

/// X11 has the wheel as buttons, up and down as the fourth and fifth.
inline constexpr unsigned int wheelUp = Button4;
inline constexpr unsigned int wheelDown = Button5;
inline constexpr unsigned int wheelLeft = 6;
inline constexpr unsigned int wheelRight = 7;

/// The error of a call that macOS has an error for and X11 has not: there it is the one that says no more than that.
inline constexpr std::int32_t generalFailure = 1000;

/// The process's one connection to the X server, which the variable DISPLAY names. Made at the first call, which may
/// take some seconds; what comes of it is settled for the life of the process.
///
/// Null if a library is missing or no server answers, and from the moment on when the connection is lost. Protocol
/// errors and the loss are printed to the standard error stream as "Exception: " and a text; neither ends the process,
/// and a broken pipe doesn't either. Any thread. Owned by the process.
Display* GetDisplay();

/// The loaded functions; call them only while `GetDisplay` gives a display, and those that speak to the server (of GLX,
/// too) only within `Run` or `RunAndWait`.
const Functions& GetFunctions();

/// The X window of a panel: a panel's handle, as the rest of the system holds it, is the id of its window.
constexpr ::Window GetPanelWindow(unsigned long handle) {
    return handle;
}

/// X calls on the connection, see `Run`: a view of something that can be called with it and outlives the view. It has
/// no destructor to run, as work within work is left with it.
class Work {
public:
    template <class F>
    Work(const F& function)
        : m_function(&function),
          m_call([](const void* called, Display* display) { (*static_cast<const F*>(called))(display); }) {}

    void operator()(Display* display) const { m_call(m_function, display); }

private:
    const void* m_function;
    void (*m_call)(const void*, Display*);
};

/// Calls `work` with the connection. False if there is none, be it before or after.
///
/// If the connection is lost meanwhile, the work is left at once from within the X function, since neither Xlib nor a
/// driver can go on then: it must hold nothing but plain values (no destructor runs) and bring its results out by
/// reference. Work may stand within work; all of it is left. Any thread.
bool Run(const Work& work);

/// As `Run`, then waits until the server has carried it out: one round trip. What was created counts as made only then,
/// and only if a question finds it: all threads share the connection, and Xlib does not tell whose request was refused.
bool RunAndWait(const Work& work);

/// Prints the text of a protocol error as "Exception: ". Only within work.
void ReportError(Display* display, int code);

/// Takes the connection for lost and leaves the work that this is called within, if any.
void AbandonConnection();

} // namespace Tovra::System::Desktop::X11
