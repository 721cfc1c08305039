#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Tovra::Tests {

/// The default environment of programs: `PATH` and the options of sanitizers. No `HOME`, no `DISPLAY`, no locale.
std::map<std::string, std::string> GetPlainEnvironment();

/// How to start a program. It inherits no descriptors but the three standard ones.
struct Program {
    std::filesystem::path path;              ///< Used unchanged; a bare name is looked up in `PATH`.
    std::vector<std::string> arguments = {}; ///< Without the program's own name, which is added.
    std::map<std::string, std::string> environment = GetPlainEnvironment();
    std::map<int, int> descriptors = {};              ///< Standard descriptors replaced by descriptors of ours.
    std::set<int> closedDescriptors = {};             ///< Standard descriptors closed before it starts.
    bool hasOwnName = true;                           ///< False: it starts with an empty argument vector.
    std::optional<std::filesystem::path> folder = {}; ///< Its working folder; ours by default.
    std::chrono::seconds timeLimit{30};               ///< After that it is killed.
};

/// Bytes of a program's standard output or standard error stream after which no more is read until its end.
inline constexpr std::size_t outputLimit = std::size_t{16} << 20;

/// Output and end of a program.
struct ProgramResult {
    std::string output;    ///< All of its standard output, unless that descriptor was replaced or closed.
    std::string errors;    ///< The same for its standard error stream.
    int status = -1;       ///< Its exit status; -1 if a signal ended it.
    int signal = 0;        ///< The signal that ended it, or 0.
    bool timedOut = false; ///< Whether it was killed at its time limit.
};

/// A running program and its children, as one process group, which the destructor kills.
///
/// By default its standard input is a pipe that is never written to and never closed, so a program that reads it runs
/// into its time limit. So does one that writes without end: of each output little more than `outputLimit` is read.
class RunningProgram {
public:
    /// Throws if the fork fails; a program that can't be executed ends with status 127.
    explicit RunningProgram(const Program& program);
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    pid_t GetId() const { return m_id; }

    /// Whether it has not ended yet; doesn't reap it.
    bool IsRunning() const;

    /// Collects output until the standard output contains `text`; false if the program ends or times out first.
    bool WaitForOutput(const std::string& text);

    /// Sends a signal to the program, not to its children.
    void Signal(int signal) const;

    /// Collects output until the program ends, and reaps it. Call once.
    ProgramResult Wait();

private:
    void CollectOnce();
    void Drain();
    int GetRemainingMilliseconds() const;

    pid_t m_id = 0;
    int m_processDescriptor = -1;
    int m_inputDescriptor = -1;
    int m_outputDescriptor = -1;
    int m_errorsDescriptor = -1;
    bool m_isReaped = false;
    std::chrono::steady_clock::time_point m_deadline;
    ProgramResult m_result;
};

/// Starts a program and waits until it ends.
ProgramResult Run(const Program& program);

} // namespace Tovra::Tests
