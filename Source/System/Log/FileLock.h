#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace Tovra::System::Log {

/// The lock of the log file: writers hold it together, whoever exchanges the file holds it alone.
///
/// It is a `std::shared_mutex` but for one thing: an `unlock` by a thread that does not hold it alone has no effect.
/// The thread that loses the race for a rollover makes that call, which is settled, and `std::shared_mutex` gives it no
/// meaning: there it may take the lock away from under the winner, or leave it locked for good.
///
/// Any thread; not recursive. Whoever wants it alone by `lock` keeps new writers out while it waits for those inside.
class FileLock {
public:
    FileLock() = default;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    void lock_shared() {
        if ((m_state.fetch_add(1, std::memory_order_acquire) & s_exclusive) != 0) [[unlikely]] {
            WaitToShare();
        }
    }
    void unlock_shared() {
        if (m_state.fetch_sub(1, std::memory_order_release) == (s_exclusive | 1)) [[unlikely]] {
            m_state.notify_all();
        }
    }

    void lock();

    /// Like every such function it may fail although nobody holds the lock, while a thread is about to wait for it.
    bool try_lock();

    void unlock();

private:
    static constexpr std::uint32_t s_exclusive = 1U << 31U; ///< Held alone, or about to be.

    void WaitToShare();

    std::atomic<std::uint32_t> m_state = 0; ///< The number of those who share it, and `s_exclusive`.
    std::atomic<std::thread::id> m_owner;   ///< The thread that holds it alone, or none.
};

} // namespace Tovra::System::Log
