#include <Fieldhost/Tools/OpenGlTrial.h>
#include <Fieldhost/Tools/PlatformApplication.h>
#include <Graphics/OpenGl/GLContext.h>
#include <System/Desktop/Window.h>

namespace Tovra::Fieldhost::Tools {

using Graphics::OpenGl::GLContext;
using System::Desktop::Window;

void TryOpenGl(void* application, const char* name, const OpenGlReceiver& report) {
    AvoidShaderCache();
    GLContext context;
    Window window(application, name, {0, 0}, {800, 600}, Window::Style{3});
    if (!window.Create()) {
        report(OpenGlOutcome::NoWindow, context);
        return;
    }
    const auto handle = reinterpret_cast<unsigned long>(window.GetHandle());
    const bool isInitialized = context.Initialize(handle, window.GetClassName());
    // Before cleaning up: whatever the driver does then, the result is out.
    report(isInitialized ? OpenGlOutcome::Success : OpenGlOutcome::NoContext, context);
    if (isInitialized) {
        context.Destroy(handle);
    }
    // An incomplete context is not destroyed: it ends with the process.
    window.Destroy();
}

} // namespace Tovra::Fieldhost::Tools
