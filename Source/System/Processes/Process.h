#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Tovra::System::FileSystem {
class Path;
}

namespace Tovra::System::Processes {

/// A process of the operating system, by its number. A plain value: it owns nothing, is copied freely, and may outlive
/// the process that it names. Every operation runs on the calling thread. Whatever logs asserts that an application
/// exists.
class Process {
public:
    /// The process that owns the active window, or the process 0.
    static Process GetActive();

    /// The process of that number if there is one, of whichever user; otherwise the process 0.
    static Process Get(std::uint64_t id);

    /// The process that runs this code.
    static Process GetCurrent();

    /// False for the process 0, true as long as a process of this number exists, of whichever user.
    bool IsValid() const;

    /// The file name of the executable of a program: on these hosts the name itself, as there is no suffix.
    static std::string GetExecutableName(std::string_view name);

    /// Prepares an argument for `Start`, in place: on these hosts nothing needs it.
    static void EscapeArgument(std::string& argument);

    /// Starts the program at exactly that path, as leader of a session of its own, with our open descriptors and an
    /// environment of `PATH=/usr/bin:/bin:/usr/sbin:/sbin` and, where they are set here, `HOME`, `USER`, `LOGNAME`,
    /// `TMPDIR`, `LANG`, `DISPLAY` and `XAUTHORITY`. A program that can't be started is an assertion failure.
    ///
    /// The child is the caller's to reap; its end is not reported.
    static Process Start(const FileSystem::Path& path, const std::vector<std::string>& arguments);

    /// Kills every process of that name, this one included; true if one matched, whether or not it died. An empty name
    /// is an assertion failure.
    static bool TerminateAll(std::string_view filterName);

    /// Calls the visitor for each process whose name is byte for byte the filter, or for every one if the filter is
    /// empty, in the order of the system's table; gives the number of calls. The table is a snapshot: what is visited
    /// may be gone. A failure is logged and gives 0.
    ///
    /// A process without a readable path goes by the name of the one before it.
    static std::uint64_t ForEachProcess(const std::function<void(Process&)>& visitor, std::string_view filter);

    /// The process id that the object was made with, whether or not there is such a process.
    std::uint64_t GetId() const { return id; }

    /// Gives `name` the display name of the application bundle that the executable lies in, or otherwise the
    /// executable's file name, and returns its characters. A path that can't be read is logged and leaves `name` as it
    /// was.
    const char* GetName(std::string& name) const;

    /// Brings the process's focused window to the front, for the process 0 that of the frontmost application; false if
    /// there is none or it can't be raised.
    bool SetActive() const;

    /// True if the process exists, may be asked for and runs with the effective user 0.
    bool IsElevated() const;

    /// Kills the process unconditionally and logs whether that went well. Nothing happens for the process 0.
    void Terminate() const;

    std::uint64_t id = 0; ///< The system's signed 32-bit number, widened with its sign; 0 for no process.

private:
    static std::uint64_t GetProcessIdPlatform();
    bool IsValidPlatform() const;
    static std::string GetExecutableNamePlatform(std::string_view name);
    static void EscapeArgumentPlatform(std::string& argument);
    static Process StartPlatform(const FileSystem::Path& path, const std::vector<std::string>& arguments);
    static std::uint64_t ForEachProcessPlatform(const std::function<void(Process&)>& visitor, std::string_view filter);
    const char* GetNamePlatform(std::string& name) const;
    bool IsElevatedPlatform() const;
    void TerminatePlatform() const;
};

} // namespace Tovra::System::Processes
