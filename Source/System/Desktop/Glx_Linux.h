#pragma once

// An internal header of the Linux host: GLX, and which of its framebuffer configurations windows and contexts are made
// with.

#include <System/Desktop/X11_Linux.h>

#include <GL/glx.h>

namespace Tovra::System::Desktop::Glx {

/// The GLX functions that are called: the one table that makes the members and their loading.
#define TOVRA_GLX_FUNCTIONS(FUNCTION)                                                                                  \
    FUNCTION(glXChooseFBConfig)                                                                                        \
    FUNCTION(glXDestroyContext)                                                                                        \
    FUNCTION(glXGetCurrentContext)                                                                                     \
    FUNCTION(glXGetFBConfigAttrib)                                                                                     \
    FUNCTION(glXGetProcAddressARB)                                                                                     \
    FUNCTION(glXGetVisualFromFBConfig)                                                                                 \
    FUNCTION(glXMakeCurrent)                                                                                           \
    FUNCTION(glXSwapBuffers)

/// The library as it was found at run time. It is never linked, since a machine may lack it.
struct Functions {
#define TOVRA_GLX_MEMBER(name) decltype(&::name) name;
    TOVRA_GLX_FUNCTIONS(TOVRA_GLX_MEMBER)
#undef TOVRA_GLX_MEMBER
};

/// Loads libGL at the first call; false if it can't be loaded. Any thread.
bool IsLoaded();

/// The loaded functions; call them only after `IsLoaded` was true.
const Functions& GetFunctions();

/// The best configuration that a context is made with and whose windows have that visual, or null. Only within work.
GLXFBConfig ChooseConfiguration(Display* display, VisualID visual);

/// Gives the visual of the best configuration that a context is made with; false if there is none. Only within work.
bool FindVisual(Display* display, XVisualInfo& visual);

} // namespace Tovra::System::Desktop::Glx
