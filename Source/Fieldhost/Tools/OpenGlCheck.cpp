#include <Fieldhost/Tools/Application.h>
#include <Fieldhost/Tools/OpenGlTrial.h>
#include <Graphics/OpenGl/GLContext.h>
#include <System/Environment/Module.h>
#include <System/Processes/ChildOperations.h>

#include <chrono>
#include <iostream>
#include <string>

namespace Tovra::Fieldhost::Tools {

using Graphics::OpenGl::GLContext;
using System::Processes::MessageReceiver;

namespace {

/// A driver that waits for anything but the X server, or loops, is given up after it. A server is given up before.
constexpr std::chrono::minutes checkLimit{2};

/// What the child sends: the outcome as the first character, which the version follows.
std::string ComposeMessage(OpenGlOutcome outcome, const std::string& version) {
    return static_cast<char>(outcome) + version;
}

} // namespace

void Application::CheckOpenGL() {
    const auto report = [this](std::string_view message) {
        const auto outcome = static_cast<OpenGlOutcome>(message.front());
        if (outcome == OpenGlOutcome::NoWindow) {
            // Intentional: "version" is then false, where it is a text otherwise; callers expect that.
            SetAndPrintReturnCode(Parameter::CheckOpenGL, s_returnCodeNameFailed);
            return;
        }
        m_data = std::string(message.substr(1));
        // Intentional: a missing OpenGL version is reported by this name, not as a failure; callers go by it.
        SetAndPrintReturnCode(Parameter::CheckOpenGL, outcome == OpenGlOutcome::Success
                                                          ? s_returnCodeNameSuccess
                                                          : s_returnCodeNameUnsupportedPlatform);
    };
    const auto check = [this](const MessageReceiver& send) {
        TryOpenGl(this, Module::s_instance.GetName(), [&send](OpenGlOutcome outcome, const GLContext& context) {
            send(ComposeMessage(outcome, context.GetVersion()));
        });
    };
    if (!System::Processes::RunInChild(check, report, checkLimit)) {
        std::cerr << "Exception: The OpenGL driver gave no result.\n";
        report(ComposeMessage(OpenGlOutcome::NoContext, ""));
    }
}

} // namespace Tovra::Fieldhost::Tools
