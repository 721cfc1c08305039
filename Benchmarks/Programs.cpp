// Runs programs in turn and prints a line for each: its times in nanoseconds, its page faults, and the most memory that
// was resident, in KiB. Each program has to end with the status that is given before it.
// Programs <rounds> <status> <program> [argument ...] [-- <status> <program> [argument ...] ...]

#include <Programs.h>
#include <sys/types.h>

#include <charconv>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace {

using Tovra::Benchmarks::Command;
using Tovra::Benchmarks::GetArguments;
using Tovra::Benchmarks::GetTime;
using Tovra::Benchmarks::Join;
using Tovra::Benchmarks::Require;
using Tovra::Benchmarks::RequireStatus;
using Tovra::Benchmarks::RunForUsage;

constexpr const char* usageText =
    "Usage: Programs <rounds> <status> <program> [argument ...] [-- <status> <program> [argument ...] ...]";

/// A program, and the status that it has to end with.
struct Run {
    Command command;
    int status = 0;
};

int ToNumber(std::string_view text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    Require(error == std::errc() && end == text.data() + text.size(), usageText);
    return number;
}

/// The programs of an argument vector, after the number of rounds.
std::vector<Run> ReadRuns(int count, char** arguments) {
    std::vector<Run> runs;
    for (int index = 2; index < count; ++index) {
        const std::string_view word = arguments[index];
        const bool isFirst = runs.empty() || word == "--";
        if (!isFirst) {
            runs.back().command.emplace_back(word);
            continue;
        }
        index += word == "--" ? 1 : 0;
        Require(index + 1 < count, usageText);
        runs.push_back({.command = {}, .status = ToNumber(arguments[index])});
        runs.back().command.emplace_back(arguments[++index]);
    }
    Require(!runs.empty(), usageText);
    return runs;
}

/// The resident set of a program. It is never less than that of the process which becomes the program, and a fork has
/// next to nothing resident, where a spawned process has all that its parent has.
long long GetResidentSet(const Run& run) {
    const pid_t id = fork();
    if (id == 0) {
        const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (null >= 0 && dup2(null, STDOUT_FILENO) >= 0) {
            execvp(run.command[0].c_str(), GetArguments(run.command).data());
        }
        _exit(127);
    }
    int status = -1;
    rusage usage{};
    Require(wait4(id, &status, 0, &usage) == id, ("It does not run: " + run.command[0]).c_str());
    RequireStatus(run.command, status, run.status);
    return usage.ru_maxrss;
}

} // namespace

int main(int count, char** arguments) {
    const std::vector<Run> runs = ReadRuns(count, arguments);
    std::vector<std::vector<long long>> times(runs.size());
    std::vector<std::vector<long long>> faults(runs.size());
    const int rounds = ToNumber(arguments[1]);
    // The first round only brings the files into memory.
    for (int round = -1; round < rounds; ++round) {
        for (std::size_t index = 0; index < runs.size(); ++index) {
            rusage usage{};
            const long long time =
                GetTime([&usage, &run = runs[index]] { usage = RunForUsage(run.command, run.status); });
            if (round >= 0) {
                times[index].push_back(time);
                faults[index].push_back(usage.ru_minflt + usage.ru_majflt);
            }
        }
    }
    for (std::size_t index = 0; index < runs.size(); ++index) {
        constexpr int samples = 5;
        std::vector<long long> residentSets;
        residentSets.reserve(samples);
        for (int sample = 0; sample < samples; ++sample) {
            residentSets.push_back(GetResidentSet(runs[index]));
        }
        std::printf("%s\t%s\t%s\n", Join(times[index]).c_str(), Join(faults[index]).c_str(),
                    Join(residentSets).c_str());
    }
}
