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
        // The result shows a bool where otherwise the version's text stands: callers know it that way.
        SetAndPrintReturnCode(Parameter::CheckOpenGL, s_returnCodeNameFailed);
        return;
    }
    const auto handle = reinterpret_cast<unsigned long>(window.GetHandle());
    GLContext context;
    const bool isInitialized = context.Initialize(handle, window.GetClassName());
    m_data = context.GetVersion();
    // The report comes before the clean-up: whatever happens to the driver then, the result is out.
    if (isInitialized) {
        SetAndPrintReturnCode(Parameter::CheckOpenGL, s_returnCodeNameSuccess);
        context.Destroy(handle);
    } else {
        // A missing version is told by this name on purpose, and a context that is not whole is left to the window.
        SetAndPrintReturnCode(Parameter::CheckOpenGL, s_returnCodeNameUnsupportedPlatform);
    }
    window.Destroy();
}

} // namespace Tovra::Fieldhost::Tools
