#pragma once

// An internal header of the Linux host: GLX, and the framebuffer configurations that windows and contexts are made
// with.

#include <System/X11/X11_Linux.h>

#include <GL/glx.h>

namespace Tovra::System::X11::Glx {

/// The functions of GLX that are used, see TOVRA_LIBRARY.
#define TOVRA_GLX_FUNCTIONS(CALL, PLAIN)                                                                               \
    CALL(glXChooseFBConfig)                                                                                            \
    CALL(glXDestroyContext)                                                                                            \
    CALL(glXGetFBConfigAttrib)                                                                                         \
    CALL(glXGetVisualFromFBConfig)                                                                                     \
    CALL(glXMakeCurrent)                                                                                               \
    CALL(glXSwapBuffers)                                                                                               \
    PLAIN(glXGetCurrentContext)                                                                                        \
    PLAIN(glXGetProcAddressARB)

/// libGL with those functions.
TOVRA_LIBRARY(Functions, "libGL.so.1", TOVRA_GLX_FUNCTIONS);

/// The functions of GLX, loaded at the first call; null if libGL can't be loaded. Any thread. Owned by the process.
const Functions* GetFunctions();

/// The best configuration that a context can be made with and whose windows have that visual, or null.
GLXFBConfig ChooseConfiguration(const Connection& x11, const Functions& glx, VisualID visual);

/// Sets `visual` to that of the best configuration that a context can be made with; false if there is none, and
/// `visual` is left alone then.
bool FindVisual(const Connection& x11, const Functions& glx, XVisualInfo& visual);

} // namespace Tovra::System::X11::Glx
