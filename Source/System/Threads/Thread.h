#pragma once

#include <System/Threads/ThreadEntryPointCallback.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

namespace Tovra::System::Threads {

/// The index of a slot, from 0.
using ThreadIndex = std::uint16_t;

/// The id of a thread, never used again by the same manager; the main thread's is 1.
using ThreadID = std::uint32_t;

/// One slot of the thread manager, which alone creates threads: an operating system's thread with its status, index, id
/// and work.
class Thread {
public:
    /// Index and id of a free slot.
    static constexpr ThreadIndex s_noIndex = 0xFFFF;
    static constexpr ThreadID s_noId = 0;

    /// What the slot's thread is doing.
    enum class Status : std::uint64_t {
        None,        ///< The slot is free.
        Main,        ///< The main thread; never changes.
        Initialized, ///< The slot has its index and id.
        Started,     ///< The thread was created.
        Running,     ///< Never stored; counts as not finished.
        Finished,    ///< The work is over, successfully or not.
        Failed,      ///< An exception ended the work; followed by `Finished` at once.
    };

    Thread() = default;
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Waits for the end of the operating system's thread.
    ~Thread();

    /// The calling thread. Asserts that it is the main thread or one of the manager's. Lives as long as its manager,
    /// the main thread until the process's exit.
    static Thread& GetCurrent();

    /// Takes the slot and sets its index and id. Always true. Throws `Error<301, 1>` unless the slot is free. Creating
    /// thread.
    bool Initialize(ThreadIndex index, ThreadID id);

    /// Takes over `entryPoint` and `onFinished`, and runs them one after the other on a new thread, which `entryPoint`
    /// is told by `SetThread`. Throws `Error<302, 1>` unless the slot is initialised, and `std::system_error` if the
    /// system has no more threads. Creating thread.
    ///
    /// The new thread asserts that `entryPoint` is not null. If its work throws an `Exception` or a `std::exception`,
    /// that is reported and ends only the work, or the process if there is no dump file. Any other exception, and an
    /// empty `onFinished`, ends the process.
    ///
    /// Intentional: ends the process by `std::terminate` in a slot that has run a thread before; a slot serves once.
    void Start(std::unique_ptr<ThreadEntryPointCallback>&& entryPoint, std::function<void(Thread&)>&& onFinished);

    /// Clears the slot's index, id and status. `GetCurrent` asserts on this thread afterwards. Throws `Error<302, 1>`
    /// unless the work is over; asserts that it is called on the slot's own thread.
    void Reset();

    /// The function of the new thread; `data` is the `Thread`. Asserts that it is not null.
    static void EntryPoint(void* data);

    /// The current status, or whether it is the one named. Any thread.
    bool IsInitialized() const { return GetStatus() == Status::Initialized; }
    bool IsStarted() const { return GetStatus() == Status::Started; }
    Status GetStatus() const { return m_status.load(std::memory_order_acquire); }

    /// The index of the slot, or `s_noIndex`. Creating thread or the thread itself.
    ThreadIndex GetIndex() const { return m_index; }

    /// The id of the thread, or `s_noId`. Creating thread or the thread itself.
    ThreadID GetId() const { return m_id; }

protected:
    /// Represents a thread that exists already.
    Thread(ThreadID id, Status status) : m_id(id), m_status(status) {}

    /// The calling thread, or null on a thread that is not one of ours.
    static thread_local constinit Thread* s_currentThread;

private:
    /// Runs the work and reports what it throws.
    void RunEntryPoint();

    std::thread m_thread;
    std::unique_ptr<ThreadEntryPointCallback> m_entryPoint;
    std::function<void(Thread&)> m_onFinished;
    ThreadIndex m_index = s_noIndex;
    ThreadID m_id = s_noId;
    std::atomic<Status> m_status = Status::None;
};

} // namespace Tovra::System::Threads
