#include <System/Error/Assertion.h>
#include <System/FileSystem/Path.h>
#include <System/Log/Log.h>
#include <System/Processes/Process.h>
#include <System/Processes/ProcessOperations.h>
#include <System/Processes/ProcessWindow.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

TOVRA_LOG_CONTEXT(System);

namespace Tovra::System::Processes {

namespace {

constexpr std::size_t maximumPathSize = 4096;
constexpr std::size_t maximumBundleNameSize = 256;

struct TableDeleter {
    void operator()(void* buffer) const { FreeProcessTable(buffer); }
};

struct ProcessTable {
    std::unique_ptr<void, TableDeleter> buffer;
    std::size_t recordCount = 0;
};

/// The system's id of a process; -1, which is no process's, for an id beyond the system's range.
std::int32_t ToSystemId(std::uint64_t id) {
    return id <= std::numeric_limits<std::int32_t>::max() ? static_cast<std::int32_t>(id) : -1;
}

/// Sends a signal to one process. The system takes an id below 1 for a group of processes or even all of them; here it
/// is an error (`ESRCH`).
bool TrySendSignal(std::uint64_t id, int signal) {
    const std::int32_t systemId = ToSystemId(id);
    if (systemId < 1) {
        errno = ESRCH;
        return false;
    }
    return SendSignal(systemId, signal) == 0;
}

/// Whether a process with that id exists. One of another user can't be signalled, but exists.
bool Exists(std::uint64_t id) {
    return TrySendSignal(id, 0) || errno == EPERM;
}

/// The text in a buffer, up to its first NUL byte.
template <std::size_t size>
std::string_view GetText(const std::array<char, size>& buffer) {
    const std::string_view text(buffer.data(), size);
    return text.substr(0, text.find('\0'));
}

/// The last component of a path without trailing separators, as POSIX's basename(3) returns it.
std::string_view GetBaseName(std::string_view path) {
    if (path.empty()) {
        return ".";
    }
    const std::size_t last = path.find_last_not_of('/');
    if (last == std::string_view::npos) {
        return "/";
    }
    path = path.substr(0, last + 1);
    return path.substr(path.rfind('/') + 1);
}

/// The path up to the end of the first ".app".
/// Intentional: even in the middle of a folder's name; if no bundle is there, callers use the whole path.
std::string_view CutBehindBundle(std::string_view path) {
    constexpr std::string_view suffix = ".app";
    const std::size_t found = path.find(suffix);
    return found == std::string_view::npos ? path : path.substr(0, found + suffix.size());
}

/// Replaces `name` by that of a process, whose path one of the two functions of the seam gives. False, with `errno` and
/// with `name` untouched, if its path can't be read.
bool ReadName(std::int32_t id, std::string& name, decltype(GetProcessPath) getPath) {
    std::array<char, maximumPathSize> buffer = {};
    if (getPath(id, buffer.data(), maximumPathSize) < 1) {
        return false;
    }
    const std::string_view path = GetText(buffer);
    const std::string_view bundle = CutBehindBundle(path);
    std::array<char, maximumBundleNameSize> bundleName = {};
    if (GetBundleName(bundle.data(), bundle.size(), bundleName.data(), bundleName.size())) {
        // Intentional: a name too long for the buffer becomes empty; nothing is ever ended by half of its name.
        name = GetText(bundleName);
    } else {
        // Of the whole path: the cut one may end in the name of a folder, such as "x.application".
        name = GetBaseName(path);
    }
    return true;
}

void LogMissingName() {
    TOVRA_LOG(System, Warning, "Failed to obtain name of process: ", std::strerror(errno));
}

/// The process that this thread is visiting: its id may be another's by the time that it is to be ended. So it is held
/// first, and asked for its name again. On a system that can't hold processes the id alone counts.
class VisitedProcess {
public:
    /// `name`, which lives on, is the one by which the process was chosen: its own, or that of the process before it.
    VisitedProcess(std::uint64_t id, std::string_view name, bool isOwnName)
        : m_id(id), m_name(name), m_isOwnName(isOwnName), m_outer(s_innermost) {
        s_innermost = this;
    }
    ~VisitedProcess() { s_innermost = m_outer; }
    VisitedProcess(const VisitedProcess&) = delete;
    VisitedProcess& operator=(const VisitedProcess&) = delete;

    /// The visited process of that id, the outer one of nested visits too; null if there is none.
    static const VisitedProcess* Find(std::uint64_t id) {
        const VisitedProcess* visited = s_innermost;
        while (visited != nullptr && visited->m_id != id) {
            visited = visited->m_outer;
        }
        return visited;
    }

    bool TrySendSignal(int signal) const {
        const int held = HoldProcess(ToSystemId(m_id));
        if (held < 0) {
            return errno == ENOSYS && Processes::TrySendSignal(m_id, signal);
        }
        std::string name;
        const bool isNamed = ReadName(ToSystemId(m_id), name, GetProcessPath);
        const bool isTheSame = isNamed ? name == m_name : !m_isOwnName;
        const bool isSent = isTheSame && SendSignalToHeld(held, signal) == 0;
        ReleaseProcess(held);
        return isSent;
    }

private:
    inline static thread_local const VisitedProcess* s_innermost = nullptr;

    std::uint64_t m_id;
    std::string_view m_name;
    bool m_isOwnName;
    const VisitedProcess* m_outer;
};

/// Kills the visited process of that id, if there is one, otherwise the process that has it.
bool TryKill(std::uint64_t id) {
    const VisitedProcess* const visited = VisitedProcess::Find(id);
    return visited != nullptr ? visited->TrySendSignal(SIGKILL) : TrySendSignal(id, SIGKILL);
}

/// The environment of a child: a search path of our own, and the variables that identify the session, with the display
/// and its authority. No other variable is passed on, since a user who starts the tool as root may have set it.
std::vector<std::string> GetChildEnvironment() {
    std::vector<std::string> environment = {"PATH=/usr/bin:/bin:/usr/sbin:/sbin"};
    for (const char* const name : {"HOME", "USER", "LOGNAME", "TMPDIR", "LANG", "DISPLAY", "XAUTHORITY"}) {
        if (const char* const value = std::getenv(name)) {
            environment.push_back(std::string(name) + '=' + value);
        }
    }
    return environment;
}

/// Pointers to the texts, ended by a null pointer; valid as long as the texts.
std::vector<char*> ToNullTerminated(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    std::ranges::transform(texts, std::back_inserter(pointers), [](std::string& text) { return text.data(); });
    pointers.push_back(nullptr);
    return pointers;
}

/// Reads the process table; an empty one, and a line in the log, on failure.
/// Intentional: no further attempt; a table that grew between the two queries is a failure.
ProcessTable ReadProcessTable() {
    std::size_t size = 0;
    if (QueryProcessTable(nullptr, size) < 0) {
        TOVRA_LOG(System, Error, "Failed to get process count.");
        return {};
    }
    ProcessTable table = {.buffer{AllocateProcessTable(size)}};
    if (table.buffer == nullptr) {
        TOVRA_LOG(System, Error, "Failed to allocate process structure.");
        return {};
    }
    if (QueryProcessTable(table.buffer.get(), size) < 0) {
        TOVRA_LOG(System, Error, "Failed to retrieve process information.");
        return {};
    }
    table.recordCount = size / processRecordSize;
    return table;
}

/// The process of a record, with the id as it stands there, even if it is 0, the kernel's.
Process GetProcess(const ProcessTable& table, std::size_t index) {
    std::int32_t systemId{};
    std::memcpy(&systemId,
                static_cast<const char*>(table.buffer.get()) + index * processRecordSize + processRecordIdOffset,
                sizeof(systemId));
    return {static_cast<std::uint64_t>(systemId)};
}

} // namespace

Process Process::GetActive() {
    return Get(ProcessWindow::GetActive().GetProcessId());
}

Process Process::Get(std::uint64_t id) {
    return {Exists(id) ? id : 0};
}

Process Process::GetCurrent() {
    return Get(GetProcessIdPlatform());
}

bool Process::IsValid() const {
    return IsValidPlatform();
}

std::string Process::GetExecutableName(std::string_view name) {
    return GetExecutableNamePlatform(name);
}

void Process::EscapeArgument(std::string& argument) {
    EscapeArgumentPlatform(argument);
}

Process Process::Start(const FileSystem::Path& path, const std::vector<std::string>& arguments) {
    return StartPlatform(path, arguments);
}

bool Process::TerminateAll(std::string_view filterName) {
    TOVRA_ASSERT(!filterName.empty(), "Parameter 'filterName' must be non-null and non-empty.");
    return ForEachProcessPlatform([](Process& process) { process.TerminatePlatform(); }, filterName) != 0;
}

std::uint64_t Process::ForEachProcess(const std::function<void(Process&)>& visitor, std::string_view filter) {
    return ForEachProcessPlatform(visitor, filter);
}

const char* Process::GetName(std::string& name) const {
    return GetNamePlatform(name);
}

bool Process::SetActive() const {
    const ProcessWindow window = ProcessWindow::Get(*this);
    return window.handle != 0 && window.SetActive();
}

bool Process::IsElevated() const {
    return IsElevatedPlatform();
}

void Process::Terminate() const {
    TerminatePlatform();
}

std::uint64_t Process::GetProcessIdPlatform() {
    return static_cast<std::uint64_t>(GetCurrentProcessId());
}

bool Process::IsValidPlatform() const {
    return Exists(id);
}

std::string Process::GetExecutableNamePlatform(std::string_view name) {
    return std::string(name);
}

void Process::EscapeArgumentPlatform(std::string&) {}

Process Process::StartPlatform(const FileSystem::Path& path, const std::vector<std::string>& arguments) {
    std::vector<std::string> texts = {path.ToString()};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environment = GetChildEnvironment();
    std::int32_t childId{};
    const int error = SpawnProcess(childId, texts.front().c_str(), ToNullTerminated(texts).data(),
                                   ToNullTerminated(environment).data());
    if (error != 0) {
        TOVRA_FAIL(("Failed to start process: " + path.ToString()).c_str());
    }
    return {static_cast<std::uint64_t>(childId)};
}

std::uint64_t Process::ForEachProcessPlatform(const std::function<void(Process&)>& visitor, std::string_view filter) {
    const ProcessTable table = ReadProcessTable();
    std::uint64_t visits = 0;
    // Intentional: not cleared between the records; a process whose path can't be read goes by the name of the one
    // before it, and callers that end all processes of a name count on reaching both.
    std::string name;
    for (std::size_t index = 0; index < table.recordCount; ++index) {
        Process process = GetProcess(table, index);
        if (filter.empty()) {
            visitor(process);
            ++visits;
            continue;
        }
        const bool isOwnName = ReadName(ToSystemId(process.id), name, GetListedProcessPath);
        if (!isOwnName) {
            LogMissingName();
        }
        if (name == filter) {
            const VisitedProcess visited(process.id, filter, isOwnName);
            visitor(process);
            ++visits;
        }
    }
    return visits;
}

const char* Process::GetNamePlatform(std::string& name) const {
    if (!ReadName(ToSystemId(id), name, GetProcessPath)) {
        LogMissingName();
    }
    return name.c_str();
}

bool Process::IsElevatedPlatform() const {
    if (id == 0) {
        return false;
    }
    std::array<char, processInformationSize> information = {};
    if (GetProcessInformation(ToSystemId(id), information.data(), static_cast<int>(information.size())) !=
        static_cast<int>(information.size())) {
        return false;
    }
    std::uint32_t userId{};
    std::memcpy(&userId, information.data() + processInformationUserOffset, sizeof(userId));
    return userId == 0;
}

void Process::TerminatePlatform() const {
    if (id == 0) {
        return;
    }
    if (TryKill(id)) {
        TOVRA_LOG(System, Info, "Process '", id, "' terminated successfully.");
    } else {
        TOVRA_LOG(System, Info, "Process '", id, "' termination failed.");
    }
}

} // namespace Tovra::System::Processes
