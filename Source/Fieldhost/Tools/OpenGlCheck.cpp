#include <Fieldhost/Tools/Application.h>
#include <Fieldhost/Tools/PlatformApplication.h>
#include <Graphics/OpenGl/GLContext.h>
#include <System/Desktop/Window.h>
#include <System/Environment/Module.h>
#include <System/Processes/ChildOperations.h>

#include <chrono>
#include <iostream>
#include <string>

namespace Tovra::Fieldhost::Tools {

using Graphics::OpenGl::GLContext;
using System::Desktop::Window;

namespace {

/// How the check ended: the first character of its message, which the version follows.
enum class Outcome : char { Success, NoWindow, NoContext };

/// A driver that waits for anything but the X server, or loops, is given up after it. A server is given up before.
constexpr std::chrono::minutes checkLimit{2};

std::string ComposeMessage(Outcome outcome, const std::string& version = {}) {
    return static_cast<char>(outcome) + version;
}

/// Makes a window and a context, and sends the result.
void Check(void* application, const System::Processes::MessageReceiver& send) {
    AvoidShaderCache();
    Window window(application, Module::s_instance.GetName(), {0, 0}, {800, 600}, Window::Style{3});
    if (!window.Create()) {
        send(ComposeMessage(Outcome::NoWindow));
        return;
    }
    const auto handle = reinterpret_cast<unsigned long>(window.GetHandle());
    GLContext context;
    const bool isInitialized = context.Initialize(handle, window.GetClassName());
    // Report before cleaning up: whatever the driver does then, the result is out.
    send(ComposeMessage(isInitialized ? Outcome::Success : Outcome::NoContext, context.GetVersion()));
    if (isInitialized) {
        context.Destroy(handle);
    }
    // An incomplete context is not destroyed: it ends with the process.
    window.Destroy();
}

} // namespace

void Application::CheckOpenGL() {
    const auto report = [this](std::string_view message) {
        const auto outcome = static_cast<Outcome>(message.front());
        if (outcome == Outcome::NoWindow) {
            // Intentional: "version" is then false, where it is a text otherwise; callers expect that.
            SetAndPrintReturnCode(Parameter::CheckOpenGL, s_returnCodeNameFailed);
            return;
        }
        m_data = std::string(message.substr(1));
        // Intentional: a missing OpenGL version is reported by this name, not as a failure; callers go by it.
        SetAndPrintReturnCode(Parameter::CheckOpenGL, outcome == Outcome::Success
                                                          ? s_returnCodeNameSuccess
                                                          : s_returnCodeNameUnsupportedPlatform);
    };
    const auto check = [this](const System::Processes::MessageReceiver& send) { Check(this, send); };
    if (!System::Processes::RunInChild(check, report, checkLimit)) {
        std::cerr << "Exception: The OpenGL driver gave no result.\n";
        report(ComposeMessage(Outcome::NoContext));
    }
}

} // namespace Tovra::Fieldhost::Tools
