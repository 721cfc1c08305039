#pragma once

#include <Comparison.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

/// Comparisons with other programs.
namespace Tovra::Benchmarks {

/// A program and its arguments.
using Command = std::vector<std::string>;

/// Runs a program to its end, without its output. Ends this program if that fails.
inline void Run(const Command& command) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t id = 0;
    int status = -1;
    Require(posix_spawnp(&id, arguments[0], &actions, nullptr, arguments.data(), environ) == 0 &&
                waitpid(id, &status, 0) == id && status == 0,
            ("It fails: " + command[0]).c_str());
    posix_spawn_file_actions_destroy(&actions);
}

/// Runs our work, their program and a mere start of it in turn, prints a line like `Compare`, and returns whether our
/// time is within the bound, a multiple of theirs less that of the start. Medians are compared.
inline bool CompareLessStart(const char* name, double bound, const std::function<void()>& ours, const Command& theirs,
                             const Command& start) {
    constexpr int rounds = 101;
    std::vector<double> ourTimes;
    std::vector<double> theirTimes;
    std::vector<double> startTimes;
    for (int round = 0; round < rounds; ++round) {
        ours(); // Their start warms up their work, so ours must not be measured cold.
        ourTimes.push_back(GetSeconds(ours));
        theirTimes.push_back(GetSeconds([&theirs] { Run(theirs); }));
        startTimes.push_back(GetSeconds([&start] { Run(start); }));
    }
    const double our = GetMedian(ourTimes);
    const double their = GetMedian(theirTimes) - GetMedian(startTimes);
    std::printf("%-40s %6.3f  at most %.1f   (%.0f of %.0f us)\n", name, our / their, bound, our * 1e6, their * 1e6);
    return our <= their * bound;
}

} // namespace Tovra::Benchmarks
