#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

/// What every benchmark program does: pairs in turn in one run, since the machine's own load comes and goes, and
/// medians compared.
namespace Tovra::Benchmarks {

/// Keeps the compiler from leaving out the work that made `value`.
template <class T>
void Keep(const T& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

/// Ends the program if something does not work that is to be measured.
inline void Require(bool condition, const char* message) {
    if (!condition) {
        std::fprintf(stderr, "%s\n", message);
        std::exit(2);
    }
}

inline double GetSeconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

inline double GetMedian(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

/// Runs both in turn and gives the ratio of their medians.
inline double GetRatio(const std::function<void()>& ours, const std::function<void()>& theirs, int rounds) {
    std::vector<double> ourTimes;
    std::vector<double> theirTimes;
    for (int round = 0; round < rounds; ++round) {
        ourTimes.push_back(GetSeconds(ours));
        theirTimes.push_back(GetSeconds(theirs));
    }
    return GetMedian(ourTimes) / GetMedian(theirTimes);
}

/// Runs both in turn, prints a line with the name, the ratio of their medians and the most that it may be, and returns
/// whether it keeps to that.
inline bool Compare(const char* name, double bound, const std::function<void()>& ours,
                    const std::function<void()>& theirs, int rounds = 101) {
    const double ratio = GetRatio(ours, theirs, rounds);
    std::printf("%-40s %6.3f  at most %.1f\n", name, ratio, bound);
    // What is measured next may replace the standard output.
    std::fflush(stdout);
    return ratio <= bound;
}

/// The same for what need not keep to a bound.
inline void Tell(const char* name, const std::function<void()>& ours, const std::function<void()>& theirs,
                 int rounds = 101) {
    std::printf("%-40s %6.3f\n", name, GetRatio(ours, theirs, rounds));
    std::fflush(stdout);
}

} // namespace Tovra::Benchmarks
