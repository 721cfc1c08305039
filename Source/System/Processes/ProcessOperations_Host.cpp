#include <System/Processes/ProcessOperations.h>

#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace Tovra::System::Processes {

std::int32_t GetCurrentProcessId() {
    return getpid();
}

int SendSignal(std::int32_t id, int signal) {
    return kill(id, signal);
}

void* AllocateProcessTable(std::size_t size) {
    return std::malloc(size);
}

void FreeProcessTable(void* buffer) {
    std::free(buffer);
}

} // namespace Tovra::System::Processes
