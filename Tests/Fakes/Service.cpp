#include <Fakes/Service.h>
#include <System/FileSystem/Path.h>

#include <cerrno>

namespace Tovra::System::Utilities {

using Tests::Fakes::service;

namespace {

template <class Answer>
Answer Record(const std::string& call, Answer answer) {
    service.calls.push_back(call);
    if (service.error != 0) {
        errno = service.error;
    }
    return answer;
}

} // namespace

bool Service::IsInstalledPlatform(const std::string& name) {
    return Record("IsInstalled " + name, service.isInstalled);
}

Service::Status Service::GetStatusPlatform(const std::string& name) {
    return Record("GetStatus " + name, service.status);
}

bool Service::IsRunningPlatform(const std::string& name) {
    return Record("IsRunning " + name, service.isRunning);
}

bool Service::InstallPlatform(const std::string& name, const FileSystem::Path& path, const std::string& description) {
    return Record("Install " + name + ' ' + path.ToString() + ' ' + description, service.install);
}

bool Service::UninstallPlatform(const std::string& name) {
    return Record("Uninstall " + name, service.uninstall);
}

bool Service::StartPlatform(const std::string& name) {
    return Record("Start " + name, service.start);
}

bool Service::StopPlatform(const std::string& name) {
    return Record("Stop " + name, service.stop);
}

} // namespace Tovra::System::Utilities
