#include <Fieldhost/Tools/Application.h>
#include <System/FileSystem/Path.h>
#include <System/Processes/Process.h>
#include <System/Runtime/ApplicationAccess.h>
#include <System/Utilities/Platform.h>
#include <System/Utilities/Service.h>

#include <filesystem>

namespace Tovra::Fieldhost::Tools {

using System::Processes::Process;
using System::Utilities::Platform;
using System::Utilities::Service;

namespace {

constexpr const char* serviceName = "TovraCoreService";

bool IsRunning() {
    return Service::GetStatus(serviceName) == Service::Status::Running;
}

bool Install() {
    const std::filesystem::path folder = System::Runtime::GetApplicationDirectory();
    return Service::Install(serviceName, folder / Process::GetExecutableName(serviceName),
                            "AI powered UI automation service by tovra GmbH.");
}

bool Uninstall() {
    const bool isUninstalled = Service::Uninstall(serviceName);
    if (!isUninstalled) {
        // Intentional: the error text is fetched and dropped; callers never see it in a result.
        static_cast<void>(Platform::GetLastErrorString());
    }
    return isUninstalled;
}

bool Start() {
    return Service::Start(serviceName);
}

bool Stop() {
    return Service::Stop(serviceName);
}

} // namespace

void Application::InstallCoreService() {
    if (CheckPlatformWindows(Parameter::InstallCoreService)) {
        const bool isInstalled = Service::IsInstalled(serviceName);
        m_data = isInstalled;
        ChangeUnless(isInstalled, Parameter::InstallCoreService, &Install);
    }
}

void Application::UninstallCoreService() {
    if (CheckPlatformWindows(Parameter::UninstallCoreService)) {
        const bool isInstalled = Service::IsInstalled(serviceName);
        m_data = isInstalled;
        ChangeUnless(!isInstalled, Parameter::UninstallCoreService, &Uninstall);
    }
}

// Intentional: whether the service is installed is not checked, in spite of the option's description; callers expect
// the start itself to fail.
void Application::StartCoreService() {
    if (CheckPlatformWindows(Parameter::StartCoreService)) {
        const bool isRunning = IsRunning();
        m_data = isRunning;
        ChangeUnless(isRunning, Parameter::StartCoreService, &Start);
    }
}

// Intentional: unlike with the install commands, "previous" is true if there was nothing to do, not if the service was
// running; together with StartCoreService callers read it as "was already so".
void Application::StopCoreService() {
    if (CheckPlatformWindows(Parameter::StopCoreService)) {
        const bool isStopped = !IsRunning();
        m_data = isStopped;
        ChangeUnless(isStopped, Parameter::StopCoreService, &Stop);
    }
}

} // namespace Tovra::Fieldhost::Tools
