#include <Graphics/OpenGl/GLContextPlatformNative.h>
#include <System/Desktop/X11_Linux.h>

#include <GL/glx.h>
#include <dlfcn.h>
#include <xcb/xcb.h>

#include <array>

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

// clang-format off
/// What every host's context has (GLX 1.4, 3.3.3). As everywhere no depth buffer is asked for.
constexpr auto wantedConfiguration = std::to_array<int>({
    GLX_X_RENDERABLE, True,
    GLX_DRAWABLE_TYPE, GLX_WINDOW_BIT,
    GLX_RENDER_TYPE, GLX_RGBA_BIT,
    GLX_RED_SIZE, 8,
    GLX_GREEN_SIZE, 8,
    GLX_BLUE_SIZE, 8,
    GLX_ALPHA_SIZE, 8,
    GLX_DOUBLEBUFFER, True,
    GLX_CONFIG_CAVEAT, GLX_NONE, // The window system's word for "accelerated".
    0});

/// The extension GLX_ARB_create_context_profile.
constexpr auto wantedContext = std::to_array<int>({
    GLX_CONTEXT_MAJOR_VERSION_ARB, 3,
    GLX_CONTEXT_MINOR_VERSION_ARB, 2,
    GLX_CONTEXT_PROFILE_MASK_ARB, GLX_CONTEXT_CORE_PROFILE_BIT_ARB,
    0});
// clang-format on

/// The best wanted configuration of the visual that the window was made with, or null. With an alpha channel in the
/// visual, the surface is transparent where nothing opaque is drawn.
GLXFBConfig ChooseConfiguration(Display* display, VisualID visual) {
    int count = 0;
    GLXFBConfig* const configurations =
        s_glx.glXChooseFBConfig(display, DefaultScreen(display), wantedConfiguration.data(), &count);
    GLXFBConfig chosen = nullptr;
    for (int index = 0; configurations != nullptr && chosen == nullptr && index < count; ++index) {
        int configurationVisual = 0;
        s_glx.glXGetFBConfigAttrib(display, configurations[index], GLX_VISUAL_ID, &configurationVisual);
        if (static_cast<VisualID>(configurationVisual) == visual) {
            chosen = configurations[index];
        }
    }
    if (configurations != nullptr) {
        X11::GetFunctions().XFree(static_cast<void*>(configurations));
    }
    return chosen;
}

GLXContext CreateContext(Display* display, ::Window window) {
    XWindowAttributes attributes{};
    if (X11::GetFunctions().XGetWindowAttributes(display, window, &attributes) == 0) {
        return nullptr;
    }
    const GLXFBConfig configuration =
        ChooseConfiguration(display, X11::GetFunctions().XVisualIDFromVisual(attributes.visual));
    const auto create = reinterpret_cast<PFNGLXCREATECONTEXTATTRIBSARBPROC>(
        GLContextGetEntryPointPlatformNative("glXCreateContextAttribsARB"));
    if (configuration == nullptr || create == nullptr) {
        return nullptr;
    }
    return create(display, configuration, nullptr, True, wantedContext.data());
}

} // namespace

void* GLContextInitializePlatformNative(unsigned long panel, const char*) {
    GLXContext context = nullptr;
    bool isCurrent = false;
    const auto makeContext = [panel, &context, &isCurrent](Display* display) {
        const ::Window window = X11::GetPanelWindow(panel);
        context = CreateContext(display, window);
        isCurrent = context != nullptr && s_glx.glXMakeCurrent(display, window, context) != 0;
    };
    if (IsLoaded() && X11::RunChecked(makeContext) && isCurrent) {
        return context;
    }
    GLContextDestroyPlatformNative(panel, context);
    return nullptr;
}

void GLContextDestroyPlatformNative(unsigned long, void* context) {
    if (context == nullptr) {
        return;
    }
    // Where the connection is lost the driver can't be asked any more, and the context stays as it is.
    X11::Run([glxContext = static_cast<GLXContext>(context)](Display* display) {
        if (s_glx.glXGetCurrentContext() == glxContext) {
            s_glx.glXMakeCurrent(display, None, nullptr);
        }
        s_glx.glXDestroyContext(display, glxContext);
    });
}

void GLContextFrameStartPlatformNative(unsigned long, void*) {}

void GLContextFrameEndPlatformNative(unsigned long panel, void*) {
    X11::Run([panel](Display* display) { s_glx.glXSwapBuffers(display, X11::GetPanelWindow(panel)); });
}

// The driver follows the window's size by itself.
void GLContextResizePlatformNative(unsigned long, void*) {}

EntryPoint GLContextGetEntryPointPlatformNative(const char* name) {
    return IsLoaded() ? s_glx.glXGetProcAddressARB(reinterpret_cast<const GLubyte*>(name)) : nullptr;
}

} // namespace Tovra::Graphics::OpenGl

/// Stands before the xcb library's function of this name for all libraries of the process, which is why programs export
/// it. Mesa takes an answer for granted here, after it has loaded for long, and crashes where the server went away
/// meanwhile (`check_xshm` in its software driver).
extern "C" xcb_query_extension_reply_t* xcb_query_extension_reply(xcb_connection_t* connection,
                                                                  xcb_query_extension_cookie_t cookie,
                                                                  xcb_generic_error_t** error) {
    static const auto s_original = reinterpret_cast<decltype(&xcb_query_extension_reply)>(
        dlsym(dlopen("libxcb.so.1", RTLD_LAZY), "xcb_query_extension_reply"));
    xcb_query_extension_reply_t* const reply = s_original(connection, cookie, error);
    if (reply == nullptr) {
        Tovra::System::Desktop::X11::AbandonConnection();
    }
    return reply;
}
