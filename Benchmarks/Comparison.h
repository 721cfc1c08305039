#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// What the benchmarks have in common: pieces of work that are run in turn, since the load of the machine varies, and
/// whose times are printed. bench.py makes ratios of the times and compares those with the bounds.
namespace Tovra::Benchmarks {

/// What is timed.
using Work = std::function<void()>;

/// The highest ratio of our time to a rival's, or why there is none.
struct Bound {
    double ratio = 0;        ///< 0 for none.
    const char* reason = ""; ///< Why there is none, as the page shows it; otherwise empty.
};

/// The bound of a rival that does the same work.
constexpr Bound AtMost(double ratio) {
    return {.ratio = ratio};
}

/// No bound, as for a rival that does less work.
constexpr Bound NoBound(const char* reason) {
    return {.reason = reason};
}

/// What our work is compared with.
struct Rival {
    const char* kind;     ///< "peer", another program or library, or "limit", only what the work asks of the system.
    const char* name;     ///< As the page shows it.
    Bound bound;          ///< Of our time.
    Work work;            ///< Theirs.
    Work start = nullptr; ///< What is no part of the work; its time is subtracted.
};

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

/// The time that `work` takes, in nanoseconds.
inline long long GetTime(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::nanoseconds(std::chrono::steady_clock::now() - start).count();
}

/// The rows to measure; all, if there are none.
inline std::vector<std::string_view> s_chosenRows;

/// Chooses the rows that the program's arguments name, which live on.
inline void ChooseRows(int count, char** arguments) {
    s_chosenRows.assign(arguments + 1, arguments + count);
}

/// Whether a row is to be measured, for what its measurement needs to be prepared.
inline bool IsChosen(std::string_view row) {
    return s_chosenRows.empty() || std::ranges::find(s_chosenRows, row) != s_chosenRows.end();
}

/// Numbers with blanks between them.
inline std::string Join(const std::vector<long long>& numbers) {
    std::string text;
    for (const long long number : numbers) {
        text += (text.empty() ? "" : " ") + std::to_string(number);
    }
    return text;
}

/// Runs our work and that of each rival in turn, if the row is chosen, and prints a line for each rival, with tabs
/// between: the row, the kind and the name of the rival, the bound, why there is none, the size, and the times of each
/// round, ours, theirs, and those of their start. The size is 0 but for rows that tell how the time grows with it;
/// these have a line for each size.
inline void Compare(const char* row, const Work& ours, const std::vector<Rival>& rivals, int rounds = 101,
                    long long size = 0) {
    if (!IsChosen(row)) {
        return;
    }
    std::vector<long long> times;
    std::vector<std::vector<long long>> theirTimes(rivals.size());
    std::vector<std::vector<long long>> startTimes(rivals.size());
    const bool runPrograms = std::ranges::any_of(rivals, [](const Rival& rival) { return rival.start != nullptr; });
    ours(); // A first run would measure what is not in memory yet.
    for (int round = 0; round < rounds; ++round) {
        // A program takes the caches from what runs after it, and its own start warms up its work: neither ours nor
        // that of a rival in this process may be measured cold where the other is warm.
        if (runPrograms) {
            ours();
        }
        times.push_back(GetTime(ours));
        for (std::size_t index = 0; index < rivals.size(); ++index) {
            const Rival& rival = rivals[index];
            if (runPrograms && !rival.start) {
                rival.work();
            }
            theirTimes[index].push_back(GetTime(rival.work));
            if (rival.start) {
                startTimes[index].push_back(GetTime(rival.start));
            }
        }
    }
    for (std::size_t index = 0; index < rivals.size(); ++index) {
        const Rival& rival = rivals[index];
        std::printf("%s\t%s\t%s\t%g\t%s\t%lld\t%s\t%s\t%s\n", row, rival.kind, rival.name, rival.bound.ratio,
                    rival.bound.reason, size, Join(times).c_str(), Join(theirTimes[index]).c_str(),
                    Join(startTimes[index]).c_str());
    }
    // The next benchmark may replace the standard output.
    std::fflush(stdout);
}

} // namespace Tovra::Benchmarks
