#include <MacOS/Doubles/Objects.h>
#include <MacOS/Doubles/System.h>
#include <libproc.h>
#include <mach-o/dyld.h>
#include <sys/sysctl.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

using namespace Tovra::Tests::Doubles;

namespace {

const Process* FindProcess(int id) {
    const auto found = std::ranges::find(processes.all, id, &Process::id);
    return found == processes.all.end() ? nullptr : &*found;
}

/// Sets `errno`, and returns -1.
int Fail(int error) {
    errno = error;
    return -1;
}

/// Gives a value as sysctl(3) does: its size alone without a buffer, and no more than there is room for.
int CopyValue(const std::string& value, void* buffer, std::size_t* size) {
    if (buffer == nullptr) {
        *size = value.size();
        return 0;
    }
    TouchEnd(buffer, *size);
    const bool fits = value.size() <= *size;
    *size = std::min(*size, value.size());
    std::memcpy(buffer, value.data(), *size);
    return fits ? 0 : Fail(ENOMEM);
}

/// The process table's bytes.
std::string GetTable() {
    std::string table;
    for (const Process& process : processes.all) {
        kinfo_proc record = {};
        record.kp_proc.p_pid = process.id;
        table.append(reinterpret_cast<const char*>(&record), sizeof(record));
    }
    return table;
}

} // namespace

extern "C" {

int sysctl(int* name, unsigned int length, void* value, std::size_t* size, void* newValue, std::size_t newSize) {
    const std::vector<int> names(name, name + length);
    std::string text;
    for (const int element : names) {
        text += (text.empty() ? "" : ".") + std::to_string(element);
    }
    const Call call("sysctl", text, value, *size, newValue, newSize);
    if (call.Fails()) {
        Spoil(*size);
        return Fail(EPERM);
    }
    if (names != std::vector<int>{CTL_KERN, KERN_PROC, KERN_PROC_ALL}) {
        return Fail(ENOENT);
    }
    const int result = CopyValue(GetTable(), value, size);
    if (value == nullptr) {
        *size += tableSlack * sizeof(kinfo_proc);
        if (processes.onSizeQuery) {
            processes.onSizeQuery();
        }
    }
    return result;
}

int sysctlbyname(const char* name, void* value, std::size_t* size, void* newValue, std::size_t newSize) {
    const Call call("sysctlbyname", name, value, *size, newValue, newSize);
    const auto found = systemControls.values.find(name);
    if (call.Fails() || found == systemControls.values.end()) {
        Spoil(*size);
        return Fail(ENOENT);
    }
    return CopyValue(found->second, value, size);
}

int proc_pidpath(int id, void* buffer, std::uint32_t size) {
    const Call call("proc_pidpath", id, buffer, size);
    TouchEnd(buffer, size);
    // It refuses even a buffer that the path would fit into.
    if (size < PROC_PIDPATHINFO_SIZE || size > PROC_PIDPATHINFO_MAXSIZE) {
        errno = size < PROC_PIDPATHINFO_SIZE ? ENOMEM : EOVERFLOW;
        return 0;
    }
    std::memset(buffer, '?', PROC_PIDPATHINFO_SIZE);
    const Process* const process = FindProcess(id);
    if (call.Fails() || process == nullptr) {
        errno = ESRCH;
        return 0;
    }
    if (process->path.empty() || process->path.size() >= size) {
        errno = process->path.empty() ? EPERM : ENOMEM;
        return 0;
    }
    std::memcpy(buffer, process->path.c_str(), process->path.size() + 1);
    return static_cast<int>(process->path.size());
}

int proc_pidinfo(int id, int flavor, std::uint64_t argument, void* buffer, int size) {
    const Call call("proc_pidinfo", id, flavor, argument, buffer, size);
    TouchEnd(buffer, static_cast<std::size_t>(std::max(size, 0)));
    const Process* const process = FindProcess(id);
    if (call.Fails() || process == nullptr) {
        errno = ESRCH;
        return 0;
    }
    if (flavor != PROC_PIDTBSDINFO || argument != 0) {
        errno = EINVAL;
        return 0;
    }
    if (size < static_cast<int>(sizeof(proc_bsdinfo))) {
        errno = ENOMEM;
        return 0;
    }
    proc_bsdinfo information = {};
    // Fields that the host doesn't read are no zeros.
    Spoil(information);
    information.pbi_uid = process->userId;
    std::memcpy(buffer, &information, sizeof(information));
    return sizeof(information);
}

int _NSGetExecutablePath(char* buffer, std::uint32_t* size) {
    const Call call("_NSGetExecutablePath", buffer, *size);
    TouchEnd(buffer, *size);
    const std::string path = image.path.empty() ? std::filesystem::read_symlink("/proc/self/exe").string() : image.path;
    if (call.Fails() || path.size() >= *size) {
        std::memset(buffer, '?', std::min<std::size_t>(*size, 8));
        *size = static_cast<std::uint32_t>(path.size() + 1);
        return -1;
    }
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return 0;
}
}
