#include <Support/MemoryFault.h>

#include <cstddef>

// The linker gives these names to every call that is linked into a test, and to the functions themselves.
extern "C" void* __real_malloc(std::size_t size);
extern "C" void* __wrap_malloc(std::size_t size);
extern "C" void* __real_realloc(void* memory, std::size_t size);
extern "C" void* __wrap_realloc(void* memory, std::size_t size);

extern "C" void* __wrap_malloc(std::size_t size) {
    return Tovra::Tests::MemoryFault::IsThisCall() ? nullptr : __real_malloc(size);
}

extern "C" void* __wrap_realloc(void* memory, std::size_t size) {
    return Tovra::Tests::MemoryFault::IsThisCall() ? nullptr : __real_realloc(memory, size);
}
