// What the contract of -CheckOpenGL demands of the system, and nothing else: it makes a window with an alpha channel
// and the context in it, asks for the version, and writes it.

#include <cstdio>
#include <cstdlib>

// After all others, since Xlib's macros have common names.
// clang-format off
#include <GL/gl.h>
#include <GL/glx.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
// clang-format on

namespace {

constexpr int wantedConfiguration[] = {GLX_X_RENDERABLE,
                                       True,
                                       GLX_DRAWABLE_TYPE,
                                       GLX_WINDOW_BIT,
                                       GLX_RENDER_TYPE,
                                       GLX_RGBA_BIT,
                                       GLX_RED_SIZE,
                                       8,
                                       GLX_GREEN_SIZE,
                                       8,
                                       GLX_BLUE_SIZE,
                                       8,
                                       GLX_ALPHA_SIZE,
                                       8,
                                       GLX_DOUBLEBUFFER,
                                       True,
                                       GLX_CONFIG_CAVEAT,
                                       GLX_NONE,
                                       0};

constexpr int wantedContext[] = {
    GLX_CONTEXT_MAJOR_VERSION_ARB,    3, GLX_CONTEXT_MINOR_VERSION_ARB, 2, GLX_CONTEXT_PROFILE_MASK_ARB,
    GLX_CONTEXT_CORE_PROFILE_BIT_ARB, 0};

/// The best configuration with the visual, or null.
GLXFBConfig ChooseConfiguration(Display* display, VisualID visual) {
    int count = 0;
    GLXFBConfig* const all = glXChooseFBConfig(display, DefaultScreen(display), wantedConfiguration, &count);
    GLXFBConfig found = nullptr;
    for (int index = 0; found == nullptr && index < count; ++index) {
        int its = 0;
        glXGetFBConfigAttrib(display, all[index], GLX_VISUAL_ID, &its);
        if (static_cast<VisualID>(its) == visual) {
            found = all[index];
        }
    }
    XFree(static_cast<void*>(all));
    return found;
}

Window MakeWindow(Display* display, const XVisualInfo& visual) {
    XSetWindowAttributes attributes{};
    attributes.override_redirect = True;
    attributes.colormap = XCreateColormap(display, DefaultRootWindow(display), visual.visual, AllocNone);
    const Window window =
        XCreateWindow(display, DefaultRootWindow(display), 0, 0, 800, 600, 0, visual.depth, InputOutput, visual.visual,
                      CWBackPixel | CWBorderPixel | CWOverrideRedirect | CWColormap, &attributes);
    XMapWindow(display, window);
    return window;
}

} // namespace

int main() {
    setenv("MESA_SHADER_CACHE_DISABLE", "true", 1); // As the tool does; a cache would be read and written.
    Display* const display = XOpenDisplay(nullptr);
    XVisualInfo visual{};
    if (display == nullptr || XMatchVisualInfo(display, DefaultScreen(display), 32, TrueColor, &visual) == 0) {
        return EXIT_FAILURE;
    }
    const GLXFBConfig configuration = ChooseConfiguration(display, visual.visualid);
    const auto create = reinterpret_cast<PFNGLXCREATECONTEXTATTRIBSARBPROC>(
        glXGetProcAddressARB(reinterpret_cast<const GLubyte*>("glXCreateContextAttribsARB")));
    if (configuration == nullptr || create == nullptr) {
        return EXIT_FAILURE;
    }
    const Window window = MakeWindow(display, visual);
    const GLXContext context = create(display, configuration, nullptr, True, wantedContext);
    if (context == nullptr || glXMakeCurrent(display, window, context) == 0) {
        return EXIT_FAILURE;
    }
    std::puts(reinterpret_cast<const char*>(glGetString(GL_VERSION)));
    glXMakeCurrent(display, None, nullptr);
    glXDestroyContext(display, context);
    XDestroyWindow(display, window);
    XCloseDisplay(display);
}
