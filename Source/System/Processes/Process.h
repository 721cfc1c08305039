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

/// A process of the operating system, by its id. A plain value: it owns nothing, is copied freely, and may outlive the
/// process. Any thread; every operation runs on the calling one. A function that logs asserts that an application
/// exists.
class Process {
public:
    /// The process that owns the active window, or process 0.
    static Process GetActive();

    /// The process with that id if there is one, of whichever user; otherwise process 0.
    static Process Get(std::uint64_t id);

    /// The calling process.
    static Process GetCurrent();

    /// False for process 0; otherwise whether a process with this id exists, of whichever user.
    bool IsValid() const;

    /// The file name of a program's executable: on these hosts `name` itself, as there is no suffix.
    static std::string GetExecutableName(std::string_view name);

    /// Escapes an argument for `Start`, in place. Does nothing on these hosts.
    static void EscapeArgument(std::string& argument);

    /// Starts the program at exactly that path, as leader of a new session, with our open descriptors and an
    /// environment of `PATH=/usr/bin:/bin:/usr/sbin:/sbin` and, if they are set here, `HOME`, `USER`, `LOGNAME`,
    /// `TMPDIR`, `LANG`, `DISPLAY` and `XAUTHORITY`. Asserts that the program could be started.
    ///
    /// The caller must reap the child; its end is not reported.
    static Process Start(const FileSystem::Path& path, const std::vector<std::string>& arguments);

    /// Kills every process of that name, this one included. Asserts that the name is not empty.
    /// Intentional: true if one matched, even if none ended; callers ask whether there was one.
    static bool TerminateAll(std::string_view filterName);

    /// Calls the visitor for each process whose name equals the filter byte for byte, or for every process if the
    /// filter is empty, in the order of the system's table; returns the number of calls. The table is a snapshot: a
    /// process visited may be gone. A failure is logged and gives 0.
    ///
    /// Intentional: a process whose path can't be read goes by the name of the one before it; callers count on reaching
    /// both.
    static std::uint64_t ForEachProcess(const std::function<void(Process&)>& visitor, std::string_view filter);

    /// The process's id, 0 for no process.
    std::uint64_t GetId() const { return id; }

    /// Sets `name` to the display name of the application bundle that contains the executable, otherwise to the
    /// executable's file name, and returns the characters of `name`. If the path can't be read, that is logged and
    /// `name` is unchanged.
    const char* GetName(std::string& name) const;

    /// Brings the process's focused window to the front, for process 0 that of the frontmost application. False if
    /// there is none or it can't be raised.
    bool SetActive() const;

    /// True if the process exists, may be inspected and has the effective user id 0.
    bool IsElevated() const;

    /// Kills the process and logs whether that succeeded. Does nothing for process 0. In a visitor of `ForEachProcess`
    /// with a filter, the visited process is the one whose name was compared, or none if that one has ended since, even
    /// if its id is in use again; macOS can't tell.
    void Terminate() const;

    std::uint64_t id = 0; ///< The system's signed 32-bit id, sign-extended; 0 for no process.

private:
    // The rules behind the functions above, the same on both hosts. What differs stands in ProcessOperations.h.
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
