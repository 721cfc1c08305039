#include <Fieldhost/Tools/Application.h>
#include <Fieldhost/Tools/PlatformApplication.h>
#include <Fieldhost/Tools/StandardStreams.h>
#include <System/Log/Log.h>
#include <System/Processes/Parameters.h>

TOVRA_LOG_CONTEXT(FieldhostSetupTool);

namespace Tovra::Fieldhost::Tools {

Application Application::s_instance;

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
