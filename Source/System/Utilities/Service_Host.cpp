#include <System/Utilities/Service.h>

namespace Tovra::System::Utilities {

bool Service::IsInstalledPlatform(const std::string&) {
    return false;
}

Service::Status Service::GetStatusPlatform(const std::string&) {
    return Status::Unknown;
}

bool Service::IsRunningPlatform(const std::string&) {
    return false;
}

bool Service::InstallPlatform(const std::string&, const FileSystem::Path&, const std::string&) {
    return false;
}

bool Service::UninstallPlatform(const std::string&) {
    return false;
}

bool Service::StartPlatform(const std::string&) {
    return false;
}

bool Service::StopPlatform(const std::string&) {
    return false;
}

} // namespace Tovra::System::Utilities
