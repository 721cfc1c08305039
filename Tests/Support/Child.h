#pragma once

#include <sys/mount.h>
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

/// Throws the error that `errno` tells, with what was tried.
void ThrowIf(bool failed, const std::string& what);

/// A child that runs a piece of the test, killed and reaped at the end of the object's life at the latest.
class Child {
public:
    /// The child exits with what `body` gives, or with 100 if it throws.
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
    /// A child that was made elsewhere.
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

    /// Waits for its end; its exit status, or minus the signal that ended it.
    int Wait() {
        int status = 0;
        ThrowIf(waitpid(std::exchange(m_id, 0), &status, 0) < 0, "waitpid");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

private:
    pid_t m_id;
};

/// Makes the next child of this process the first of a process namespace of its own.
void EnterProcessNamespace();

/// Runs a piece of the test as first process of a process namespace, with the procfs of that one or with ours, and
/// gives its exit status.
template <class Body>
int RunInNamespace(bool hasOwnProcfs, const Body& body) {
    return Child([&] {
               EnterProcessNamespace();
               return Child([&] {
                          ThrowIf(hasOwnProcfs && mount("proc", "/proc", "proc", 0, nullptr) != 0, "mount /proc");
                          return static_cast<int>(body());
                      })
                   .Wait();
           })
        .Wait();
}

} // namespace Tovra::Tests
