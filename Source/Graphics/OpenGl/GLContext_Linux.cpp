#include <Graphics/OpenGl/GLContextPlatformNative.h>
#include <System/X11/Glx_Linux.h>

#include <array>

namespace Tovra::Graphics::OpenGl {

namespace X11 = System::X11;
namespace Glx = X11::Glx;

namespace {

// clang-format off
/// The extension GLX_ARB_create_context_profile.
constexpr auto wantedContext = std::to_array<int>({
    GLX_CONTEXT_MAJOR_VERSION_ARB, 3,
    GLX_CONTEXT_MINOR_VERSION_ARB, 2,
    GLX_CONTEXT_PROFILE_MASK_ARB, GLX_CONTEXT_CORE_PROFILE_BIT_ARB,
    0});
// clang-format on

/// With an alpha channel in the window's visual, the surface is transparent where nothing opaque is drawn.
GLXContext CreateContext(const X11::Connection& x11, const Glx::Functions& glx, ::Window window) {
    XWindowAttributes attributes{};
    if (x11.XGetWindowAttributes(x11.display, window, &attributes) == 0) {
        return nullptr;
    }
    const GLXFBConfig configuration = Glx::ChooseConfiguration(x11, glx, x11.XVisualIDFromVisual(attributes.visual));
    if (configuration == nullptr) {
        return nullptr;
    }
    const auto create = reinterpret_cast<PFNGLXCREATECONTEXTATTRIBSARBPROC>(
        GLContextGetEntryPointPlatformNative("glXCreateContextAttribsARB"));
    if (create == nullptr) {
        return nullptr;
    }
    return X11::Call<PFNGLXCREATECONTEXTATTRIBSARBPROC>(create)(x11.display, configuration, nullptr, True,
                                                                wantedContext.data());
}

} // namespace

void* GLContextInitializePlatformNative(unsigned long panel, const char*) {
    X11::Connection* const x11 = X11::GetConnection();
    const Glx::Functions* const glx = x11 == nullptr ? nullptr : Glx::GetFunctions();
    if (glx == nullptr) {
        return nullptr;
    }
    const ::Window window = X11::GetPanelWindow(panel);
    const GLXContext context = CreateContext(*x11, *glx, window);
    const bool isCurrent = context != nullptr && glx->glXMakeCurrent(x11->display, window, context) != 0;
    if (x11->Sync() && isCurrent) {
        return context;
    }
    GLContextDestroyPlatformNative(panel, context);
    return nullptr;
}

void GLContextDestroyPlatformNative(unsigned long, void* context) {
    // Once the connection is lost the driver can't be called any more, and the context stays as it is.
    const X11::Connection* const x11 = context == nullptr ? nullptr : X11::GetConnection();
    const Glx::Functions* const glx = x11 == nullptr ? nullptr : Glx::GetFunctions();
    if (glx == nullptr) {
        return;
    }
    auto* const glxContext = static_cast<GLXContext>(context);
    if (glx->glXGetCurrentContext() == glxContext) {
        glx->glXMakeCurrent(x11->display, None, nullptr);
    }
    glx->glXDestroyContext(x11->display, glxContext);
}

void GLContextFrameStartPlatformNative(unsigned long, void*) {}

void GLContextFrameEndPlatformNative(unsigned long panel, void*) {
    const X11::Connection* const x11 = X11::GetConnection();
    const Glx::Functions* const glx = Glx::GetFunctions();
    if (x11 != nullptr && glx != nullptr) {
        glx->glXSwapBuffers(x11->display, X11::GetPanelWindow(panel));
    }
}

// The driver follows the window's size by itself.
void GLContextResizePlatformNative(unsigned long, void*) {}

EntryPoint GLContextGetEntryPointPlatformNative(const char* name) {
    const Glx::Functions* const glx = Glx::GetFunctions();
    return glx == nullptr ? nullptr : glx->glXGetProcAddressARB(reinterpret_cast<const GLubyte*>(name));
}

} // namespace Tovra::Graphics::OpenGl
