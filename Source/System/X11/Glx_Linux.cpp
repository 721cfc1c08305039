#include <System/X11/Glx_Linux.h>

#include <dlfcn.h>

#include <array>

namespace Tovra::System::X11::Glx {

namespace {

// clang-format off
/// What the contexts of every host have (GLX 1.4, 3.3.3). None asks for a depth buffer.
constexpr auto wantedConfiguration = std::to_array<int>({
    GLX_X_RENDERABLE, True,
    GLX_DRAWABLE_TYPE, GLX_WINDOW_BIT,
    GLX_RENDER_TYPE, GLX_RGBA_BIT,
    GLX_RED_SIZE, 8,
    GLX_GREEN_SIZE, 8,
    GLX_BLUE_SIZE, 8,
    GLX_ALPHA_SIZE, 8,
    GLX_DOUBLEBUFFER, True,
    GLX_CONFIG_CAVEAT, GLX_NONE, // GLX's word for "accelerated".
    0});
// clang-format on

/// The first wanted configuration, best first, that `isRight` takes; null if it takes none.
template <class F>
GLXFBConfig FindConfiguration(const Connection& x11, const Functions& glx, const F& isRight) {
    int count{};
    GLXFBConfig* const configurations =
        glx.glXChooseFBConfig(x11.display, DefaultScreen(x11.display), wantedConfiguration.data(), &count);
    if (configurations == nullptr) {
        return nullptr;
    }
    GLXFBConfig found = nullptr;
    for (int index = 0; found == nullptr && index < count; ++index) {
        if (isRight(configurations[index])) {
            found = configurations[index];
        }
    }
    x11.XFree(static_cast<void*>(configurations));
    return found;
}

} // namespace

const Functions* GetFunctions() {
    static Functions s_functions;
    static const bool s_isLoaded = s_functions.Load();
    return s_isLoaded ? &s_functions : nullptr;
}

GLXFBConfig ChooseConfiguration(const Connection& x11, const Functions& glx, VisualID visual) {
    return FindConfiguration(x11, glx, [&](GLXFBConfig configuration) {
        int configurationVisual{};
        glx.glXGetFBConfigAttrib(x11.display, configuration, GLX_VISUAL_ID, &configurationVisual);
        return static_cast<VisualID>(configurationVisual) == visual;
    });
}

bool FindVisual(const Connection& x11, const Functions& glx, XVisualInfo& visual) {
    return FindConfiguration(x11, glx, [&](GLXFBConfig configuration) {
               XVisualInfo* const found = glx.glXGetVisualFromFBConfig(x11.display, configuration);
               if (found == nullptr) {
                   return false;
               }
               visual = *found;
               x11.XFree(found);
               return true;
           }) != nullptr;
}

} // namespace Tovra::System::X11::Glx

namespace {

bool IsInSameLibrary(const void* first, const void* second) {
    Dl_info firstInfo{};
    Dl_info secondInfo{};
    return dladdr(first, &firstInfo) != 0 && dladdr(second, &secondInfo) != 0 &&
           firstInfo.dli_fbase == secondInfo.dli_fbase;
}

} // namespace

/// Replaces the xcb library's function of this name for all libraries of the process, which is why programs export it.
/// Mesa's software driver (`check_xshm`) does not test for a missing reply here, long after it began to load, and
/// crashes if the server went away meanwhile. The library itself does test for it, and calls this under a lock that a
/// jump would leave locked for ever.
extern "C" xcb_query_extension_reply_t* xcb_query_extension_reply(xcb_connection_t* connection,
                                                                  xcb_query_extension_cookie_t cookie,
                                                                  xcb_generic_error_t** error) {
    static const auto s_original = reinterpret_cast<decltype(&xcb_query_extension_reply)>(
        dlsym(dlopen("libxcb.so.1", RTLD_LAZY), "xcb_query_extension_reply"));
    xcb_query_extension_reply_t* const reply = s_original(connection, cookie, error);
    if (reply == nullptr) {
        if (IsInSameLibrary(__builtin_return_address(0), reinterpret_cast<void*>(s_original))) {
            Tovra::System::X11::MarkConnectionAsLost();
        } else {
            Tovra::System::X11::AbandonConnection();
        }
    }
    return reply;
}
