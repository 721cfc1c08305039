#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

/// The comparison of benchmarks: two pieces of work are run in turn, since the load of the machine varies, and the
/// medians of their times are compared.
namespace Tovra::Benchmarks {

/// Keeps the compiler from removing the computation of `value`.
template <class T>
void Keep(const T& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

/// Ends the program with a message unless the condition is true.
inline void Require(bool condition, const char* message) {
    if (!condition) {
        std::fprintf(stderr, "%s\n", message);
        std::exit(2);
    }
}

/// The time that `work` takes, in seconds.
inline double GetSeconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The median of at least one value; the upper one of two.
inline double GetMedian(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

/// Runs both in turn and returns the ratio of the medians of their times.
inline double GetRatio(const std::function<void()>& ours, const std::function<void()>& theirs, int rounds) {
    std::vector<double> ourTimes;
    std::vector<double> theirTimes;
    for (int round = 0; round < rounds; ++round) {
        ourTimes.push_back(GetSeconds(ours));
        theirTimes.push_back(GetSeconds(theirs));
    }
    return GetMedian(ourTimes) / GetMedian(theirTimes);
}

/// As `GetRatio`; prints a line with the name, the ratio and its bound, and returns whether the ratio is within the
/// bound.
inline bool Compare(const char* name, double bound, const std::function<void()>& ours,
                    const std::function<void()>& theirs, int rounds = 101) {
    const double ratio = GetRatio(ours, theirs, rounds);
    std::printf("%-40s %6.3f  at most %.1f\n", name, ratio, bound);
    // The next benchmark may replace the standard output.
    std::fflush(stdout);
    return ratio <= bound;
}

/// As `Compare`, without a bound.
inline void Tell(const char* name, const std::function<void()>& ours, const std::function<void()>& theirs,
                 int rounds = 101) {
    std::printf("%-40s %6.3f\n", name, GetRatio(ours, theirs, rounds));
    std::fflush(stdout);
}

} // namespace Tovra::Benchmarks
