#include <Graphics/OpenGl/GLContextPlatformNative.h>
#include <System/Desktop/X11_Linux.h>

#include <GL/glx.h>
#include <dlfcn.h>

#include <memory>
#include <span>

namespace Tovra::Graphics::OpenGl {

namespace X11 = System::Desktop::X11;

namespace {

/// The GLX functions that are called: the one table that makes the members and their loading.
#define TOVRA_GLX_FUNCTIONS(FUNCTION)                                                                                  \
    FUNCTION(glXChooseFBConfig)                                                                                        \
    FUNCTION(glXDestroyContext)                                                                                        \
    FUNCTION(glXGetCurrentContext)                                                                                     \
    FUNCTION(glXGetFBConfigAttrib)                                                                                     \
    FUNCTION(glXGetProcAddressARB)                                                                                     \
    FUNCTION(glXMakeCurrent)                                                                                           \
    FUNCTION(glXSwapBuffers)

struct GlxFunctions {
#define TOVRA_GLX_MEMBER(name) decltype(&::name) name;
    TOVRA_GLX_FUNCTIONS(TOVRA_GLX_MEMBER)
};

GlxFunctions s_glx;

bool LoadFunctions() {
    void* const library = dlopen("libGL.so.1", RTLD_LAZY);
#define TOVRA_GLX_LOAD(name) X11::LoadFunction(library, #name, s_glx.name)&&
    return library != nullptr && TOVRA_GLX_FUNCTIONS(TOVRA_GLX_LOAD) true;
}

bool IsLoaded() {
    static const bool s_loaded = LoadFunctions();
    return s_loaded;
}

struct FreeXlibMemory {
    void operator()(void* memory) const { X11::GetFunctions().XFree(memory); }
};

/// What the context must keep: see GLX 1.4, 3.3.3. As on every host, no depth buffer is asked for.
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

/// See the extension GLX_ARB_create_context_profile.
constexpr int wantedContext[] = {
    GLX_CONTEXT_MAJOR_VERSION_ARB,    3, GLX_CONTEXT_MINOR_VERSION_ARB, 2, GLX_CONTEXT_PROFILE_MASK_ARB,
    GLX_CONTEXT_CORE_PROFILE_BIT_ARB, 0};

/// The best wanted configuration of the visual that the window was made with, or null. With an alpha channel in the
/// visual, the surface is transparent where nothing opaque is drawn.
GLXFBConfig ChooseConfiguration(Display* display, VisualID visual) {
    int count = 0;
    const std::unique_ptr<GLXFBConfig[], FreeXlibMemory> configurations(
        s_glx.glXChooseFBConfig(display, DefaultScreen(display), wantedConfiguration, &count));
    for (const GLXFBConfig configuration :
         std::span(configurations.get(), static_cast<std::size_t>(configurations ? count : 0))) {
        int configurationVisual = 0;
        s_glx.glXGetFBConfigAttrib(display, configuration, GLX_VISUAL_ID, &configurationVisual);
        if (static_cast<VisualID>(configurationVisual) == visual) {
            return configuration;
        }
    }
    return nullptr;
}

GLXContext CreateContext(Display* display, ::Window window) {
    XWindowAttributes attributes{};
    if (X11::GetFunctions().XGetWindowAttributes(display, window, &attributes) == 0) {
        return nullptr;
    }
    const auto create = reinterpret_cast<PFNGLXCREATECONTEXTATTRIBSARBPROC>(
        GLContextGetEntryPointPlatformNative("glXCreateContextAttribsARB"));
    const GLXFBConfig configuration =
        ChooseConfiguration(display, X11::GetFunctions().XVisualIDFromVisual(attributes.visual));
    if (create == nullptr || configuration == nullptr || X11::GetDisplay() == nullptr) {
        return nullptr;
    }
    return create(display, configuration, nullptr, True, wantedContext);
}

} // namespace

void* GLContextInitializePlatformNative(unsigned long panel, const char*) {
    Display* const display = X11::GetDisplay();
    if (display == nullptr || !IsLoaded()) {
        return nullptr;
    }
    const X11::RequestCheck check(display);
    const ::Window window = X11::GetPanelWindow(panel);
    const GLXContext context = CreateContext(display, window);
    const bool current =
        context != nullptr && X11::GetDisplay() != nullptr && s_glx.glXMakeCurrent(display, window, context) != 0;
    if (current && check.Succeeded()) {
        return context;
    }
    GLContextDestroyPlatformNative(panel, context);
    return nullptr;
}

void GLContextDestroyPlatformNative(unsigned long, void* context) {
    Display* const display = X11::GetDisplay();
    if (display == nullptr || context == nullptr) {
        return; // Without a connection the context is gone already.
    }
    const auto glxContext = static_cast<GLXContext>(context);
    if (s_glx.glXGetCurrentContext() == glxContext) {
        s_glx.glXMakeCurrent(display, None, nullptr);
    }
    s_glx.glXDestroyContext(display, glxContext);
}

void GLContextFrameStartPlatformNative(unsigned long, void*) {}

void GLContextFrameEndPlatformNative(unsigned long panel, void*) {
    if (Display* const display = X11::GetDisplay()) {
        s_glx.glXSwapBuffers(display, X11::GetPanelWindow(panel));
    }
}

// The driver follows the window's size by itself.
void GLContextResizePlatformNative(unsigned long, void*) {}

EntryPoint GLContextGetEntryPointPlatformNative(const char* name) {
    return IsLoaded() ? s_glx.glXGetProcAddressARB(reinterpret_cast<const GLubyte*>(name)) : nullptr;
}

} // namespace Tovra::Graphics::OpenGl
