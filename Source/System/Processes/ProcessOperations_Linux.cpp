#include <System/Processes/ProcessOperations.h>
#include <System/Utilities/Number.h>

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace Tovra::System::Processes {

namespace {

/// What a process goes by whose true name nobody knows. Nothing can be called so, as no file name holds a separator:
/// better that such a process is never found than that it is taken for another.
constexpr std::string_view namelessPath = "/";

/// A descriptor that is closed at the end of its scope; `errno` stays.
class Descriptor {
public:
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() {
        const int error = errno;
        close(m_number);
        errno = error;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Get() const { return m_number; }

private:
    int m_number;
};

/// The path of a process's entry in procfs. Our own goes by "self", which is right in the procfs of an outer process
/// namespace, too.
class EntryPath {
public:
    EntryPath(std::int32_t id, std::string_view entry) {
        Append("/proc/");
        if (id == getpid()) {
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

/// Reads the beginning of an entry and gives the number of bytes, or -1 with `errno`.
ssize_t ReadEntry(std::int32_t id, std::string_view entry, char* buffer, std::size_t size) {
    const Descriptor file(open(EntryPath(id, entry).Get(), O_RDONLY | O_CLOEXEC));
    return file.Get() < 0 ? -1 : read(file.Get(), buffer, size);
}

/// Reads an entry to its end; nothing, with `errno`, if it can't be read.
std::optional<std::string> ReadWholeEntry(std::int32_t id, std::string_view entry) {
    const Descriptor file(open(EntryPath(id, entry).Get(), O_RDONLY | O_CLOEXEC));
    std::array<char, 4096> part;
    std::string text;
    for (;;) {
        const ssize_t length = file.Get() < 0 ? -1 : read(file.Get(), part.data(), part.size());
        if (length <= 0) {
            return length < 0 ? std::nullopt : std::optional(text);
        }
        text.append(part.data(), static_cast<std::size_t>(length));
    }
}

/// What stands behind a field's name in the text of a status entry; empty if it has no such field.
std::string_view FindField(std::string_view status, std::string_view name) {
    const std::size_t found = status.find(name);
    return found == std::string_view::npos ? std::string_view{} : status.substr(found + name.size());
}

/// Whose numbers the mounted procfs shows: those of our own process namespace, or those of an outer one, in which each
/// of them names another process to us, or none.
enum class Numbers { Unknown, Ours, Others };

Numbers AskForNumbers() {
    // Whole, as the field that is looked for stands behind all the groups that we are in.
    const std::optional<std::string> status = ReadWholeEntry(getpid(), "status");
    if (!status) {
        return Numbers::Unknown;
    }
    std::string_view group = FindField(*status, "\nTgid:\t");
    if (Utilities::TakeNumber<std::int32_t>(group) != getpid()) {
        return Numbers::Others;
    }
    // Two namespaces may happen to give us the same number. This field lists ours from the namespace that is shown down
    // to our own; kernels without namespaces leave it out.
    std::string_view numbers = FindField(*status, "\nNSpid:\t");
    Utilities::TakeNumber<std::int32_t>(numbers);
    return numbers.starts_with('\t') ? Numbers::Others : Numbers::Ours;
}

/// Our own process namespace, which the inode of its file tells (namespaces(7)); 0 if that can't be told.
std::int64_t GetNamespace() {
    struct stat file = {};
    return stat(EntryPath(getpid(), "ns/pid").Get(), &file) == 0 ? static_cast<std::int64_t>(file.st_ino) : 0;
}

/// The same, asked once a namespace. A child may be in another one and have our number all the same, as the first
/// process of each has, and there are ways to make it that run no handler of `fork`.
Numbers GetNumbers() {
    /// The namespace in which was asked, with a minus sign if the numbers are others'.
    static std::atomic<std::int64_t> s_answer = 0;
    const std::int64_t own = GetNamespace();
    const std::int64_t answer = s_answer;
    if (own != 0 && (answer == own || answer == -own)) {
        return answer == own ? Numbers::Ours : Numbers::Others;
    }
    const Numbers numbers = AskForNumbers();
    if (numbers != Numbers::Unknown) {
        s_answer = numbers == Numbers::Ours ? own : -own;
    }
    return numbers;
}

/// Whether a number is a process's, of whichever user; otherwise `errno` is `ESRCH`. The kernel and procfs take the
/// number of any thread, which then stands for its whole process; as number of a process it is its first thread's
/// alone.
bool IsProcess(std::int32_t id) {
    return tgkill(id, id, 0) == 0 || errno != ESRCH;
}

/// Whether procfs may be asked about a process; otherwise `errno` is `ESRCH`.
bool IsShown(std::int32_t id) {
    if (id == getpid()) {
        return true;
    }
    if (GetNumbers() != Numbers::Ours) {
        errno = ESRCH;
        return false;
    }
    return IsProcess(id);
}

/// Writes the number of each process that procfs shows into a record, up to `capacity` of them. The number of records,
/// or -1 with `errno`: `ENOMEM` if there are more.
ssize_t FillProcessTable(char* records, std::size_t capacity) {
    const Descriptor folder(open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.Get() < 0) {
        return -1;
    }
    alignas(dirent64) std::array<char, 32768> entries;
    std::size_t count = 0;
    for (;;) {
        const ssize_t length = getdents64(folder.Get(), entries.data(), entries.size());
        if (length <= 0) {
            return length < 0 ? -1 : static_cast<ssize_t>(count);
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
                return -1;
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

/// Whether a process's executable really lies at a path: looked for from our root and, as it may see other mounts, from
/// the process's own.
bool LiesAt(std::int32_t id, const char* path) {
    struct stat executable = {};
    if (stat(EntryPath(id, "exe").Get(), &executable) != 0) {
        return false;
    }
    return IsSameFile(executable, path) ||
           IsSameFile(executable, (std::string(EntryPath(id, "root").Get()) + path).c_str());
}

/// Copies a path with its NUL and gives its length, or 0 if it is empty or does not fit.
int WritePath(std::string_view path, char* buffer, std::size_t size) {
    if (path.size() >= size) {
        return 0;
    }
    std::ranges::copy(path, buffer);
    buffer[path.size()] = '\0';
    return static_cast<int>(path.size());
}

/// The path that the kernel knows, or 0 where it tells none: it has none for its own threads and for what has ended,
/// and other users are not told.
int ReadExecutableLink(std::int32_t id, char* buffer, std::size_t size) {
    const ssize_t length = readlink(EntryPath(id, "exe").Get(), buffer, size);
    if (length < 1 || static_cast<std::size_t>(length) == size) {
        return 0;
    }
    buffer[length] = '\0';
    // The mark of an executable that was deleted or replaced since, unless the file's own name ends so.
    constexpr std::string_view mark = " (deleted)";
    std::string_view path(buffer, static_cast<std::size_t>(length));
    if (path.ends_with(mark) && !LiesAt(id, buffer)) {
        path.remove_suffix(mark.size());
        buffer[path.size()] = '\0';
    }
    return static_cast<int>(path.size());
}

/// The kernel cuts the name of a thread behind so many bytes, which programs of one family share.
constexpr std::size_t cutLength = 15;

/// The name of the process's first thread, as far as the kernel keeps it; empty if it can't be read. Nothing, with
/// `errno`, if there is no such process any more.
std::optional<std::string> ReadThreadName(std::int32_t id) {
    std::array<char, 64> text;
    const ssize_t length = ReadEntry(id, "comm", text.data(), text.size());
    if (length < 0 && (errno == ENOENT || errno == ESRCH)) {
        errno = ESRCH;
        return std::nullopt;
    }
    std::string name(text.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    if (name.ends_with('\n')) {
        name.pop_back(); // The entry's own; another one would belong to the name.
    }
    return name;
}

/// The first word of the command line, or 0 if it has none or does not name the program that runs: programs rewrite
/// their titles, and their callers choose what stands there at first. The name of the first thread tells.
int ReadFirstWord(std::int32_t id, std::string_view threadName, char* buffer, std::size_t size) {
    const ssize_t length = ReadEntry(id, "cmdline", buffer, size);
    const std::string_view words(buffer, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    const std::string_view word = words.substr(0, words.find('\0'));
    const std::string_view fileName = word.substr(word.rfind('/') + 1);
    if (fileName.empty() || word.size() == size || fileName.substr(0, cutLength) != threadName) {
        return 0;
    }
    buffer[word.size()] = '\0';
    return static_cast<int>(word.size());
}

/// The name of the first thread, if it is whole and may be a file's, since anything can stand in it.
int WriteThreadName(std::string_view name, char* buffer, std::size_t size) {
    const bool isName = !name.empty() && name.size() < cutLength && name.find('/') == std::string_view::npos;
    return WritePath(isName ? name : namelessPath, buffer, size);
}

} // namespace

int QueryProcessTable(void* buffer, std::size_t& size) {
    if (buffer == nullptr) {
        // The links of procfs's root count the processes of the whole machine besides its own folders. The slack is
        // that of the product's kernel.
        constexpr std::size_t slack = 5;
        struct stat root = {};
        if (stat("/proc", &root) != 0) {
            return -1;
        }
        size = (root.st_nlink + slack) * processRecordSize;
        return 0;
    }
    if (GetNumbers() != Numbers::Ours) {
        errno = ESRCH;
        return -1;
    }
    const ssize_t count = FillProcessTable(static_cast<char*>(buffer), size / processRecordSize);
    if (count < 0) {
        return -1;
    }
    size = static_cast<std::size_t>(count) * processRecordSize;
    return 0;
}

int SendSignal(std::int32_t id, int signal) {
    return IsProcess(id) ? kill(id, signal) : -1;
}

int GetProcessPath(std::int32_t id, char* buffer, std::uint32_t size) {
    if (!IsShown(id)) {
        return 0;
    }
    const int length = ReadExecutableLink(id, buffer, size);
    if (length > 0 || id == getpid()) {
        // Others are ended by our own name: better none than one that is guessed.
        return length;
    }
    const std::optional<std::string> threadName = ReadThreadName(id);
    if (!threadName) {
        return 0;
    }
    const int wordLength = ReadFirstWord(id, *threadName, buffer, size);
    return wordLength > 0 ? wordLength : WriteThreadName(*threadName, buffer, size);
}

int GetProcessInformation(std::int32_t id, void* buffer, int size) {
    if (!IsShown(id)) {
        return 0;
    }
    std::array<char, 4096> text;
    const ssize_t length = ReadEntry(id, "status", text.data(), text.size());
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
    // A signal that we ignore would stay ignored in the child, which knows nothing of it.
    sigset_t defaultSignals;
    sigemptyset(&defaultSignals);
    sigaddset(&defaultSignals, SIGPIPE);
    sigaddset(&defaultSignals, SIGXFSZ);
    posix_spawnattr_setsigdefault(&attributes, &defaultSignals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF);
    // Neither object is destroyed, as on the product; here they hold no memory.
    return posix_spawn(&id, path, &fileActions, &attributes, arguments, environment);
}

} // namespace Tovra::System::Processes
