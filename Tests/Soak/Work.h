#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>

namespace Tovra::Tests::Soak {

inline constexpr int threadCount = 16;
/// So many windows come to one context.
inline constexpr int windowsOfContext = 10;

/// Where a working program leaves its samples: a line for each second, "<second> <field> …" in the order of `Sample`.
inline constexpr const char* sampleFile = "samples";
/// Where it leaves how many lines each thread has logged, when it ends.
inline constexpr const char* lineCountFile = "lines";

/// What a working program uses and has done.
struct Sample {
    std::int64_t second;
    std::int64_t memory;      ///< Resident, in bytes.
    std::int64_t descriptors; ///< Open ones.
    std::int64_t windows;     ///< Created and destroyed so far.
    std::int64_t contexts;    ///< Likewise.
    std::int64_t failures;    ///< Windows that could not be created.
    std::int64_t refreshes;   ///< Of the list of displays.
};

/// Runs the framework for so long: creates and destroys windows and contexts on the main thread, follows the changes of
/// displays, and logs from threads. Lines are `[…Z | System] <thread> <number>`, both numbers of fixed width. `folder`
/// is the home folder. Main thread, once.
void Work(std::chrono::seconds duration, const std::filesystem::path& folder);

} // namespace Tovra::Tests::Soak
