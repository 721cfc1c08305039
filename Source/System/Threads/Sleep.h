#pragma once

#include <chrono>

/// What any code may do with the thread that it runs on.
namespace Tovra::System::Thread {

/// Suspends the calling thread for at least that time. The fraction of a millisecond is dropped on purpose, as callers
/// pace themselves by it: 2.9 sleeps 2 ms, 0.5 does not sleep. Asserts that the whole number is not
/// negative and fits 64 bits; more than 292 years count as 292.
void Sleep(double milliseconds);

/// Suspends the calling thread for at least that time; not at all if it is zero or negative.
void Sleep(std::chrono::nanoseconds time);

} // namespace Tovra::System::Thread
