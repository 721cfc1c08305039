#include <System/Utilities/Service.h>

namespace Tovra::System::Utilities {

bool Service::IsInstalled(const std::string& name) {
    return IsInstalledPlatform(name);
}

Service::Status Service::GetStatus(const std::string& name) {
    return GetStatusPlatform(name);
}

bool Service::IsRunning(const std::string& name) {
    return IsRunningPlatform(name);
}

bool Service::Install(const std::string& name, const FileSystem::Path& path, const std::string& description) {
    return InstallPlatform(name, path, description);
}

bool Service::Uninstall(const std::string& name) {
    return UninstallPlatform(name);
}

bool Service::Start(const std::string& name) {
    return StartPlatform(name);
}

bool Service::Stop(const std::string& name) {
    return StopPlatform(name);
}

} // namespace Tovra::System::Utilities
