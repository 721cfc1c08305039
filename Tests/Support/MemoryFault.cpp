#include <Support/MemoryFault.h>

#include <cerrno>
#include <cstddef>

namespace Tovra::Tests {

namespace {

/// Zero where no call is to fail any more.
thread_local int s_callsToFault = 0;

bool IsFaulty() {
    if (s_callsToFault == 0 || --s_callsToFault > 0) {
        return false;
    }
    errno = ENOMEM;
    return true;
}

} // namespace

MemoryFault::MemoryFault(int call) {
    s_callsToFault = call;
}

MemoryFault::~MemoryFault() {
    s_callsToFault = 0;
}

bool MemoryFault::HasOccurred() {
    return s_callsToFault == 0;
}

} // namespace Tovra::Tests

// The linker gives these names to every call that is linked into a test, and to the functions themselves.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" void* __real_malloc(std::size_t size);
extern "C" void* __wrap_malloc(std::size_t size);
extern "C" void* __real_realloc(void* memory, std::size_t size);
extern "C" void* __wrap_realloc(void* memory, std::size_t size);

extern "C" void* __wrap_malloc(std::size_t size) {
    return Tovra::Tests::IsFaulty() ? nullptr : __real_malloc(size);
}

extern "C" void* __wrap_realloc(void* memory, std::size_t size) {
    return Tovra::Tests::IsFaulty() ? nullptr : __real_realloc(memory, size);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
