#include <Fieldhost/Tools/Application.h>
#include <Graphics/OpenGl/GLContext.h>
#include <System/Desktop/Window.h>
#include <System/Environment/Module.h>

namespace Tovra::Fieldhost::Tools {

using Graphics::OpenGl::GLContext;
using System::Desktop::Window;

void Application::CheckOpenGL() {
    Window window(this, Module::s_instance.GetName(), {0, 0}, {800, 600}, Window::Style{3});
    if (!window.Create()) {
        // Intentional: "version" is then false, where it is a text otherwise; callers expect that.
        SetAndPrintReturnCode(Parameter::CheckOpenGL, s_returnCodeNameFailed);
        return;
    }
    const auto handle = reinterpret_cast<unsigned long>(window.GetHandle());
    GLContext context;
    const bool isInitialized = context.Initialize(handle, window.GetClassName());
    m_data = context.GetVersion();
    // Report before cleaning up: whatever the driver does then, the result is out.
    if (isInitialized) {
        SetAndPrintReturnCode(Parameter::CheckOpenGL, s_returnCodeNameSuccess);
        context.Destroy(handle);
    } else {
        // Intentional: a missing OpenGL version is reported by this name, not as a failure; callers go by it. An
        // incomplete context is not destroyed: it ends with the process.
        SetAndPrintReturnCode(Parameter::CheckOpenGL, s_returnCodeNameUnsupportedPlatform);
    }
    window.Destroy();
}

} // namespace Tovra::Fieldhost::Tools
