#pragma once

#include <chrono>
#include <cstdint>

/// What random numbers and identities ask of the system. Any thread.
namespace Tovra::System {

/// The steady clock, in nanoseconds.
std::int64_t GetSteadyNanoseconds();

/// Suspends the calling thread for at least that time.
void Wait(std::chrono::duration<double, std::milli> time);

/// Seeds the process-wide source of numbers, `srand`.
void SeedNumbers(unsigned int seed);

/// The next number of that source, `rand`.
int DrawNumber();

} // namespace Tovra::System
