#pragma once

#include <array>
#include <cstdint>
#include <cstring>

namespace Tovra::Tests {

/// Index of a virtual member function in its class's vtable, from 0; a destructor takes two entries. By the layout of
/// pointers to members ("Itanium C++ ABI", 2.3).
template <class Function>
std::uintptr_t GetVirtualSlot(Function function) {
    std::array<std::uintptr_t, 2> words{};
    static_assert(sizeof(function) == sizeof(words));
    std::memcpy(words.data(), &function, sizeof(words));
    // Where functions may have odd addresses (ARM), the "virtual" bit is in the second word.
    return words[0] / sizeof(void*);
}

} // namespace Tovra::Tests
