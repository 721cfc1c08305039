#pragma once

#include <Fakes/State.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// The clock and the source of random numbers, where the test doesn't set them the true ones. Nothing waits.
struct RandomOperations {
    std::vector<std::int64_t> times = {}; ///< What the clock shows, a reading each.
    std::vector<int> numbers = {};        ///< What the source gives, in order.

    std::vector<unsigned int> seeds = {}; ///< In order.
    std::vector<std::string> calls = {};  ///< In order, with their numbers: "Clock", "Wait 3", "Seed", "Draw".
};

inline RandomOperations& randomOperations = GetState<RandomOperations>();

} // namespace Tovra::Tests::Fakes
