#pragma once

#include <chrono>

/// Functions on the calling thread.
namespace Tovra::System::Thread {

/// Suspends the calling thread for at least that time. Asserts that the whole number of milliseconds is not negative
/// and fits 64 bits; more than 292 years count as 292. Any thread.
/// Intentional: the fraction of a millisecond is dropped, so 2.9 sleeps 2 ms and 0.5 does not sleep; callers pace
/// themselves by it.
void Sleep(double milliseconds);

/// Suspends the calling thread for at least that time; not at all if it is zero or negative. Any thread.
void Sleep(std::chrono::nanoseconds time);

} // namespace Tovra::System::Thread
