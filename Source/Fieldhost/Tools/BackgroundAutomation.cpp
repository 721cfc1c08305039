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
        Change(Parameter::EnableBackgroundAutomation, isEnabled, isEnabled, &ChildSession::Enable);
    }
}

void Application::DisableBackgroundAutomation() {
    if (CheckPlatformWindows(Parameter::DisableBackgroundAutomation)) {
        const bool isEnabled = ChildSession::IsEnabled();
        Change(Parameter::DisableBackgroundAutomation, isEnabled, !isEnabled, &ChildSession::Disable);
    }
}

void Application::FixBackgroundAutomation() {
    // The guard reports under the enabling parameter on purpose: this command's own has no version error, and callers
    // tell a refused repair by "previous" in its document.
    if (!CheckPlatformWindows(Parameter::EnableBackgroundAutomation)) {
        return;
    }
    // The last process visited decides on purpose: callers know that an earlier survivor goes unreported.
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
