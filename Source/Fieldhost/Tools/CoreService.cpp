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
        // Fetched and dropped: the reason must never reach the result.
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
        Change(Parameter::InstallCoreService, isInstalled, isInstalled, &Install);
    }
}

void Application::UninstallCoreService() {
    if (CheckPlatformWindows(Parameter::UninstallCoreService)) {
        const bool isInstalled = Service::IsInstalled(serviceName);
        Change(Parameter::UninstallCoreService, isInstalled, !isInstalled, &Uninstall);
    }
}

// Whether the service is installed is not looked at, whatever the option's description says: starting has to fail.
void Application::StartCoreService() {
    if (CheckPlatformWindows(Parameter::StartCoreService)) {
        const bool isRunning = IsRunning();
        Change(Parameter::StartCoreService, isRunning, isRunning, &Start);
    }
}

// Unlike the other commands this one shows as previous state whether there was nothing to do, not what was found:
// together with StartCoreService callers read it as "was already so".
void Application::StopCoreService() {
    if (CheckPlatformWindows(Parameter::StopCoreService)) {
        const bool isStopped = !IsRunning();
        Change(Parameter::StopCoreService, isStopped, isStopped, &Stop);
    }
}

} // namespace Tovra::Fieldhost::Tools
