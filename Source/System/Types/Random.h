#pragma once

#include <cstdint>

namespace Tovra::System {

/// Returns 32 bits from the C library's `rand`, seeded twice: with `seed`, then with `seed` and an address on the
/// stack. Not for secrets. Any thread; reseeds the process-wide `rand`, so calls at the same time only lower the
/// quality.
std::uint32_t Random(unsigned long long seed);

/// The same with an address of the caller's choice, which address space layout randomisation varies.
std::uint32_t Random(unsigned long long seed, const void* address);

} // namespace Tovra::System
