#pragma once

#include <System/Threads/ThreadEntryPointCallback.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

namespace Tovra::System::Threads {

/// The number of a slot, from 0.
using ThreadIndex = std::uint16_t;

/// A number that no other thread of the same manager ever has; the main thread's is 1.
using ThreadID = std::uint32_t;

/// One slot of the thread manager, which alone makes threads: an operating system's thread with its status, its numbers
/// and its work.
class Thread {
public:
    static constexpr ThreadIndex s_noIndex = 0xFFFF;
    static constexpr ThreadID s_noId = 0;

    enum class Status : std::uint64_t {
        None,        ///< The slot is free.
        Main,        ///< The main thread; never changes.
        Initialized, ///< It has its numbers.
        Started,     ///< It has its work.
        Running,     ///< Nothing stores it; it counts as not finished.
        Finished,    ///< The work is over, well or not.
        Failed,      ///< An exception ended the work; followed by `Finished` at once.
    };

    Thread() = default;
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Waits for the end of the operating system's thread.
    ~Thread();

    /// The thread that runs this call. Asserts that it is the main thread or one of the manager's. Any of these
    /// threads.
    static Thread& GetCurrent();

    /// Takes the slot; always true. Throws `Error<301, 1>` unless it is free. Creating thread.
    bool Initialize(ThreadIndex index, ThreadID id);

    /// Runs `entryPoint` on a new thread, which it is told, and then `onFinished` on the same thread. Throws
    /// `Error<302, 1>` unless the slot was initialised, `std::system_error` if the system has no more threads. Ends the
    /// process by `std::terminate` in a slot that has run a thread before: a slot serves once. Creating thread.
    ///
    /// The new thread asserts that there is work. An `Exception` or a `std::exception` of the work is reported and ends
    /// only the work; the process ends where there is no file for the report. Any other exception, and an empty
    /// `onFinished`, ends the process.
    void Start(std::unique_ptr<ThreadEntryPointCallback>&& entryPoint, std::function<void(Thread&)>&& onFinished);

    /// Frees the slot's numbers; the thread is nobody's afterwards, and `GetCurrent` asserts on it. Throws `Error<302,
    /// 1>` unless the work is over; asserts that it runs on this very thread.
    void Reset();

    /// What the new thread runs; `data` is the `Thread`, asserted not to be null.
    static void EntryPoint(void* data);

    /// Whether the status is the one named, now. Any thread.
    bool IsInitialized() const { return GetStatus() == Status::Initialized; }
    bool IsStarted() const { return GetStatus() == Status::Started; }
    Status GetStatus() const { return m_status.load(std::memory_order_acquire); }

    /// Its slot, or `s_noIndex`. Creating thread or the thread itself.
    ThreadIndex GetIndex() const { return m_index; }

    /// Its number, or `s_noId`. Creating thread or the thread itself.
    ThreadID GetId() const { return m_id; }

protected:
    /// A thread that is there already.
    Thread(ThreadID id, Status status) : m_id(id), m_status(status) {}

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
