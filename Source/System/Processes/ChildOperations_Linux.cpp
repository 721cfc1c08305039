#include <System/FileSystem/Descriptor.h>
#include <System/Processes/ChildOperations.h>
#include <System/Utilities/BlockedSignals.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace Tovra::System::Processes {

namespace {

/// What a child sends first.
enum class Kind : char {
    Message,   ///< The message's size and bytes follow.
    Exception, ///< An exception has left the work.
};

/// False if not all could be written.
bool WriteAll(int descriptor, const void* data, std::size_t size) {
    const auto* const bytes = static_cast<const char*>(data);
    std::size_t total = 0;
    while (total < size) {
        const ssize_t written = write(descriptor, bytes + total, size - total);
        if (written > 0) {
            total += static_cast<std::size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

/// What a child sends, as its parent reads it.
class Messages {
public:
    /// Takes the descriptor of the pipe's end, which stays the caller's.
    Messages(int input, pid_t child) : m_input(input), m_child(static_cast<int>(syscall(SYS_pidfd_open, child, 0))) {}

    /// Nothing if the child has ended, or closed its end of the pipe, before all of it came.
    template <class Value>
    std::optional<Value> Read() const {
        Value value{};
        return ReadAll(&value, sizeof value) ? std::optional(value) : std::nullopt;
    }

    /// The size and the bytes behind it; nothing in the same cases.
    std::optional<std::string> ReadText() const {
        const auto size = Read<std::size_t>();
        if (!size) {
            return std::nullopt;
        }
        std::string text(*size, '\0');
        return ReadAll(text.data(), *size) ? std::optional(text) : std::nullopt;
    }

private:
    bool ReadAll(void* data, std::size_t size) const {
        auto* const bytes = static_cast<char*>(data);
        std::size_t total = 0;
        while (total < size) {
            const ssize_t count = WaitForInput() ? read(m_input, bytes + total, size - total) : 0;
            if (count > 0) {
                total += static_cast<std::size_t>(count);
            } else if (count == 0 || errno != EINTR) {
                return false;
            }
        }
        return true;
    }

    /// Waits until something can be read. False if the child ends first: a process that a driver has forked may keep
    /// the pipe open for longer. Where the kernel can't hold processes, the pipe alone counts.
    bool WaitForInput() const {
        std::array<pollfd, 2> sources{{{m_input, POLLIN, {}}, {m_child.Get(), POLLIN, {}}}};
        while (poll(sources.data(), sources.size(), -1) == -1) {
            if (errno != EINTR) { // As by a handler of SIGCHLD.
                return true;
            }
        }
        return sources[0].revents != 0;
    }

    int m_input;
    FileSystem::Descriptor m_child;
};

/// Lets this process end at a signal: by a handler, as the first process of a namespace would ignore a signal without
/// one.
void EndAt(int signal) {
    std::signal(signal, [](int) { _exit(EXIT_FAILURE); });
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, signal);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

/// Ends this process after that time, whatever its threads do.
void EndAfter(std::chrono::milliseconds limit) {
    const int signal = SIGRTMAX; // Nobody else sends it.
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = signal;
    const auto seconds = std::chrono::floor<std::chrono::seconds>(limit);
    if (timer_t timer = nullptr; timer_create(CLOCK_MONOTONIC, &event, &timer) == 0) {
        EndAt(signal);
        const std::chrono::nanoseconds rest = limit - seconds;
        const itimerspec end{.it_interval = {}, .it_value = {.tv_sec = seconds.count(), .tv_nsec = rest.count()}};
        timer_settime(timer, 0, &end, nullptr);
        return;
    }
    // The user has as many signals pending as allowed, or a timer would be one more. This one needs none.
    EndAt(SIGALRM);
    const std::chrono::microseconds rest = limit - seconds;
    const itimerval end{.it_interval = {}, .it_value = {.tv_sec = seconds.count(), .tv_usec = rest.count()}};
    setitimer(ITIMER_REAL, &end, nullptr);
}

/// The child's part. Returns only by an exception.
[[noreturn]] void Work(const ChildWork& work, int output, pid_t parent, std::chrono::milliseconds limit) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    EndAfter(limit);
    // The first process of a namespace sees 0 in place of a parent outside.
    if (const pid_t present = getppid(); present != parent && present != 0) {
        _exit(EXIT_FAILURE); // The parent ended before the call of prctl.
    }
    try {
        work([output](std::string_view message) {
            const Kind kind = Kind::Message;
            const std::size_t size = message.size();
            // A size without its bytes, or bytes without a size, would be read as another message.
            if (!WriteAll(output, &kind, sizeof kind) || !WriteAll(output, &size, sizeof size) ||
                !WriteAll(output, message.data(), size)) {
                _exit(EXIT_FAILURE);
            }
        });
    } catch (...) {
        const Kind kind = Kind::Exception;
        WriteAll(output, &kind, sizeof kind);
        throw;
    }
    std::fflush(nullptr); // What a driver has printed.
    _exit(EXIT_SUCCESS);  // The exit handlers are the parent's, and a driver's may crash.
}

/// How the child has ended; as a failure if someone else has waited for it.
int WaitFor(pid_t child) {
    int status = W_EXITCODE(EXIT_FAILURE, 0);
    while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
    return status;
}

/// Ends this process as the child of that status has ended.
[[noreturn]] void EndLike(int status) {
    if (WIFEXITED(status)) {
        _exit(WEXITSTATUS(status));
    }
    std::signal(WTERMSIG(status), SIG_DFL);
    raise(WTERMSIG(status));
    _exit(EXIT_FAILURE); // The signal is blocked.
}

bool IsFault(int signal) {
    return std::ranges::find(Utilities::faultSignals, signal) != Utilities::faultSignals.end();
}

/// Only the parent reports a terminal's signals: they are blocked until the child ignores them.
pid_t Fork() {
    const Utilities::BlockedSignals blocked(Utilities::BlockedSignals::Kind::AllButFaults);
    const pid_t child = fork();
    if (child == 0) {
        for (const int signal : {SIGINT, SIGTERM}) {
            std::signal(signal, SIG_IGN);
        }
    }
    return child;
}

/// A scope in which a child that has ended is kept until it is waited for. A process may have been started with SIGCHLD
/// ignored, and its children then leave no status.
class ChildrenKept {
public:
    ChildrenKept() {
        sigaction(SIGCHLD, nullptr, &m_before);
        struct sigaction action = m_before;
        action.sa_flags &= ~SA_NOCLDWAIT;
        if (action.sa_handler == SIG_IGN) {
            action.sa_handler = SIG_DFL;
        }
        sigaction(SIGCHLD, &action, nullptr);
    }
    ~ChildrenKept() { sigaction(SIGCHLD, &m_before, nullptr); }
    ChildrenKept(const ChildrenKept&) = delete;
    ChildrenKept& operator=(const ChildrenKept&) = delete;

private:
    struct sigaction m_before{};
};

} // namespace

bool RunInChild(const ChildWork& work, const MessageReceiver& receive, std::chrono::milliseconds limit) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return RunInThisProcess(work, receive);
    }
    const auto [input, output] = ends;
    std::fflush(nullptr); // Or the child would print the same once more.
    const ChildrenKept kept;
    const pid_t parent = getpid();
    const pid_t child = Fork();
    if (child == 0) {
        close(input);
        Work(work, output, parent, limit);
    }
    close(output);
    if (child == -1) {
        close(input);
        return RunInThisProcess(work, receive);
    }
    const Messages messages(input, child);
    const auto kind = messages.Read<Kind>();
    const auto message = kind == Kind::Message ? messages.ReadText() : std::nullopt;
    close(input);
    if (message) {
        receive(*message);
    }
    const int status = WaitFor(child);
    if (!message && (kind == Kind::Exception || (WIFSIGNALED(status) && !IsFault(WTERMSIG(status))))) {
        EndLike(status);
    }
    return message.has_value();
}

} // namespace Tovra::System::Processes
