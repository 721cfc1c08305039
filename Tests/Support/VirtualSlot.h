#pragma once

#include <array>
#include <cstdint>
#include <cstring>

namespace Tovra::Tests {

/// The place of a virtual member function in its class's table, counted from 0; a destructor takes two. As the C++ ABI
/// lays pointers to members out ("Itanium C++ ABI", 2.3).
template <class Function>
std::uintptr_t GetVirtualSlot(Function function) {
    std::array<std::uintptr_t, 2> words{};
    static_assert(sizeof(function) == sizeof(words));
    std::memcpy(words.data(), &function, sizeof(words));
    // Where code may lie at odd addresses, the bit that means "virtual" stands in the other word.
    return words[0] / sizeof(void*);
}

} // namespace Tovra::Tests
