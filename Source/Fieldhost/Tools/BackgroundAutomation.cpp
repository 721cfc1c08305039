#include <Fieldhost/Tools/Application.h>
#include <System/Processes/Process.h>
#include <System/RemoteDesktop/ChildSession.h>

namespace Tovra::Fieldhost::Tools {

using System::Processes::Process;
using System::RemoteDesktop::ChildSession;

void Application::CheckBackgroundAutomation() {
    if (CheckPlatformWindows(Parameter::CheckBackgroundAutomation)) {
        m_data = ChildSession::IsEnabled();
        SetAndPrintReturnCode(Parameter::CheckBackgroundAutomation, s_returnCodeNameSuccess);
    }
}

void Application::EnableBackgroundAutomation() {
    if (CheckPlatformWindows(Parameter::EnableBackgroundAutomation)) {
        const bool isEnabled = ChildSession::IsEnabled();
        m_data = isEnabled;
        ChangeUnless(isEnabled, Parameter::EnableBackgroundAutomation, &ChildSession::Enable);
    }
}

void Application::DisableBackgroundAutomation() {
    if (CheckPlatformWindows(Parameter::DisableBackgroundAutomation)) {
        const bool isEnabled = ChildSession::IsEnabled();
        m_data = isEnabled;
        ChangeUnless(!isEnabled, Parameter::DisableBackgroundAutomation, &ChildSession::Disable);
    }
}

void Application::FixBackgroundAutomation() {
    // Intentional: the guard reports under the enabling parameter; this command's own parameter has no version error,
    // and callers recognise a refused repair by "previous" in its document.
    if (!CheckPlatformWindows(Parameter::EnableBackgroundAutomation)) {
        return;
    }
    // Intentional: the last process visited decides; callers know that an earlier survivor goes unreported.
    bool survived = false;
    bool terminated = false;
    Process::ForEachProcess(
        [&](Process& process) {
            process.Terminate();
            survived = process.IsValid();
            terminated = !survived;
        },
        Process::GetExecutableName("TovraFieldhostExecutionTool"));
    if (survived) {
        SetAndPrintReturnCode(Parameter::FixBackgroundAutomation, s_returnCodeNameFailed);
        return;
    }
    m_data = terminated;
    SetAndPrintReturnCode(Parameter::FixBackgroundAutomation, s_returnCodeNameSuccess);
}

} // namespace Tovra::Fieldhost::Tools
