#pragma once

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <concepts>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <utility>

namespace Tovra::Tests {

/// Throws the error in `errno` with `what`, if `failed`.
void ThrowIf(bool failed, const std::string& what);

/// A child process that runs part of a test. The destructor kills and reaps it, if need be.
class Child {
public:
    /// The child exits with the result of `body`, or with 100 if it throws.
    template <class Body>
        requires std::invocable<const Body&>
    explicit Child(const Body& body) : m_id(fork()) {
        ThrowIf(m_id < 0, "fork");
        if (m_id != 0) {
            return;
        }
        try {
            _exit(body());
        } catch (const std::exception& exception) {
            dprintf(STDERR_FILENO, "%s\n", exception.what());
            _exit(100);
        }
    }
    /// A child that was forked elsewhere.
    explicit Child(pid_t id) : m_id(id) {}
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() {
        if (m_id != 0) {
            kill(m_id, SIGKILL);
            waitpid(m_id, nullptr, 0);
        }
    }

    pid_t GetId() const { return m_id; }

    /// Waits until it has ended, but leaves it unreaped.
    void BecomeZombie() const {
        siginfo_t information;
        ThrowIf(waitid(P_PID, static_cast<id_t>(m_id), &information, WEXITED | WNOWAIT) != 0, "waitid");
    }

    /// Waits until it ends. Returns its exit status, or minus the signal that ended it.
    int Wait() {
        int status = 0;
        ThrowIf(waitpid(std::exchange(m_id, 0), &status, 0) < 0, "waitpid");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

private:
    pid_t m_id;
};

bool IsRoot();

/// Becomes an unprivileged user for good, if this process is root. Throws on an error.
void DropRights();

} // namespace Tovra::Tests
