#pragma once

#include <string>

namespace Tovra::System::FileSystem {
class Path;
}

namespace Tovra::System::Utilities {

/// The operating system's services, each addressed by its name. Inert on this platform: no argument is looked at, and
/// each function returns a constant. Any thread.
///
/// Each `XPlatform` is the host's part of `X` and returns the same.
class Service {
public:
    /// The state of a service; callers test only for `Running`.
    enum class Status : int { Unknown = 0, Running = 4 };

    /// Whether the service is known to the system. Here false.
    static bool IsInstalled(const std::string& name);
    static bool IsInstalledPlatform(const std::string& name);

    /// The state of the service. Here `Unknown`.
    static Status GetStatus(const std::string& name);
    static Status GetStatusPlatform(const std::string& name);

    /// Whether the service runs. Here false.
    static bool IsRunning(const std::string& name);
    static bool IsRunningPlatform(const std::string& name);

    /// Installs the executable at `path` as a service; `description` is shown to users. False on failure, and always
    /// here.
    static bool Install(const std::string& name, const FileSystem::Path& path, const std::string& description);
    static bool InstallPlatform(const std::string& name, const FileSystem::Path& path, const std::string& description);

    /// Removes the service from the system. False on failure, and always here.
    static bool Uninstall(const std::string& name);
    static bool UninstallPlatform(const std::string& name);

    /// Starts the installed service. False on failure, and always here.
    static bool Start(const std::string& name);
    static bool StartPlatform(const std::string& name);

    /// Stops the running service. False on failure, and always here.
    static bool Stop(const std::string& name);
    static bool StopPlatform(const std::string& name);
};

} // namespace Tovra::System::Utilities
