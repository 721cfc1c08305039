#include <System/Processes/ProcessOperations.h>

#include <unistd.h>

#include <cstdlib>

namespace Tovra::System::Processes {

std::int32_t GetCurrentProcessId() {
    return getpid();
}

void* AllocateProcessTable(std::size_t size) {
    return std::malloc(size);
}

void FreeProcessTable(void* buffer) {
    std::free(buffer);
}

} // namespace Tovra::System::Processes
