#include "OpenGlSurface.h"

#include <GL/glx.h>
#include <X11/Xlib.h>

#include <array>
#include <stdexcept>

namespace Tovra::Tests::AppKit {

namespace {

Display* AsDisplay(void* display) {
    return static_cast<Display*>(display);
}

GLXContext AsContext(void* context) {
    return static_cast<GLXContext>(context);
}

} // namespace

OpenGlSurface::OpenGlSurface(void* display, unsigned long parent, unsigned int width, unsigned int height)
    : m_display(display) {
    Display* const server = AsDisplay(display);
    constexpr std::array attributes{GLX_RED_SIZE,   8, GLX_GREEN_SIZE,   8,    GLX_BLUE_SIZE, 8,
                                    GLX_ALPHA_SIZE, 8, GLX_DOUBLEBUFFER, True, int{None}};
    int count = 0;
    GLXFBConfig* const configurations = glXChooseFBConfig(server, DefaultScreen(server), attributes.data(), &count);
    if (configurations == nullptr) {
        throw std::runtime_error("The X server has no such pixel format.");
    }
    const GLXFBConfig configuration = configurations[0];
    XFree(configurations);

    XVisualInfo* const visual = glXGetVisualFromFBConfig(server, configuration);
    XSetWindowAttributes values{};
    values.colormap = XCreateColormap(server, parent, visual->visual, AllocNone);
    m_window = XCreateWindow(server, parent, 0, 0, width, height, 0, visual->depth, InputOutput, visual->visual,
                             CWBorderPixel | CWColormap, &values);
    XFree(visual);
    XMapWindow(server, m_window);

    using CreateContext = GLXContext (*)(Display*, GLXFBConfig, GLXContext, Bool, const int*);
    const auto createContext = reinterpret_cast<CreateContext>(
        glXGetProcAddress(reinterpret_cast<const GLubyte*>("glXCreateContextAttribsARB")));
    constexpr std::array profile{
        GLX_CONTEXT_MAJOR_VERSION_ARB,    3,        GLX_CONTEXT_MINOR_VERSION_ARB, 2, GLX_CONTEXT_PROFILE_MASK_ARB,
        GLX_CONTEXT_CORE_PROFILE_BIT_ARB, int{None}};
    m_context = createContext(server, configuration, nullptr, True, profile.data());
    if (m_context == nullptr) {
        throw std::runtime_error("The X server has no such context.");
    }
}

OpenGlSurface::~OpenGlSurface() {
    Detach();
    glXDestroyContext(AsDisplay(m_display), AsContext(m_context));
}

void OpenGlSurface::MakeCurrent() {
    glXMakeCurrent(AsDisplay(m_display), m_window, AsContext(m_context));
}

void OpenGlSurface::SwapBuffers() {
    glXSwapBuffers(AsDisplay(m_display), m_window);
}

void OpenGlSurface::Resize(unsigned int width, unsigned int height) {
    XResizeWindow(AsDisplay(m_display), m_window, width, height);
}

void OpenGlSurface::Detach() {
    if (m_window != 0) {
        glXMakeCurrent(AsDisplay(m_display), 0, nullptr);
        XDestroyWindow(AsDisplay(m_display), m_window);
        m_window = 0;
    }
}

} // namespace Tovra::Tests::AppKit
