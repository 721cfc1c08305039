#pragma once

#include <System/Runtime/System.h>
#include <System/Threads/Thread.h>

#include <array>
#include <atomic>
#include <memory>
#include <shared_mutex>

namespace Tovra::System::Threads {

/// The system that makes threads: a fixed pool of slots, each of which serves one thread in the manager's life.
class ThreadManager final
    : public Runtime::System<ThreadManager, "ThreadingSystem", GUID{0x1A6C3547235045D0, 0xB8BEE0C8D835363C}> {
public:
    /// The `Thread` that stands for the thread that runs `main`.
    class MainThread final : public Thread {
    public:
        MainThread() : Thread(s_mainThreadId, Status::Main) {}

        /// Makes the calling thread the main thread, see `ThreadManager::BindMainThreadToCurrentThread`.
        static void BindToCurrentThread();
    };

    static constexpr Types::TypeID s_typeID = 0x0F8BA2E9;
    static constexpr std::uint16_t s_maxThreadCount = 16; ///< Threads at once, as far as the count is asked.
    static constexpr ThreadID s_mainThreadId = 1;

    ThreadManager() = default;

    /// Waits for the threads of all slots. Asserts that their work is over.
    ~ThreadManager() override;

    /// The main thread, whether or not there is a manager. Any thread. Lives until the process's exit.
    static MainThread* GetMainThread();

    /// Makes the calling thread the main thread: the first act of a program, before anyone asks for the current thread.
    static void BindMainThreadToCurrentThread();

    /// Always true; asserts that it runs on the main thread. There is no configuration.
    bool Initialize(const Runtime::IConfig* config) override;

    /// Asks for nothing: the manager has no loop.
    void GetExecutionParameters(Runtime::SystemExecutionParameters& parameters) override;

    /// Runs `entryPoint` on a new thread. `createdThread` becomes that thread, owned by the manager; read its index and
    /// id before the work can be over.
    ///
    /// False, with `createdThread` null and `entryPoint` untouched, if 16 threads are counted. Throws `Error<310, 1>`
    /// if there is no free slot, of which there are 15, or another creator took the same one; the thread counts
    /// nevertheless. The latter is reported first; the process ends where there is no file for the report. Asserts
    /// that the work is not over already, so it must not be shorter than a creation. Throws `std::system_error` if the
    /// operating system has no more threads; the slot is lost then. Any thread.
    bool TryCreateThread(std::unique_ptr<ThreadEntryPointCallback>&& entryPoint, Thread*& createdThread);

    /// Takes the thread's slot back. The finishing thread, once: throws `Error<302, 1>` if its work is not over.
    void OnThreadFinished(Thread& thread);

private:
    static constexpr std::size_t s_slotCount = s_maxThreadCount - 1;

    /// Raises the count, which was just read, by one; false if it stands at its limit.
    bool TryRaiseThreadCount(std::uint16_t count);

    /// Counts a thread and finds a slot for it, which is null if there is none; false if the count stands at its limit.
    /// What fails is reported in the name of `function`, here and in `TryTakeSlot`.
    bool TryReserve(Thread*& slot, const char* function);

    /// Numbers the first free slot and gives it; null if there is none or somebody else takes it meanwhile, which is
    /// reported.
    Thread* TryTakeSlot(const char* function);

    std::shared_mutex m_mutex;
    std::atomic<std::uint16_t> m_threadCount = 0;
    std::atomic<ThreadID> m_nextThreadID = s_mainThreadId + 1;
    std::array<Thread, s_slotCount> m_threads;
};

} // namespace Tovra::System::Threads
