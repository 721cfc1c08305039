#pragma once

#include <Comparison.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <utility>
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

/// Ends this program with a message unless another one, of which `wait4` told, has ended with the expected status: its
/// time would be that of a failure.
inline void RequireStatus(const Command& command, int waitStatus, int expected) {
    if (WIFEXITED(waitStatus) && WEXITSTATUS(waitStatus) == expected) {
        return;
    }
    std::string words;
    for (const std::string& word : command) {
        words += (words.empty() ? "" : " ") + word;
    }
    const std::string end = WIFEXITED(waitStatus) ? "ended with status " + std::to_string(WEXITSTATUS(waitStatus))
                                                  : "was ended by signal " + std::to_string(WTERMSIG(waitStatus));
    Require(false, (words + ' ' + end + " instead of status " + std::to_string(expected) + ".").c_str());
}

/// Runs a program to its end, without its output, and returns what it used. It has to end with that status.
inline rusage RunForUsage(const Command& command, int expectedStatus = 0) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t id = 0;
    int status = -1;
    rusage usage{};
    const std::vector<char*> arguments = GetArguments(command);
    const bool hasRun = posix_spawnp(&id, arguments[0], &actions, nullptr, arguments.data(), environ) == 0 &&
                        wait4(id, &status, 0, &usage) == id;
    Require(hasRun, ("It does not run: " + command[0]).c_str());
    RequireStatus(command, status, expectedStatus);
    posix_spawn_file_actions_destroy(&actions);
    return usage;
}

/// The work of running a program to its end, with status 0.
inline Work MakeRun(Command command) {
    return [command = std::move(command)] { RunForUsage(command); };
}

} // namespace Tovra::Benchmarks
