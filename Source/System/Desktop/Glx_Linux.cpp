#include <System/Desktop/Glx_Linux.h>

#include <dlfcn.h>
#include <xcb/xcb.h>

#include <array>

namespace Tovra::System::Desktop::Glx {

namespace {

Functions s_functions;

bool LoadFunctions() {
    void* const library = dlopen("libGL.so.1", RTLD_LAZY);
#define TOVRA_GLX_LOAD(name) X11::LoadFunction(library, #name, s_functions.name)&&
    return library != nullptr && TOVRA_GLX_FUNCTIONS(TOVRA_GLX_LOAD) true;
#undef TOVRA_GLX_LOAD
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
// clang-format on

/// The first wanted configuration, best first, that `isRight` takes; null if it takes none.
template <class F>
GLXFBConfig FindConfiguration(Display* display, const F& isRight) {
    int count = 0;
    GLXFBConfig* const configurations =
        s_functions.glXChooseFBConfig(display, DefaultScreen(display), wantedConfiguration.data(), &count);
    GLXFBConfig found = nullptr;
    for (int index = 0; configurations != nullptr && found == nullptr && index < count; ++index) {
        if (isRight(configurations[index])) {
            found = configurations[index];
        }
    }
    if (configurations != nullptr) {
        X11::GetFunctions().XFree(static_cast<void*>(configurations));
    }
    return found;
}

} // namespace

bool IsLoaded() {
    static const bool s_loaded = LoadFunctions();
    return s_loaded;
}

const Functions& GetFunctions() {
    return s_functions;
}

GLXFBConfig ChooseConfiguration(Display* display, VisualID visual) {
    return FindConfiguration(display, [display, visual](GLXFBConfig configuration) {
        int configurationVisual = 0;
        s_functions.glXGetFBConfigAttrib(display, configuration, GLX_VISUAL_ID, &configurationVisual);
        return static_cast<VisualID>(configurationVisual) == visual;
    });
}

bool FindVisual(Display* display, XVisualInfo& visual) {
    return FindConfiguration(display, [display, &visual](GLXFBConfig configuration) {
               XVisualInfo* const found = s_functions.glXGetVisualFromFBConfig(display, configuration);
               if (found == nullptr) {
                   return false;
               }
               visual = *found;
               X11::GetFunctions().XFree(found);
               return true;
           }) != nullptr;
}

} // namespace Tovra::System::Desktop::Glx

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
