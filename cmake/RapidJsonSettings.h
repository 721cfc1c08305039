#pragma once

#include <cstdlib>
#include <new>
#include <stdexcept>

/// How RapidJSON tests its preconditions; its own definition would abort or test nothing. A nonsensical schema violates
/// some of them, and must not end a program that can do without a schema.
#define RAPIDJSON_ASSERT(condition) ((condition) ? static_cast<void>(0) : throw std::logic_error(#condition))

namespace Tovra {

/// Returns `memory`, or throws `std::bad_alloc` if it is null.
inline void* ThrowIfNull(void* memory) {
    return memory != nullptr ? memory : throw std::bad_alloc();
}

} // namespace Tovra

/// How RapidJSON allocates memory: it does not test for null itself.
#define RAPIDJSON_MALLOC(size) ::Tovra::ThrowIfNull(std::malloc(size))
#define RAPIDJSON_REALLOC(memory, size) ::Tovra::ThrowIfNull(std::realloc(memory, size))
