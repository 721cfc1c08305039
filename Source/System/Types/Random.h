#pragma once

#include <cstdint>

namespace Tovra::System {

/// 32 bits from the C library's `rand`, seeded twice: with `seed`, and with `seed` and an address on the stack. Nothing
/// to keep a secret with. Any thread; reseeds the process-wide `rand`, so two threads at once only cost quality.
std::uint32_t Random(unsigned long long seed);

/// The same with the address of the caller's choice, whose layout the system randomises.
std::uint32_t Random(unsigned long long seed, const void* address);

} // namespace Tovra::System
