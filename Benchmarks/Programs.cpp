// Runs programs in turn and prints a line for each: its times in nanoseconds, its page faults, and the most memory that
// was resident, in KiB. Programs <rounds> <program> [argument ...] [-- <program> [argument ...] ...]

#include <Programs.h>
#include <sys/types.h>

#include <cstring>

namespace {

using Tovra::Benchmarks::Command;
using Tovra::Benchmarks::GetArguments;
using Tovra::Benchmarks::GetTime;
using Tovra::Benchmarks::Join;
using Tovra::Benchmarks::Require;
using Tovra::Benchmarks::RunForUsage;

/// The resident set of a program. It is never less than that of the process which becomes the program, and a fork has
/// next to nothing resident, where a spawned process has all that its parent has.
long long GetResidentSet(const Command& command) {
    const pid_t id = fork();
    if (id == 0) {
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        execvp(command[0].c_str(), GetArguments(command).data());
        _exit(127);
    }
    int status = -1;
    rusage usage{};
    Require(wait4(id, &status, 0, &usage) == id && WIFEXITED(status), "A program does not run.");
    return usage.ru_maxrss;
}

} // namespace

int main(int count, char** arguments) {
    Require(count >= 3, "Usage: Programs <rounds> <program> [argument ...] [-- <program> [argument ...] ...]");
    std::vector<Command> commands(1);
    for (int index = 2; index < count; ++index) {
        if (std::strcmp(arguments[index], "--") == 0) {
            commands.emplace_back();
        } else {
            commands.back().emplace_back(arguments[index]);
        }
    }
    std::vector<std::vector<long long>> times(commands.size());
    std::vector<std::vector<long long>> faults(commands.size());
    const int rounds = std::atoi(arguments[1]);
    // The first round only brings the files into memory.
    for (int round = -1; round < rounds; ++round) {
        for (std::size_t index = 0; index < commands.size(); ++index) {
            rusage usage{};
            const long long time = GetTime([&usage, &command = commands[index]] { usage = RunForUsage(command); });
            if (round >= 0) {
                times[index].push_back(time);
                faults[index].push_back(usage.ru_minflt + usage.ru_majflt);
            }
        }
    }
    for (std::size_t index = 0; index < commands.size(); ++index) {
        constexpr int samples = 5;
        std::vector<long long> residentSets;
        for (int sample = 0; sample < samples; ++sample) {
            residentSets.push_back(GetResidentSet(commands[index]));
        }
        std::printf("%s\t%s\t%s\n", Join(times[index]).c_str(), Join(faults[index]).c_str(),
                    Join(residentSets).c_str());
    }
}
