#pragma once

#include <array>
#include <csignal>

namespace Tovra::System::Utilities {

/// Signals by which a process ends through its own fault.
constexpr std::array faultSignals{SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP};

/// A scope in which the thread receives no signals but `faultSignals`, nor do the threads that it creates: what is sent
/// to the process is left to its other threads or waits until the end of the scope.
///
/// For a thread that holds a lock which a signal's handler would wait for, before the lock: the error handler's reports
/// go to the log, and would wait forever on the thread that they interrupt. Any thread; scopes may be nested.
class BlockedSignals {
public:
    BlockedSignals();
    ~BlockedSignals();
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t m_before{};
};

} // namespace Tovra::System::Utilities
