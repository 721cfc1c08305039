#include <System/Types/Random.h>
#include <System/Types/RandomOperations.h>

namespace Tovra::System {

namespace {

std::uint32_t Draw(std::uint64_t seed) {
    SeedNumbers(static_cast<unsigned int>(seed));
    return static_cast<std::uint32_t>(DrawNumber());
}

} // namespace

std::uint32_t Random(unsigned long long seed) {
    return Random(seed, &seed);
}

std::uint32_t Random(unsigned long long seed, const void* address) {
    const std::uint32_t first = Draw(seed);
    const std::uint32_t second = Draw(reinterpret_cast<std::uintptr_t>(address) >> 16 ^ seed << 8);
    // Intentional: an OR, so the high bits of the second number overlap the first, as in every identity made so far.
    return first << 16 | second;
}

} // namespace Tovra::System
