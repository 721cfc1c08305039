#pragma once

#include <Comparison.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace Tovra::Benchmarks {

/// A program and its arguments.
using Command = std::vector<std::string>;

/// Pointers to the words of a command, ended by a null pointer; valid as long as the command.
inline std::vector<char*> GetArguments(const Command& command) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    return arguments;
}

/// Runs a program to its end, without its output, and returns what it used. Its status is not looked at.
inline rusage RunForUsage(const Command& command) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t id = 0;
    int status = -1;
    rusage usage{};
    const std::vector<char*> arguments = GetArguments(command);
    Require(posix_spawnp(&id, arguments[0], &actions, nullptr, arguments.data(), environ) == 0 &&
                wait4(id, &status, 0, &usage) == id && WIFEXITED(status) && WEXITSTATUS(status) != 127,
            ("It does not run: " + command[0]).c_str());
    posix_spawn_file_actions_destroy(&actions);
    return usage;
}

/// The work of running a program to its end.
inline Work MakeRun(Command command) {
    return [command = std::move(command)] { RunForUsage(command); };
}

} // namespace Tovra::Benchmarks
