#include <System/Processes/ProcessOperations.h>
#include <System/Utilities/CoreFoundation_MacOS.h>

#include <CoreFoundation/CoreFoundation.h>
#include <libproc.h>
#include <spawn.h>
#include <sys/sysctl.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>

namespace Tovra::System::Processes {

using Utilities::HeldReference;

static_assert(sizeof(kinfo_proc) == processRecordSize);
static_assert(offsetof(kinfo_proc, kp_proc.p_pid) == processRecordIdOffset);
static_assert(sizeof(proc_bsdinfo) == processInformationSize);
static_assert(offsetof(proc_bsdinfo, pbi_uid) == processInformationUserOffset);

int SendSignal(std::int32_t id, int signal) {
    return kill(id, signal);
}

int HoldProcess(std::int32_t) {
    // This host has no descriptors of processes.
    errno = ENOSYS;
    return -1;
}

void ReleaseProcess(int) {}

int SendSignalToHeld(int, int) {
    errno = ENOSYS;
    return -1;
}

int QueryProcessTable(void* buffer, std::size_t& size) {
    std::array<int, 3> name = {CTL_KERN, KERN_PROC, KERN_PROC_ALL};
    return sysctl(name.data(), name.size(), buffer, &size, nullptr, 0);
}

int GetProcessPath(std::int32_t id, char* buffer, std::uint32_t size) {
    return proc_pidpath(id, buffer, size);
}

int GetListedProcessPath(std::int32_t id, char* buffer, std::uint32_t size) {
    return proc_pidpath(id, buffer, size);
}

int GetProcessInformation(std::int32_t id, void* buffer, int size) {
    return proc_pidinfo(id, PROC_PIDTBSDINFO, 0, buffer, size);
}

bool GetBundleName(const char* path, std::size_t length, char* buffer, std::size_t size) {
    HeldReference<CFURLRef> url(CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path), static_cast<CFIndex>(length), false));
    if (url == nullptr) {
        return false;
    }
    HeldReference<CFBundleRef> bundle(CFBundleCreate(kCFAllocatorDefault, url.get()));
    url.reset();
    if (bundle == nullptr) {
        return false;
    }
    // Anybody can write a bundle, with a value of any kind.
    const auto borrowed = Utilities::CastTo<CFStringRef>(
        CFBundleGetValueForInfoDictionaryKey(bundle.get(), kCFBundleNameKey), CFStringGetTypeID());
    // The bundle owns the name and may end with its last reference.
    const HeldReference<CFStringRef> name(borrowed == nullptr ? nullptr : static_cast<CFStringRef>(CFRetain(borrowed)));
    bundle.reset();
    if (name == nullptr) {
        return false;
    }
    if (!CFStringGetCString(name.get(), buffer, static_cast<CFIndex>(size), kCFStringEncodingUTF8)) {
        // It may have been written in part.
        buffer[0] = '\0';
    }
    return true;
}

int SpawnProcess(std::int32_t& id, const char* path, char* const* arguments, char* const* environment) {
    posix_spawn_file_actions_t fileActions;
    posix_spawnattr_t attributes;
    // An object that could not be initialised must not be used.
    if (const int error = posix_spawn_file_actions_init(&fileActions); error != 0) {
        return error;
    }
    if (const int error = posix_spawnattr_init(&attributes); error != 0) {
        return error;
    }
    if (const int error = posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID); error != 0) {
        return error;
    }
    // Intentional: neither object is destroyed; nothing depends on that small leak.
    return posix_spawn(&id, path, &fileActions, &attributes, arguments, environment);
}

} // namespace Tovra::System::Processes
