#include <Support/Program.h>
#include <Support/SystemOperations.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>
#include <system_error>

namespace Tovra::Tests {

namespace {

constexpr int firstOtherDescriptor = STDERR_FILENO + 1;
constexpr int executionFailedStatus = 127;

struct Pipe {
    explicit Pipe(const std::array<int, 2>& ends = MakePipe()) : readEnd(ends[0]), writeEnd(ends[1]) {}

    int readEnd;
    int writeEnd;
};

void Close(int& descriptor) {
    if (descriptor >= 0) {
        close(descriptor);
        descriptor = -1;
    }
}

std::vector<char*> GetPointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    std::ranges::transform(texts, std::back_inserter(pointers), [](std::string& text) { return text.data(); });
    pointers.push_back(nullptr);
    return pointers;
}

/// What the child needs, prepared before the fork, as the child may not allocate.
struct Launch {
    explicit Launch(const Program& program) : path(program.path), folder(program.folder) {
        if (program.hasOwnName) {
            arguments.push_back(path);
            arguments.insert(arguments.end(), program.arguments.begin(), program.arguments.end());
        }
        for (const auto& [name, value] : program.environment) {
            environment.push_back(name + "=" + value);
        }
        argumentPointers = GetPointers(arguments);
        environmentPointers = GetPointers(environment);
    }

    std::string path;
    std::optional<std::string> folder;
    std::vector<std::string> arguments;
    std::vector<std::string> environment;
    std::vector<char*> argumentPointers;
    std::vector<char*> environmentPointers;
};

void PlaceDescriptors(const std::array<int, 3>& sources, const std::set<int>& closedDescriptors) {
    // Duplicated to higher numbers first, as a source may be a standard descriptor itself.
    std::array<int, 3> lifted{};
    std::ranges::transform(sources, lifted.begin(),
                           [](int source) { return fcntl(source, F_DUPFD_CLOEXEC, firstOtherDescriptor); });
    for (int target = STDIN_FILENO; target < firstOtherDescriptor; target++) {
        dup2(lifted[static_cast<std::size_t>(target)], target);
    }
    for (const int descriptor : closedDescriptors) {
        close(descriptor);
    }
    CloseOnExecutionFrom(firstOtherDescriptor);
}

[[noreturn]] void Start(const Launch& launch, const std::array<int, 3>& sources, const std::set<int>& closed) {
    setpgid(0, 0);
    EndWithParent();
    signal(SIGPIPE, SIG_DFL);
    PlaceDescriptors(sources, closed);
    if (!launch.folder || chdir(launch.folder->c_str()) == 0) {
        Execute(launch.path.c_str(), launch.argumentPointers.data(), launch.environmentPointers.data());
    }
    _exit(executionFailedStatus);
}

/// Appends what can be read without blocking; closes the descriptor at end of file.
void ReadAvailable(int& descriptor, std::string& text) {
    std::array<char, 65536> buffer;
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    if (count > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        Close(descriptor);
    }
}

} // namespace

std::map<std::string, std::string> GetPlainEnvironment() {
    std::map<std::string, std::string> environment{{"PATH", "/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin"}};
    for (const char* const name :
         {"ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "TOVRA_MUTANT", "TOVRA_MUTANT_REACHED"}) {
        if (const char* const value = getenv(name)) {
            environment[name] = value;
        }
    }
    return environment;
}

RunningProgram::RunningProgram(const Program& program)
    : m_deadline(std::chrono::steady_clock::now() + program.timeLimit) {
    const Launch launch(program);
    Pipe input;
    Pipe output;
    Pipe errors;
    std::array<int, 3> sources{input.readEnd, output.writeEnd, errors.writeEnd};
    for (const auto& [target, source] : program.descriptors) {
        sources.at(static_cast<std::size_t>(target)) = source;
    }
    m_id = fork();
    if (m_id == 0) {
        Start(launch, sources, program.closedDescriptors);
    }
    const int error = errno;
    Close(input.readEnd);
    Close(output.writeEnd);
    Close(errors.writeEnd);
    m_inputDescriptor = input.writeEnd;
    m_outputDescriptor = output.readEnd;
    m_errorsDescriptor = errors.readEnd;
    fcntl(m_outputDescriptor, F_SETFL, O_NONBLOCK);
    fcntl(m_errorsDescriptor, F_SETFL, O_NONBLOCK);
    if (m_id < 0) {
        throw std::system_error(error, std::generic_category(), "fork");
    }
    setpgid(m_id, m_id);
    m_processDescriptor = OpenProcess(m_id);
}

RunningProgram::~RunningProgram() {
    if (!m_isReaped) {
        kill(-m_id, SIGKILL);
        waitpid(m_id, nullptr, 0);
    }
    Close(m_processDescriptor);
    Close(m_inputDescriptor);
    Close(m_outputDescriptor);
    Close(m_errorsDescriptor);
}

bool RunningProgram::IsRunning() const {
    pollfd request{m_processDescriptor, POLLIN, 0};
    return !m_isReaped && poll(&request, 1, 0) == 0;
}

bool RunningProgram::WaitForOutput(const std::string& text) {
    while (m_result.output.find(text) == std::string::npos) {
        if (!IsRunning() || GetRemainingMilliseconds() == 0) {
            Drain();
            return m_result.output.find(text) != std::string::npos;
        }
        CollectOnce();
    }
    return true;
}

void RunningProgram::Signal(int signal) const {
    kill(m_id, signal);
}

ProgramResult RunningProgram::Wait() {
    while (IsRunning() && !m_result.timedOut) {
        CollectOnce();
        m_result.timedOut = GetRemainingMilliseconds() == 0 && IsRunning();
    }
    // Before reaping: until then its process group's id can't be reused.
    kill(-m_id, SIGKILL);
    int state = 0;
    while (waitpid(m_id, &state, 0) < 0 && errno == EINTR) {
    }
    m_isReaped = true;
    Drain();
    m_result.status = WIFEXITED(state) ? WEXITSTATUS(state) : -1;
    m_result.signal = WIFSIGNALED(state) ? WTERMSIG(state) : 0;
    return m_result;
}

/// Waits for output, the program's end or the deadline, and reads the output available.
void RunningProgram::CollectOnce() {
    // `poll` ignores negative descriptors.
    const int output = m_result.output.size() < outputLimit ? m_outputDescriptor : -1;
    const int errors = m_result.errors.size() < outputLimit ? m_errorsDescriptor : -1;
    std::array<pollfd, 3> requests{{{m_processDescriptor, POLLIN, 0}, {output, POLLIN, 0}, {errors, POLLIN, 0}}};
    if (poll(requests.data(), requests.size(), GetRemainingMilliseconds()) <= 0) {
        return;
    }
    if (requests[1].revents != 0) {
        ReadAvailable(m_outputDescriptor, m_result.output);
    }
    if (requests[2].revents != 0) {
        ReadAvailable(m_errorsDescriptor, m_result.errors);
    }
}

/// Reads the rest of the pipes, without waiting for other processes that may have them open.
void RunningProgram::Drain() {
    for (auto [descriptor, text] :
         {std::pair(&m_outputDescriptor, &m_result.output), std::pair(&m_errorsDescriptor, &m_result.errors)}) {
        for (std::size_t before = text->size() + 1; *descriptor >= 0 && before != text->size();) {
            before = text->size();
            ReadAvailable(*descriptor, *text);
        }
    }
}

int RunningProgram::GetRemainingMilliseconds() const {
    const auto remaining = std::chrono::ceil<std::chrono::milliseconds>(m_deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::max(remaining.count(), std::chrono::milliseconds::rep{0}));
}

ProgramResult Run(const Program& program) {
    return RunningProgram(program).Wait();
}

} // namespace Tovra::Tests
