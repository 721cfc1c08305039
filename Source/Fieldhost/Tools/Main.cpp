#include <Fieldhost/Tools/Application.h>
#include <Fieldhost/Tools/PlatformApplication.h>
#include <Fieldhost/Tools/StandardStreams.h>
#include <System/Log/ContextRegistry.h>
#include <System/Processes/Parameters.h>

namespace Tovra::Fieldhost::Tools {

namespace {

constinit System::Log::Context s_logContext{System::Log::StreamID::FieldhostSetupTool};

/// Registers this file's log context; an object, as only objects have a priority.
struct LogContextRegistration {
    LogContextRegistration() { System::Log::ContextRegistry::AddContext(s_logContext); }
};

[[gnu::init_priority(101)]] const LogContextRegistration registration;

} // namespace

// Behind the error handler, which has 102, and with nothing between them: the handler reports a signal to the
// application's log, and asserts where there is no application.
[[gnu::init_priority(103)]] Application Application::s_instance;

} // namespace Tovra::Fieldhost::Tools

int main(int argc, char** argv) {
    using namespace Tovra;
    using System::Runtime::ApplicationParameters;

    Fieldhost::Tools::SecureStandardStreams();
    System::Processes::Parameters parameters;
    const ApplicationParameters applicationParameters{.m_option = false,
                                                      .m_terminateOtherInstances = true,
                                                      .m_parameters = &parameters,
                                                      .m_auxiliaryPointer = nullptr};
    parameters.Add(static_cast<unsigned long>(argc), argv);
    Fieldhost::Tools::TouchPlatformApplication();
    System::Runtime::Application::Run(applicationParameters);
    return System::Runtime::Application::GetInstance().GetReturnCode();
}
