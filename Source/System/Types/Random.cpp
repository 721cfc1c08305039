#include <System/Types/Random.h>

#include <cstdlib>

namespace Tovra::System {

std::uint32_t Random(unsigned long long seed) {
    return Random(seed, &seed);
}

std::uint32_t Random(unsigned long long seed, const void* address) {
    std::srand(static_cast<unsigned int>(seed));
    const auto first = static_cast<std::uint32_t>(std::rand());
    std::srand(static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(address) >> 16 ^ seed << 8));
    const auto second = static_cast<std::uint32_t>(std::rand());
    // An OR on purpose: the high bits of the second draw fall on the first, as in every identity made so far.
    return first << 16 | second;
}

} // namespace Tovra::System
