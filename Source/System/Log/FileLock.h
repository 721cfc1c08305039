#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace Tovra::System::Log {

/// The lock of the log file: shared by the threads that write, exclusive for the one that replaces the file.
///
/// A `std::shared_mutex` but for one difference.
/// Intentional: `unlock` by a thread that does not own the lock exclusively has no effect. The thread that loses the
/// race for a rollover makes that call. With `std::shared_mutex` its behaviour would be undefined: it might
/// release the winner's lock, or leave it locked for good.
///
/// Any thread; not recursive. While `lock` waits for the shared owners, it keeps new ones out.
class FileLock {
public:
    FileLock() = default;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    /// Waits until no thread owns the lock exclusively, and shares it.
    void lock_shared() {
        if (!try_lock_shared()) [[unlikely]] {
            WaitToShare();
        }
    }
    /// Shares the lock unless a thread owns it exclusively, or is about to.
    bool try_lock_shared() {
        if ((m_state.fetch_add(1, std::memory_order_acquire) & s_exclusive) != 0) [[unlikely]] {
            unlock_shared();
            return false;
        }
        return true;
    }
    /// Ends the share that this thread has.
    void unlock_shared() {
        if (m_state.fetch_sub(1, std::memory_order_release) == (s_exclusive | 1)) [[unlikely]] {
            m_state.notify_all();
        }
    }

    /// Waits until no other thread owns or shares the lock, and owns it exclusively.
    void lock();

    /// Like any `try_lock` it may fail although no thread owns the lock, while another one is about to wait for it.
    bool try_lock();

    /// Ends exclusive ownership; see the class for a thread that has none.
    void unlock();

private:
    static constexpr std::uint32_t s_exclusive = 1U << 31U; ///< Owned exclusively, or about to be.

    void WaitToShare();

    std::atomic<std::uint32_t> m_state = 0; ///< The number of shared owners, and `s_exclusive`.
    std::atomic<std::thread::id> m_owner;   ///< The exclusive owner, or none.
};

} // namespace Tovra::System::Log
