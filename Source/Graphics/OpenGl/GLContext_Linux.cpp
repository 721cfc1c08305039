#include <Graphics/OpenGl/GLContextPlatformNative.h>
#include <System/Desktop/Glx_Linux.h>
#include <System/Desktop/X11_Linux.h>

#include <array>

namespace Tovra::Graphics::OpenGl {

namespace Glx = System::Desktop::Glx;
namespace X11 = System::Desktop::X11;

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
GLXContext CreateContext(Display* display, ::Window window) {
    XWindowAttributes attributes{};
    if (X11::GetFunctions().XGetWindowAttributes(display, window, &attributes) == 0) {
        return nullptr;
    }
    const GLXFBConfig configuration =
        Glx::ChooseConfiguration(display, X11::GetFunctions().XVisualIDFromVisual(attributes.visual));
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
        isCurrent = context != nullptr && Glx::GetFunctions().glXMakeCurrent(display, window, context) != 0;
    };
    if (Glx::IsLoaded() && X11::RunAndWait(makeContext) && isCurrent) {
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
        if (Glx::GetFunctions().glXGetCurrentContext() == glxContext) {
            Glx::GetFunctions().glXMakeCurrent(display, None, nullptr);
        }
        Glx::GetFunctions().glXDestroyContext(display, glxContext);
    });
}

void GLContextFrameStartPlatformNative(unsigned long, void*) {}

void GLContextFrameEndPlatformNative(unsigned long panel, void*) {
    X11::Run([panel](Display* display) { Glx::GetFunctions().glXSwapBuffers(display, X11::GetPanelWindow(panel)); });
}

// The driver follows the window's size by itself.
void GLContextResizePlatformNative(unsigned long, void*) {}

EntryPoint GLContextGetEntryPointPlatformNative(const char* name) {
    return Glx::IsLoaded() ? Glx::GetFunctions().glXGetProcAddressARB(reinterpret_cast<const GLubyte*>(name)) : nullptr;
}

} // namespace Tovra::Graphics::OpenGl
