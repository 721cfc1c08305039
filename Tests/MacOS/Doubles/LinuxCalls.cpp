#include <MacOS/Doubles/LinuxCalls.h>
#include <MacOS/Doubles/Objects.h>
#include <MacOS/Doubles/System.h>
#include <spawn.h>

#include <algorithm>
#include <csignal>

using namespace Tovra::Tests::Doubles;

namespace {

std::string Join(char* const* texts, const char* separator) {
    std::string joined;
    for (; *texts != nullptr; ++texts) {
        joined += (joined.empty() ? "" : separator) + std::string(*texts);
    }
    return joined;
}

void CheckObject(const Call& call, const void* object) {
    if (!linuxCalls.spawnObjects.contains(object)) {
        call.ReportMisuse("an object that is not initialised");
    }
}

} // namespace

extern "C" {

int __wrap_kill(pid_t id, int signal);
int __wrap_posix_spawn_file_actions_init(posix_spawn_file_actions_t* actions);
int __wrap_posix_spawnattr_init(posix_spawnattr_t* attributes);
int __wrap_posix_spawnattr_setflags(posix_spawnattr_t* attributes, short flags);
int __wrap_posix_spawn(pid_t* id, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment);

int __wrap_kill(pid_t id, int signal) {
    const Call call("kill", id, signal);
    linuxCalls.signals.emplace_back(id, signal);
    const auto process = std::ranges::find(processes.all, id, &Process::id);
    errno = call.Fails() || process == processes.all.end() ? ESRCH : process->signalError;
    return errno == 0 ? 0 : -1;
}

int __wrap_posix_spawn_file_actions_init(posix_spawn_file_actions_t* actions) {
    const Call call("posix_spawn_file_actions_init");
    if (call.Fails()) {
        return ENOMEM;
    }
    linuxCalls.spawnObjects.insert(actions);
    return 0;
}

int __wrap_posix_spawnattr_init(posix_spawnattr_t* attributes) {
    const Call call("posix_spawnattr_init");
    if (call.Fails()) {
        return ENOMEM;
    }
    linuxCalls.spawnObjects.insert(attributes);
    return 0;
}

int __wrap_posix_spawnattr_setflags(posix_spawnattr_t* attributes, short flags) {
    const Call call("posix_spawnattr_setflags", flags);
    CheckObject(call, attributes);
    if (call.Fails()) {
        return EINVAL;
    }
    linuxCalls.spawnFlags = flags;
    return 0;
}

int __wrap_posix_spawn(pid_t* id, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment) {
    const Call call("posix_spawn", path);
    CheckObject(call, actions);
    CheckObject(call, attributes);
    if (call.Fails()) {
        Spoil(*id);
        return ENOENT;
    }
    linuxCalls.spawned.push_back(Join(arguments, "|") + " in " + Join(environment, "|"));
    *id = 5000;
    return 0;
}
}
