#include <Fakes/ProcessOperations.h>
#include <System/Processes/ProcessOperations.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace Tovra::Tests::Fakes {

namespace {

FakeProcess* FindProcess(std::int32_t id) {
    std::vector<FakeProcess>& processes = processOperations.processes;
    const auto found = std::ranges::find(processes, id, &FakeProcess::id);
    return found == processes.end() ? nullptr : &*found;
}

int Fail(int error) {
    errno = error;
    return -1;
}

std::vector<std::string> CopyTexts(char* const* texts) {
    std::vector<std::string> copy;
    for (; *texts != nullptr; ++texts) {
        copy.emplace_back(*texts);
    }
    return copy;
}

} // namespace

std::vector<ProcessOperations::Signal> ProcessOperations::GetKills() const {
    std::vector<Signal> kills;
    std::ranges::copy_if(signals, std::back_inserter(kills), [](const Signal& signal) { return signal.signal != 0; });
    return kills;
}

} // namespace Tovra::Tests::Fakes

namespace Tovra::System::Processes {

using Tests::Fakes::FakeProcess;
using Tests::Fakes::processOperations;

std::int32_t GetCurrentProcessId() {
    return processOperations.currentId;
}

int HoldProcess(std::int32_t id) {
    if (processOperations.holdFault.Strikes()) {
        return processOperations.holdFault.result;
    }
    const FakeProcess* const process = Tests::Fakes::FindProcess(id);
    if (id < 1 || process == nullptr) {
        return Tests::Fakes::Fail(id < 1 ? EINVAL : ESRCH);
    }
    const int descriptor = 100 + processOperations.holds++;
    processOperations.held.emplace(descriptor, *process);
    return descriptor;
}

void ReleaseProcess(int held) {
    processOperations.held.erase(held);
}

int SendSignalToHeld(int held, int signal) {
    const auto hold = processOperations.held.find(held);
    if (hold == processOperations.held.end()) {
        return Tests::Fakes::Fail(EBADF);
    }
    const FakeProcess* const process = Tests::Fakes::FindProcess(hold->second.id);
    if (process == nullptr || process->incarnation != hold->second.incarnation) {
        return Tests::Fakes::Fail(ESRCH);
    }
    return SendSignal(process->id, signal);
}

int SendSignal(std::int32_t id, int signal) {
    processOperations.signals.push_back({id, signal});
    if (processOperations.signalFault.Strikes()) {
        return processOperations.signalFault.result;
    }
    const FakeProcess* const process = Tests::Fakes::FindProcess(id);
    if (process == nullptr || process->signalError != 0) {
        return Tests::Fakes::Fail(process == nullptr ? ESRCH : process->signalError);
    }
    if (signal != 0 && !process->staysWhenKilled) {
        std::erase_if(processOperations.processes, [id](const FakeProcess& other) { return other.id == id; });
    }
    return 0;
}

int QueryProcessTable(void* buffer, std::size_t& size) {
    if (processOperations.tableFault.Strikes()) {
        return processOperations.tableFault.result;
    }
    const std::size_t needed =
        processOperations.tableSize.value_or(processOperations.processes.size() * processRecordSize);
    if (buffer != nullptr) {
        if (size < needed) {
            return Tests::Fakes::Fail(ENOMEM);
        }
        // Fields that must not be read are not zero in the system's table either.
        std::memset(buffer, 0xA5, needed);
        for (std::size_t index = 0; index < needed / processRecordSize && index < processOperations.processes.size();
             ++index) {
            std::memcpy(static_cast<char*>(buffer) + index * processRecordSize + processRecordIdOffset,
                        &processOperations.processes[index].id, sizeof(std::int32_t));
        }
    }
    size = needed;
    return 0;
}

void* AllocateProcessTable(std::size_t size) {
    return processOperations.allocationFault.Strikes() ? processOperations.allocationFault.result : std::malloc(size);
}

void FreeProcessTable(void* buffer) {
    ++processOperations.freedTables;
    std::free(buffer);
}

int GetProcessPath(std::int32_t id, char* buffer, std::uint32_t size) {
    if (processOperations.pathFault.Strikes()) {
        return processOperations.pathFault.result;
    }
    const FakeProcess* const process = Tests::Fakes::FindProcess(id);
    if (process == nullptr || process->pathError != 0) {
        errno = process == nullptr ? ESRCH : process->pathError;
        return 0;
    }
    const std::size_t length = std::min<std::size_t>(process->path.size(), size - 1);
    std::memcpy(buffer, process->path.c_str(), length);
    buffer[length] = '\0';
    if (processOperations.onPathRead) {
        processOperations.onPathRead();
    }
    return static_cast<int>(length);
}

int GetListedProcessPath(std::int32_t id, char* buffer, std::uint32_t size) {
    return GetProcessPath(id, buffer, size);
}

int GetProcessInformation(std::int32_t id, void* buffer, int size) {
    if (processOperations.informationFault.Strikes()) {
        return processOperations.informationFault.result;
    }
    const FakeProcess* const process = Tests::Fakes::FindProcess(id);
    if (process == nullptr || static_cast<std::size_t>(size) < processInformationSize) {
        errno = process == nullptr ? ESRCH : ENOMEM;
        return 0;
    }
    std::memset(buffer, 0xA5, processInformationSize);
    std::memcpy(static_cast<char*>(buffer) + processInformationUserOffset, &process->effectiveUserId,
                sizeof(std::uint32_t));
    return static_cast<int>(processInformationSize);
}

bool GetBundleName(const char* path, std::size_t length, char* buffer, std::size_t size) {
    const auto name = processOperations.bundleNames.find(std::string(path, length));
    if (name == processOperations.bundleNames.end()) {
        return false;
    }
    // The conversion of a name that doesn't fit fails, and its result is not checked.
    const std::size_t written = name->second.size() < size ? name->second.size() : 0;
    std::memcpy(buffer, name->second.c_str(), written);
    buffer[written] = '\0';
    return true;
}

int SpawnProcess(std::int32_t& id, const char* path, char* const* arguments, char* const* environment) {
    processOperations.spawns.push_back(
        {path, Tests::Fakes::CopyTexts(arguments), Tests::Fakes::CopyTexts(environment)});
    if (processOperations.spawnFault.Strikes()) {
        return processOperations.spawnFault.result;
    }
    id = processOperations.spawnedId++;
    return 0;
}

} // namespace Tovra::System::Processes
