#include <Support/MemoryFault.h>

#include <malloc/malloc.h>

#include <cstddef>

// What is linked into a test calls its own functions of these names before those of libSystem, which calls its own.

extern "C" void* malloc(std::size_t size) {
    return Tovra::Tests::MemoryFault::IsThisCall() ? nullptr : malloc_zone_malloc(malloc_default_zone(), size);
}

extern "C" void* realloc(void* memory, std::size_t size) {
    return Tovra::Tests::MemoryFault::IsThisCall() ? nullptr : malloc_zone_realloc(malloc_default_zone(), memory, size);
}
