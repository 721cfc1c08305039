#pragma once

#include <System/Runtime/System.h>
#include <System/Threads/Thread.h>

#include <array>
#include <atomic>
#include <memory>
#include <shared_mutex>

namespace Tovra::System::Threads {

/// The system that creates threads: a fixed pool of slots, each of which runs one thread in the manager's life.
class ThreadManager final
    : public Runtime::System<ThreadManager, "ThreadingSystem", GUID{0x1A6C3547235045D0, 0xB8BEE0C8D835363C}> {
public:
    /// Represents the thread that runs `main`.
    class MainThread final : public Thread {
    public:
        MainThread() : Thread(s_mainThreadId, Status::Main) {}

        /// Makes the calling thread the main thread, see `ThreadManager::BindMainThreadToCurrentThread`.
        static void BindToCurrentThread();
    };

    /// Identifies the type among systems.
    static constexpr Types::TypeID s_typeID = 0x0F8BA2E9;
    static constexpr std::uint16_t s_maxThreadCount = 16; ///< Limit of the count of threads; there is one slot fewer.
    static constexpr ThreadID s_mainThreadId = 1;

    ThreadManager() = default;

    /// Asserts that the work of all threads is over, then waits for the threads to end.
    ~ThreadManager() override;

    /// The main thread, whether or not there is a manager. Any thread. Lives until the process's exit.
    static MainThread* GetMainThread();

    /// Makes the calling thread the main thread. A program does it first, before anything asks for the current thread.
    static void BindMainThreadToCurrentThread();

    /// Always true. Asserts that it runs on the main thread. `config` is not used.
    bool Initialize(const Runtime::IConfig* config) override;

    /// Leaves `parameters` unchanged: the manager has no loop.
    void GetExecutionParameters(Runtime::SystemExecutionParameters& parameters) override;

    /// Runs `entryPoint` on a new thread and sets `createdThread` to it. The manager owns it; read its index and id
    /// before its work can be over. Any thread.
    ///
    /// False, with `createdThread` null and `entryPoint` untouched, if 16 threads are counted. Throws `Error<310, 1>`
    /// if there is no free slot, of which there are 15, or another creator took the same one; the latter is reported
    /// first, and the process ends where there is no file for the report. Throws `std::system_error` if the operating
    /// system has no more threads; the slot is lost then. Asserts that the work is not over already, so it must take
    /// longer than this call.
    ///
    /// Intentional: a thread that found no slot stays counted. The slot of a finished thread is found again, though it
    /// can't run a second one, and ends the process by `std::terminate`: create all threads before one is finished.
    bool TryCreateThread(std::unique_ptr<ThreadEntryPointCallback>&& entryPoint, Thread*& createdThread);

    /// Lowers the count and resets the thread's slot. Called once, on the finishing thread. Throws `Error<302, 1>` if
    /// its work is not over.
    void OnThreadFinished(Thread& thread);

private:
    static constexpr std::size_t s_slotCount = s_maxThreadCount - 1;

    /// Raises the count by one. False if it is at its limit.
    bool TryRaiseThreadCount();

    /// Counts a thread and finds a slot for it; `slot` is null if there is none. False if the count is at its limit.
    /// Failures are reported in the name of `function`, here and in `TryTakeSlot`.
    bool TryReserve(Thread*& slot, const char* function);

    /// Takes the first free slot and gives it its id. Null if there is none, or if another creator takes it first,
    /// which is reported.
    Thread* TryTakeSlot(const char* function);

    std::shared_mutex m_mutex; ///< Only ever shared, so it keeps nobody out: the slots and the numbers are atomic.
    std::atomic<std::uint16_t> m_threadCount = 0;
    std::atomic<ThreadID> m_nextThreadID = s_mainThreadId + 1;
    std::array<Thread, s_slotCount> m_threads;
};

} // namespace Tovra::System::Threads
