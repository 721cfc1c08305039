// Oracle: a model of the rule for names, and the C library's basename, strtoll and sscanf
// Reaches: Tovra::System::Processes::GetProcessPath Tovra::System::Processes::GetProcessInformation
// Reaches: Tovra::System::Processes::QueryProcessTable Tovra::System::Processes::Process::GetName

#include <System/Processes/Process.h>
#include <System/Processes/ProcessOperations.h>
#include <System/Runtime/Application.h>

#include <Fuzz/Input.h>
#include <Fuzz/Outcome.h>
#include <dirent.h>
#include <fcntl.h>
#include <libgen.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace Fuzz = Tovra::Tests::Fuzz;
namespace Processes = Tovra::System::Processes;

using Fuzz::Expect;
using Fuzz::Outcome;

Outcome s_link("a name from the link");
Outcome s_deleted("an executable that was deleted");
Outcome s_kept("a file whose own name ends like a deleted one's");
Outcome s_word("a name from the command line");
Outcome s_title("a command line that is not the program's name");
Outcome s_thread("a name from the first thread");
Outcome s_nameless("a process without a name of its own");
Outcome s_hidden("a process table of another namespace");
Outcome s_elevated("an elevated process");
Outcome s_ordinary("a process that is not elevated");
Outcome s_table("a process table with processes");
Outcome s_grown("a process table that has grown");

/// The process table in procfs, and one process, which has `id`, in it.
struct Machine {
    std::map<std::string, std::string> files; ///< By their paths.
    std::optional<std::string> link;
    std::string executable; ///< Where its executable can be found.
    int error = EACCES;     ///< Of reading what is not there.
    bool isGone = false;
    bool hasNamespace = true;
    ino_t nameSpace = 0;
    nlink_t linkCount = 0;
    std::vector<std::string> entries;
};

Machine s_machine;

/// A file of procfs that is open; descriptors of the others are the system's.
struct OpenFile {
    std::string content;
    std::size_t position = 0;
};

constexpr int firstDescriptor = 1'000'000;
std::map<int, OpenFile> s_openFiles;

int Fail(int error) {
    errno = error;
    return -1;
}

bool IsInProcfs(const char* path) {
    return std::string_view(path) == "/proc" || std::string_view(path).starts_with("/proc/4242/") ||
           std::string_view(path).starts_with("/proc/self/status") ||
           std::string_view(path).starts_with("/proc/self/exe") ||
           std::string_view(path).starts_with("/proc/self/ns/pid") ||
           std::string_view(path).starts_with("/proc/self/root");
}

/// The entries of the process table as the system call gives them.
std::string MakeDirectory(const std::vector<std::string>& names) {
    std::string content;
    for (const std::string& name : names) {
        dirent64 entry{};
        entry.d_reclen = static_cast<unsigned short>((offsetof(dirent64, d_name) + name.size() + 1 + 7) / 8 * 8);
        name.copy(entry.d_name, sizeof entry.d_name - 1);
        content.append(reinterpret_cast<const char*>(&entry), entry.d_reclen);
    }
    return content;
}

} // namespace

// The system's functions, which answer from the machine where it is asked for procfs.
extern "C" {

int __real_open(const char* path, int flags, ...);
int __real_close(int descriptor);
ssize_t __real_read(int descriptor, void* buffer, std::size_t size);
ssize_t __real_readlink(const char* path, char* buffer, std::size_t size);
int __real_stat(const char* path, struct stat* file);
ssize_t __real_getdents64(int descriptor, void* buffer, std::size_t size);

int __wrap_open(const char* path, int flags, ...) {
    if (!IsInProcfs(path)) {
        std::va_list arguments;
        va_start(arguments, flags);
        const mode_t mode = va_arg(arguments, mode_t);
        va_end(arguments);
        return __real_open(path, flags, mode);
    }
    const std::string name = path;
    const auto file = s_machine.files.find(name);
    if (name != "/proc" && file == s_machine.files.end()) {
        return Fail(s_machine.error);
    }
    const int descriptor = firstDescriptor + static_cast<int>(s_openFiles.size());
    s_openFiles[descriptor] = {.content = name == "/proc" ? MakeDirectory(s_machine.entries) : file->second};
    return descriptor;
}

int __wrap_close(int descriptor) {
    if (s_openFiles.erase(descriptor) > 0) {
        errno = EIO; // A caller's error must be left alone.
        return -1;
    }
    return __real_close(descriptor);
}

ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size) {
    const auto file = s_openFiles.find(descriptor);
    if (file == s_openFiles.end()) {
        return __real_read(descriptor, buffer, size);
    }
    const std::size_t length = file->second.content.copy(static_cast<char*>(buffer), size, file->second.position);
    file->second.position += length;
    return static_cast<ssize_t>(length);
}

ssize_t __wrap_getdents64(int descriptor, void* buffer, std::size_t size) {
    const auto file = s_openFiles.find(descriptor);
    if (file == s_openFiles.end()) {
        return __real_getdents64(descriptor, buffer, size);
    }
    // Whole entries alone.
    auto& [content, position] = file->second;
    std::size_t length = 0;
    while (position + length < content.size()) {
        dirent64 entry{};
        std::memcpy(&entry, content.data() + position + length, offsetof(dirent64, d_name));
        if (length + entry.d_reclen > size) {
            break;
        }
        length += entry.d_reclen;
    }
    std::memcpy(buffer, content.data() + position, length);
    position += length;
    return static_cast<ssize_t>(length);
}

ssize_t __wrap_readlink(const char* path, char* buffer, std::size_t size) {
    if (!IsInProcfs(path)) {
        return __real_readlink(path, buffer, size);
    }
    return s_machine.link ? static_cast<ssize_t>(s_machine.link->copy(buffer, size)) : Fail(s_machine.error);
}

int __wrap_stat(const char* path, struct stat* file) {
    const std::string_view name = path;
    constexpr ino_t executable = 77;
    if (name.ends_with("/exe") && IsInProcfs(path)) {
        file->st_ino = executable;
        return s_machine.link ? 0 : Fail(s_machine.error);
    }
    if (name == s_machine.executable) {
        file->st_ino = executable;
        return 0;
    }
    if (name == "/proc") {
        file->st_nlink = s_machine.linkCount;
        return 0;
    }
    if (name == "/proc/self/ns/pid") {
        file->st_ino = s_machine.nameSpace;
        return s_machine.hasNamespace ? 0 : Fail(EACCES);
    }
    return IsInProcfs(path) ? Fail(ENOENT) : __real_stat(path, file);
}

int __wrap_tgkill(pid_t, pid_t, int signal) {
    Expect(signal == 0, "no signal is sent");
    return s_machine.isGone ? Fail(ESRCH) : 0;
}

int __wrap_kill(pid_t, int) {
    Expect(false, "no signal is sent");
    return -1;
}

int __wrap_posix_spawn(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*, char* const*,
                       char* const*) {
    Expect(false, "no process is started");
    return -1;
}
}

namespace {

constexpr int otherId = 4242;

/// What the input says of the machine, a line for each property.
struct Scene {
    explicit Scene(std::string_view text) {
        std::optional<std::string> ownStatus = "Name:\tme\nTgid:\t$\nNSpid:\t$\nUid:\t1\t1\t1\t1\n";
        for (const std::string& line : Fuzz::GetLines(text)) {
            const std::string name = line.substr(0, line.find('='));
            std::string value = Fuzz::Unescape(line.substr(std::min(line.find('=') + 1, line.size())));
            if (name == "link") {
                // No path has any, and none is empty.
                value = RemoveNul(value);
                link = value.empty() ? std::nullopt : std::optional(value);
            } else if (name == "comm") {
                comm = RemoveNul(value);
            } else if (name == "cmdline") {
                commandLine = value;
            } else if (name == "status") {
                status = value;
            } else if (name == "self") {
                ownStatus = value;
            } else if (name == "size" || name == "room" || name == "links") {
                (name == "size" ? bufferSize : name == "room" ? room : linkCount) = ReadSize(value);
            } else if (name == "entry" && value.size() < 256) {
                s_machine.entries.push_back(RemoveNul(value));
            }
            isOwn |= line == "own";
            isThere |= line == "there";
            isThereForIt |= line == "there for it";
            isGone |= line == "gone";
            isEnding |= line == "ending";
            hasNamespace &= line != "without namespaces";
        }
        for (std::size_t mark = 0; (mark = ownStatus->find('$')) != std::string::npos;) {
            ownStatus->replace(mark, 1, std::to_string(getpid()));
        }
        self = *ownStatus;
    }

    static std::string RemoveNul(std::string text) {
        std::erase(text, '\0');
        return text;
    }

    static std::size_t ReadSize(const std::string& text) {
        constexpr std::size_t largest = 999;
        return std::min<std::size_t>(largest, std::strtoul(text.c_str(), nullptr, 10));
    }

    /// Makes procfs as it is described.
    void SetUp() const {
        static ino_t s_nameSpace = 1000;
        const std::string folder = isOwn ? "/proc/self/" : "/proc/4242/";
        s_machine.files = {{"/proc/self/status", self}};
        const auto add = [&folder](const char* name, const std::optional<std::string>& content) {
            if (content) {
                s_machine.files.emplace(folder + name, *content);
            }
        };
        add("comm", comm);
        add("cmdline", commandLine);
        add("status", status);
        s_machine.link = link;
        s_machine.executable = isThere ? link.value_or("") : isThereForIt ? folder + "root" + link.value_or("") : "";
        s_machine.error = isEnding ? ESRCH : EACCES;
        s_machine.isGone = isGone;
        s_machine.hasNamespace = hasNamespace;
        s_machine.nameSpace = ++s_nameSpace;
        s_machine.linkCount = linkCount;
    }

    int GetId() const { return isOwn ? getpid() : otherId; }

    std::optional<std::string> link;
    std::optional<std::string> comm;
    std::optional<std::string> commandLine;
    std::optional<std::string> status;
    std::string self;
    std::size_t bufferSize = 0; ///< Of the path; 4096 in place of 0 and 1.
    std::size_t room = 0;       ///< Of the table, in records.
    std::size_t linkCount = 0;
    bool isOwn = false;
    bool isThere = false;      ///< Whether the executable is where the link says.
    bool isThereForIt = false; ///< Whether it is there in the file system of the process alone.
    bool isGone = false;
    bool isEnding = false; ///< Whether it ends while it is looked at.
    bool hasNamespace = true;
};

/// The text behind a field's name, to the end of the line; nothing if the first line or none has it.
std::optional<std::string> FindLine(const std::string& status, const std::string& name) {
    std::vector<std::string> lines = Fuzz::GetLines(status);
    for (auto line = lines.begin() + 1; line != lines.end(); ++line) {
        if (line->starts_with(name)) {
            return line->substr(name.size());
        }
    }
    return std::nullopt;
}

/// Whether these are numbers as the kernel writes them.
bool AreNumbers(const std::string& text) {
    std::size_t digits = 0;
    for (const char character : text + '\t') {
        if (character == '\t' ? digits == 0 || digits > 9 : character < '0' || character > '9') {
            return false;
        }
        digits = character == '\t' ? 0 : digits + 1;
    }
    return true;
}

/// Whether the table shows our own process namespace; nothing if no kernel writes such a status.
std::optional<bool> ShowsOurNamespace(const std::string& status) {
    const std::optional<std::string> group = FindLine(status, "Tgid:\t");
    const std::optional<std::string> ids = FindLine(status, "NSpid:\t");
    if (!group || !AreNumbers(*group) || group->find('\t') != std::string::npos || (ids && !AreNumbers(*ids))) {
        return std::nullopt;
    }
    return std::stoi(*group) == getpid() && (!ids || ids->find('\t') == std::string::npos);
}

/// The path that the process has to have; empty if it can't be found out, as for one that is gone.
std::string FindPath(const Scene& scene, std::size_t size) {
    const std::string mark = " (deleted)";
    std::string path = scene.link.value_or("");
    if (path.size() >= size) {
        path.clear();
    } else if (path.ends_with(mark)) {
        const bool isItself = scene.isThere || scene.isThereForIt;
        (isItself ? s_kept : s_deleted).Note();
        path.resize(path.size() - (isItself ? 0 : mark.size()));
    }
    if (!path.empty() || scene.isOwn) {
        s_link.Note(!path.empty());
        return path;
    }
    if (!scene.comm && scene.isEnding) {
        return "";
    }
    std::string thread = scene.comm.value_or("").substr(0, 64);
    if (thread.ends_with('\n')) {
        thread.pop_back();
    }
    const std::string words = scene.commandLine.value_or("").substr(0, size);
    const std::string word = words.substr(0, words.find('\0'));
    const std::string file = word.substr(word.find_last_of('/') + 1);
    if (!file.empty() && word.size() < size) {
        if (file.substr(0, 15) == thread) {
            s_word.Note();
            return word;
        }
        s_title.Note();
    }
    const bool isWhole = !thread.empty() && thread.size() < 15 && thread.find('/') == std::string::npos;
    (isWhole ? s_thread : s_nameless).Note();
    const std::string name = isWhole ? thread : "/";
    return name.size() < size ? name : "";
}

void CheckPath(const Scene& scene, bool isShown) {
    const std::size_t size = scene.bufferSize < 2 ? 4096 : scene.bufferSize;
    const auto buffer = std::make_unique<char[]>(size);
    errno = 0;
    const int length = Processes::GetProcessPath(scene.GetId(), buffer.get(), static_cast<std::uint32_t>(size));
    const std::string expected = isShown ? FindPath(scene, size) : "";
    Expect(length == static_cast<int>(expected.size()), "the path has that length", length, expected);
    Expect(length == 0 || expected == buffer.get(), "the process has that path", buffer.get(), expected);
    Expect(isShown || errno == ESRCH, "a process that can't be seen is none", errno);
}

void CheckName(const Scene& scene, bool isShown) {
    std::string name = "the name before";
    Processes::Process{static_cast<std::uint64_t>(scene.GetId())}.GetName(name);
    std::string path = isShown ? FindPath(scene, 4096) : "";
    const std::string expected = path.empty() ? "the name before" : basename(path.data());
    Expect(name == expected, "the process goes by its file's name", name, expected);
}

void CheckUser(const Scene& scene, bool isShown) {
    const bool isElevated = Processes::Process{static_cast<std::uint64_t>(scene.GetId())}.IsElevated();
    const std::string status = (scene.isOwn ? scene.self : scene.status.value_or("")).substr(0, 4096);
    const std::optional<std::string> users = FindLine(status, "Uid:\t");
    unsigned int effective = 1;
    if (users && AreNumbers(*users) && users->find('\t') != std::string::npos &&
        status.find("Uid:\t" + *users + '\n') != std::string::npos) {
        std::sscanf(users->c_str(), "%*u\t%u", &effective);
        Expect(isElevated == (isShown && effective == 0), "the effective user tells the rights", status);
    } else if (!users) {
        Expect(!isElevated, "an unknown user has no rights", status);
    }
    (isElevated ? s_elevated : s_ordinary).Note();
}

void CheckTable(const Scene& scene, bool isShown) {
    std::size_t size = 0;
    Expect(Processes::QueryProcessTable(nullptr, size) == 0 && size == (scene.linkCount + 5) * 648,
           "there is room for all folders", size);
    std::vector<std::int32_t> expected;
    for (const std::string& entry : s_machine.entries) {
        char* end = nullptr;
        errno = 0;
        const long long number = std::strtoll(entry.c_str(), &end, 10);
        const bool isNumber =
            !entry.empty() && entry.find_first_not_of("-0123456789") == std::string::npos && *end == '\0';
        constexpr long long most = std::numeric_limits<std::int32_t>::max();
        if (isNumber && errno == 0 && number <= most && number >= -most - 1) {
            expected.push_back(static_cast<std::int32_t>(number));
        }
    }
    size = scene.room * 648;
    const auto table = std::make_unique<char[]>(size);
    errno = 0;
    const int result = Processes::QueryProcessTable(table.get(), size);
    if (s_hidden.Note(!isShown) || s_grown.Note(expected.size() > scene.room)) {
        Expect(result == -1 && errno == (isShown ? ENOMEM : ESRCH), "a table that can't be read is none", result,
               errno);
        return;
    }
    Expect(result == 0 && size == expected.size() * 648, "all processes are in the table", size, expected.size());
    for (std::size_t index = 0; index < expected.size(); ++index) {
        std::int32_t id = 0;
        std::memcpy(&id, table.get() + index * 648 + 40, sizeof id);
        Expect(id == expected[index], "a process has its place", id, expected[index]);
    }
    s_table.Note(!expected.empty());
}

} // namespace

// A line for each thing that procfs shows of a process, or "own", "gone" and the like: the process has the path, the
// name and the rights of the model, and the table has its processes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Logging needs an application.
    static const Tovra::System::Runtime::Application application(L"ProcessNamesFuzz");
    s_machine = {};
    const Scene scene(Fuzz::GetText(data, size));
    scene.SetUp();
    if (const std::optional<bool> isOurs = ShowsOurNamespace(scene.self)) {
        const bool isShown = scene.isOwn || (*isOurs && !scene.isGone);
        CheckTable(scene, *isOurs);
        CheckPath(scene, isShown);
        CheckName(scene, isShown);
        CheckUser(scene, isShown);
    } else {
        std::string name;
        Processes::Process{otherId}.GetName(name);
    }
    Expect(s_openFiles.empty(), "every file is closed", s_openFiles.size());
    return 0;
}
