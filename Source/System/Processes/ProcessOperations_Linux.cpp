#include <System/FileSystem/Descriptor.h>
#include <System/Processes/ProcessOperations.h>
#include <System/Utilities/Number.h>

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace Tovra::System::Processes {

using FileSystem::Descriptor;

namespace {

/// Name given to a process whose real name is unknown. No file name contains a separator, so nothing else has it: such
/// a process is never found, rather than taken for another.
constexpr std::string_view namelessPath = "/";

/// Stands for our own id in the path of an entry in procfs: that is right also in the procfs of an outer process
/// namespace.
constexpr std::int32_t ourselves = 0;

/// The path of a process's entry in procfs.
class EntryPath {
public:
    EntryPath(std::int32_t id, std::string_view entry) {
        Append("/proc/");
        if (id == ourselves) {
            Append("self");
        } else {
            m_end = std::to_chars(m_end, m_text.end(), id).ptr;
        }
        Append("/");
        Append(entry);
    }

    const char* Get() const { return m_text.data(); }

private:
    void Append(std::string_view text) { m_end = std::ranges::copy(text, m_end).out; }

    std::array<char, 32> m_text = {};
    char* m_end = m_text.data();
};

/// Reads the beginning of an entry and returns the number of bytes, or -1 with `errno`.
ssize_t ReadEntry(std::int32_t id, std::string_view entry, char* buffer, std::size_t size) {
    const Descriptor file(open(EntryPath(id, entry).Get(), O_RDONLY | O_CLOEXEC));
    return file.IsOpen() ? read(file.Get(), buffer, size) : -1;
}

/// The text after a field's name in a status entry; empty if there is no such field.
std::string_view FindField(std::string_view status, std::string_view name) {
    const std::size_t found = status.find(name);
    return found == std::string_view::npos ? std::string_view{} : status.substr(found + name.size());
}

/// The process namespace that the mounted procfs shows: our own, or an outer one, whose ids name other processes to us,
/// or none.
enum class ShownNamespace { Unknown, Ours, Other };

/// Reads our own status as far as a line that begins so, or to its end where there is none; nothing if it can't be
/// read.
std::optional<std::string> ReadStatus(std::string_view line) {
    const Descriptor file(open(EntryPath(ourselves, "status").Get(), O_RDONLY | O_CLOEXEC));
    std::array<char, 4096> part;
    std::string status;
    while (FindField(status, line).find('\n') == std::string_view::npos) {
        const ssize_t length = read(file.Get(), part.data(), part.size());
        if (length < 0) { // Also where the file could not be opened.
            return std::nullopt;
        }
        if (length == 0) {
            break;
        }
        status.append(part.data(), static_cast<std::size_t>(length));
    }
    return status;
}

ShownNamespace FindShownNamespace() {
    // This field lists our ids from the shown namespace down to our own; kernels without namespaces omit it. It comes
    // after all the groups that we are in.
    constexpr std::string_view idsField = "\nNSpid:\t";
    const std::optional<std::string> status = ReadStatus(idsField);
    if (!status) {
        return ShownNamespace::Unknown;
    }
    std::string_view group = FindField(*status, "\nTgid:\t");
    if (Utilities::TakeNumber<std::int32_t>(group) != getpid()) {
        return ShownNamespace::Other;
    }
    // Two namespaces may give us the same id.
    std::string_view ids = FindField(*status, idsField);
    Utilities::TakeNumber<std::int32_t>(ids);
    return ids.starts_with('\t') ? ShownNamespace::Other : ShownNamespace::Ours;
}

/// The inode that identifies our process namespace (namespaces(7)); 0 if it can't be read.
std::int64_t GetNamespace() {
    struct stat file = {};
    return stat(EntryPath(ourselves, "ns/pid").Get(), &file) == 0 ? static_cast<std::int64_t>(file.st_ino) : 0;
}

/// The same, found once for each namespace that we are in. A child process may be in another one under the same id, as
/// the first process of each is, and may have been created in a way that runs no handler of `fork`.
ShownNamespace GetShownNamespace() {
    /// The namespace that we were in at the last look, negative if procfs showed another one.
    static std::atomic<std::int64_t> s_found;
    const std::int64_t own = GetNamespace();
    const std::int64_t found = s_found;
    if (own != 0 && (found == own || found == -own)) {
        return found == own ? ShownNamespace::Ours : ShownNamespace::Other;
    }
    const ShownNamespace shown = FindShownNamespace();
    if (shown != ShownNamespace::Unknown) {
        s_found = shown == ShownNamespace::Ours ? own : -own;
    }
    return shown;
}

/// Whether an id is a process's, of any user; otherwise `errno` is `ESRCH`. The kernel and procfs also accept the id of
/// a thread for its process, but a process's id is that of its first thread alone.
bool IsProcess(std::int32_t id) {
    return tgkill(id, id, 0) == 0 || errno != ESRCH;
}

/// The id by which procfs has an entry of this process; nothing, with `errno` `ESRCH`, if it has none.
std::optional<std::int32_t> FindEntry(std::int32_t id) {
    if (id == getpid()) {
        return ourselves;
    }
    if (id < 1 || GetShownNamespace() != ShownNamespace::Ours || !IsProcess(id)) {
        errno = ESRCH;
        return std::nullopt;
    }
    return id;
}

/// Writes the id of each process in procfs into a record, up to `capacity` of them. Returns the number of records, or
/// nothing, with `errno`: `ENOMEM` if there are more.
std::optional<std::size_t> FillProcessTable(char* records, std::size_t capacity) {
    const Descriptor folder(open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.IsOpen()) {
        return std::nullopt;
    }
    // Some hundred entries: a larger buffer costs a start more, by its untouched pages, than it spares in calls.
    alignas(dirent64) std::array<char, 4096> entries;
    std::size_t count = 0;
    for (;;) {
        const ssize_t length = getdents64(folder.Get(), entries.data(), entries.size());
        if (length < 0) {
            return std::nullopt;
        }
        if (length == 0) {
            return count;
        }
        for (ssize_t offset = 0; offset < length;) {
            const auto* const entry = reinterpret_cast<const dirent64*>(entries.data() + offset);
            offset += entry->d_reclen;
            std::string_view name = entry->d_name;
            const auto id = Utilities::TakeNumber<std::int32_t>(name);
            if (!id || !name.empty()) {
                continue;
            }
            if (count == capacity) {
                errno = ENOMEM;
                return std::nullopt;
            }
            std::memcpy(records + count * processRecordSize + processRecordIdOffset, &*id, sizeof(*id));
            ++count;
        }
    }
}

bool IsSameFile(const struct stat& file, const char* path) {
    struct stat other = {};
    return stat(path, &other) == 0 && other.st_dev == file.st_dev && other.st_ino == file.st_ino;
}

/// Whether a process's executable is really at a path, seen from our root or, as it may have other mounts, from the
/// process's own.
bool LiesAt(std::int32_t id, const char* path) {
    struct stat executable = {};
    if (stat(EntryPath(id, "exe").Get(), &executable) != 0) {
        return false;
    }
    return IsSameFile(executable, path) ||
           IsSameFile(executable, (std::string(EntryPath(id, "root").Get()) + path).c_str());
}

/// Copies a path with its NUL and returns its length, or 0 if it is empty or does not fit.
int WritePath(std::string_view path, char* buffer, std::size_t size) {
    if (path.size() >= size) {
        return 0;
    }
    buffer[path.copy(buffer, path.size())] = '\0';
    return static_cast<int>(path.size());
}

/// Writes the path from the kernel's link and returns its length, or 0 if there is none: kernel threads and ended
/// processes have none, and other users may not read it.
int ReadExecutableLink(std::int32_t id, char* buffer, std::size_t size) {
    const ssize_t length = readlink(EntryPath(id, "exe").Get(), buffer, size);
    if (length < 1 || static_cast<std::size_t>(length) == size) {
        return 0;
    }
    buffer[length] = '\0';
    // Marks an executable that was deleted or replaced since, unless the file's own name ends so.
    constexpr std::string_view mark = " (deleted)";
    std::string_view path(buffer, static_cast<std::size_t>(length));
    if (path.ends_with(mark) && !LiesAt(id, buffer)) {
        path.remove_suffix(mark.size());
        buffer[path.size()] = '\0';
    }
    return static_cast<int>(path.size());
}

/// The kernel truncates the name of a thread to so many bytes, which this system's programs have in common.
constexpr std::size_t truncatedLength = 15;

/// The truncated name of the process's first thread; empty if it can't be read. Nothing, with `errno`, if there is no
/// such process any more.
std::optional<std::string> ReadThreadName(std::int32_t id) {
    std::array<char, 64> text;
    const ssize_t length = ReadEntry(id, "comm", text.data(), text.size());
    if (length < 0 && (errno == ENOENT || errno == ESRCH)) {
        errno = ESRCH;
        return std::nullopt;
    }
    std::string name(text.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    if (name.ends_with('\n')) {
        name.pop_back(); // Ends the entry; another one would belong to the name.
    }
    return name;
}

/// Writes the first word of the command line and returns its length, or 0 if it does not name the running program.
/// Programs rewrite their titles, and whoever starts one chooses the word, so it counts only if the name of the first
/// thread agrees.
int ReadFirstWord(std::int32_t id, std::string_view threadName, char* buffer, std::size_t size) {
    const ssize_t length = ReadEntry(id, "cmdline", buffer, size);
    const std::string_view words(buffer, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    const std::string_view word = words.substr(0, words.find('\0'));
    const std::string_view fileName = word.substr(word.rfind('/') + 1);
    if (fileName.empty() || word.size() == size || fileName.substr(0, truncatedLength) != threadName) {
        return 0;
    }
    buffer[word.size()] = '\0';
    return static_cast<int>(word.size());
}

/// Writes the name of the first thread if it is not truncated and can be a file's, since it may be any text.
int WriteThreadName(std::string_view name, char* buffer, std::size_t size) {
    const bool isName = !name.empty() && name.size() < truncatedLength && name.find('/') == std::string_view::npos;
    return WritePath(isName ? name : namelessPath, buffer, size);
}

/// Writes the path that is known of a process without its link, and returns its length, or 0 with `errno`.
int GuessPath(std::int32_t id, char* buffer, std::size_t size) {
    const std::optional<std::string> threadName = ReadThreadName(id);
    if (!threadName) {
        return 0;
    }
    const int length = ReadFirstWord(id, *threadName, buffer, size);
    return length > 0 ? length : WriteThreadName(*threadName, buffer, size);
}

} // namespace

int QueryProcessTable(void* buffer, std::size_t& size) {
    if (buffer == nullptr) {
        // The link count of procfs's root is that of its own folders and of all the machine's processes. The product's
        // kernel leaves the same slack.
        constexpr std::size_t slack = 5;
        struct stat root = {};
        if (stat("/proc", &root) != 0) {
            return -1;
        }
        size = (root.st_nlink + slack) * processRecordSize;
        return 0;
    }
    if (GetShownNamespace() != ShownNamespace::Ours) {
        errno = ESRCH;
        return -1;
    }
    const std::optional<std::size_t> count = FillProcessTable(static_cast<char*>(buffer), size / processRecordSize);
    if (!count) {
        return -1;
    }
    size = *count * processRecordSize;
    return 0;
}

int SendSignal(std::int32_t id, int signal) {
    if (signal == 0 && id > 0) {
        return tgkill(id, id, 0); // Checks as `kill` does, and that the id is not just a thread's.
    }
    return IsProcess(id) ? kill(id, signal) : -1;
}

int HoldProcess(std::int32_t id) {
    // By `syscall`, as C libraries before glibc 2.36 lack the function.
    const auto held = static_cast<int>(syscall(SYS_pidfd_open, id, 0));
    if (held < 0 && errno == EPERM) {
        errno = ENOSYS; // The call itself never fails so; a container's filter does, for calls that it doesn't know.
    }
    return held;
}

void ReleaseProcess(int held) {
    close(held);
}

int SendSignalToHeld(int held, int signal) {
    return static_cast<int>(syscall(SYS_pidfd_send_signal, held, signal, nullptr, 0));
}

int GetProcessPath(std::int32_t id, char* buffer, std::uint32_t size) {
    const std::optional<std::int32_t> entry = FindEntry(id);
    if (!entry) {
        return 0;
    }
    const int length = ReadExecutableLink(*entry, buffer, size);
    // Other processes are ended by our own name: better none than a guessed one.
    return length > 0 || entry == ourselves ? length : GuessPath(*entry, buffer, size);
}

int GetListedProcessPath(std::int32_t id, char* buffer, std::uint32_t size) {
    // The table was read from our own namespace, and lists processes only.
    const int length = ReadExecutableLink(id, buffer, size);
    return length > 0 || id == getpid() ? length : GuessPath(id, buffer, size);
}

int GetProcessInformation(std::int32_t id, void* buffer, int size) {
    const std::optional<std::int32_t> entry = FindEntry(id);
    if (!entry) {
        return 0;
    }
    std::array<char, 4096> text;
    const ssize_t length = ReadEntry(*entry, "status", text.data(), text.size());
    if (length < 0) {
        return 0;
    }
    std::string_view users = FindField({text.data(), static_cast<std::size_t>(length)}, "\nUid:\t");
    Utilities::TakeNumber<std::uint32_t>(users);
    users.remove_prefix(std::min<std::size_t>(users.size(), 1));
    const auto effectiveUser = Utilities::TakeNumber<std::uint32_t>(users);
    if (!effectiveUser || static_cast<std::size_t>(size) < processInformationSize) {
        errno = EINVAL;
        return 0;
    }
    std::memset(buffer, 0, processInformationSize);
    std::memcpy(static_cast<char*>(buffer) + processInformationUserOffset, &*effectiveUser, sizeof(*effectiveUser));
    return static_cast<int>(processInformationSize);
}

bool GetBundleName(const char*, std::size_t, char*, std::size_t) {
    // This host has no application bundles.
    return false;
}

int SpawnProcess(std::int32_t& id, const char* path, char* const* arguments, char* const* environment) {
    posix_spawn_file_actions_t fileActions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&fileActions);
    posix_spawnattr_init(&attributes);
    // The child would inherit that we ignore these.
    sigset_t defaultSignals;
    sigemptyset(&defaultSignals);
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
        sigaddset(&defaultSignals, signal);
    }
    posix_spawnattr_setsigdefault(&attributes, &defaultSignals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF);
    // Intentional: neither object is destroyed, as on the product; here they own no memory.
    return posix_spawn(&id, path, &fileActions, &attributes, arguments, environment);
}

} // namespace Tovra::System::Processes
