#pragma once

#include <chrono>
#include <cstdint>

/// The system calls behind random numbers and identities. Any thread.
namespace Tovra::System {

/// The time of the steady clock, in nanoseconds.
std::int64_t GetSteadyNanoseconds();

/// Suspends the calling thread for at least that time.
void Wait(std::chrono::duration<double, std::milli> time);

/// Seeds the process-wide random numbers: srand(3).
void SeedNumbers(unsigned int seed);

/// The next of these numbers: rand(3).
int DrawNumber();

} // namespace Tovra::System
