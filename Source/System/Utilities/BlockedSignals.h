#pragma once

#include <array>
#include <csignal>

namespace Tovra::System::Utilities {

/// Signals by which a process ends through its own fault.
inline constexpr std::array faultSignals{SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP};

/// A scope in which the thread receives no signals. What is sent to the process goes to another thread or waits until
/// the end of the scope; threads that are created in it have the same signals blocked. Any thread; scopes may be
/// nested.
///
/// Around a lock that a signal's handler takes too, it is constructed before the lock is taken: the handler would wait
/// forever on the thread that it interrupted.
class BlockedSignals {
public:
    /// With `All` the system ends the process without a report if the thread itself causes a fault.
    enum class Kind { All, AllButFaults };

    explicit BlockedSignals(Kind kind);
    ~BlockedSignals();
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t m_before{};
};

} // namespace Tovra::System::Utilities
