#pragma once

#include <Fakes/State.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// The clock and the source of random numbers: the real ones, unless the test sets values. Waits return at once.
struct RandomOperations {
    std::vector<std::int64_t> times = {}; ///< Readings of the clock, in order.
    std::vector<int> numbers = {};        ///< Numbers drawn, in order.

    std::vector<unsigned int> seeds = {}; ///< In order.
    std::vector<std::string> calls = {};  ///< In order, with their numbers: "Clock", "Wait 3", "Seed", "Draw".
};

inline RandomOperations& randomOperations = GetState<RandomOperations>();

} // namespace Tovra::Tests::Fakes
