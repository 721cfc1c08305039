#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Tovra::Tests {

/// The environment that programs get unless a test says otherwise: `PATH` and what sanitizers are told. No `HOME`, no
/// `DISPLAY`, no locale.
std::map<std::string, std::string> GetPlainEnvironment();

/// How a program is to be started. Descriptors beyond the three standard ones are never passed on.
struct Program {
    std::filesystem::path path;              ///< Used as it stands; a bare name is looked for along `PATH`.
    std::vector<std::string> arguments = {}; ///< Without the program's own name, which comes first by itself.
    std::map<std::string, std::string> environment = GetPlainEnvironment();
    std::map<int, int> descriptors = {};  ///< Standard descriptor to the one of ours that it becomes.
    std::set<int> closedDescriptors = {}; ///< Standard descriptors that are closed at its start.
    bool hasOwnName = true;               ///< False starts it with an argument vector that is empty altogether.
    std::optional<std::filesystem::path> folder = {}; ///< Its working folder; ours, if left out.
    std::chrono::seconds timeLimit{30};               ///< After that it is killed.
};

/// What became of a program.
struct ProgramResult {
    std::string output;    ///< Every byte of its standard output, unless that descriptor was given or closed.
    std::string errors;    ///< The same of its standard error stream.
    int status = -1;       ///< Its exit status; -1 if a signal ended it.
    int signal = 0;        ///< The signal that ended it, or 0.
    bool timedOut = false; ///< Whether it was killed because its time was over.
};

/// A started program with all that it started, as one process group, which is killed at the end of the object's life.
///
/// Unless told otherwise its standard input is a pipe into which nothing is ever written and which never closes: a
/// program that reads from it runs into its time limit.
class RunningProgram {
public:
    /// Throws if it can't be started at all; a program that can't be executed ends with status 127.
    explicit RunningProgram(const Program& program);
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    pid_t GetId() const { return m_id; }

    /// Whether it has not ended yet. Ends are noticed at once, without reaping.
    bool IsRunning() const;

    /// Collects its output until that text stands in its standard output; false if it ends or its time is over first.
    bool WaitForOutput(const std::string& text);

    /// Sends a signal to the program alone.
    void Signal(int signal) const;

    /// Collects its output until it ends, and reaps it. Call once.
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

/// Starts a program and waits for its end.
ProgramResult Run(const Program& program);

} // namespace Tovra::Tests
