#include <System/Error/ErrorHandler.h>
#include <System/Error/Exception.h>
#include <System/Log/Log.h>
#include <System/Threads/Thread.h>
#include <System/Types/Utilities.h>

TOVRA_LOG_CONTEXT(System);

namespace Tovra::System::Threads {

thread_local constinit Thread* Thread::s_currentThread = nullptr;

Thread::~Thread() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

Thread& Thread::GetCurrent() {
    return Dereference(s_currentThread);
}

bool Thread::Initialize(ThreadIndex index, ThreadID id) {
    // Atomic: of two creators that found the same slot, exactly one gets it.
    Status expected = Status::None;
    if (!m_status.compare_exchange_strong(expected, Status::Initialized)) {
        TOVRA_THROW(ThreadInitialize, 1, "State of the thread doesn't allow initialize.");
    }
    m_index = index;
    m_id = id;
    return true;
}

void Thread::Start(std::unique_ptr<ThreadEntryPointCallback>&& entryPoint, std::function<void(Thread&)>&& onFinished) {
    if (GetStatus() != Status::Initialized) {
        TOVRA_THROW(ThreadStart, 1, "State of the thread doesn't allow start.");
    }
    m_entryPoint = std::move(entryPoint);
    m_onFinished = std::move(onFinished);
    m_thread = std::thread(EntryPoint, this);
    // Intentional: stored last and unsynchronised, over whatever the new thread has stored meanwhile. If its work is
    // already over, the slot counts as started for ever, or, in the moment before its reset, the reset throws and the
    // process ends. A slot runs one thread only in either case.
    m_status = Status::Started;
}

void Thread::EntryPoint(void* data) {
    TOVRA_ASSERT(data != nullptr, "Parameter 'data' shall never be null.");
    auto* const thread = static_cast<Thread*>(data);
    s_currentThread = thread;
    TOVRA_LOG(System, Debug, "Thread started.");
    Dereference(thread->m_entryPoint.get()).SetThread(*thread);
    thread->RunEntryPoint();
    if (thread->GetStatus() != Status::Failed) {
        // Intentional: "succesfully" is misspelled; readers of logs look for the text as it stands.
        TOVRA_LOG(System, Debug, "Thread finished operation succesfully.");
    } else {
        TOVRA_LOG(System, Error, "Thread finished with error.");
    }
    thread->m_status = Status::Finished;
    thread->m_onFinished(*thread);
}

void Thread::RunEntryPoint() {
    try {
        m_entryPoint->Run();
    } catch (const Error::Exception& exception) {
        m_status = Status::Failed;
        exception.SetHandled();
    } catch (const std::exception& exception) {
        m_status = Status::Failed;
        Error::ErrorHandler::s_instance.OnException(exception, true);
    }
}

void Thread::Reset() {
    if (GetStatus() != Status::Finished) {
        TOVRA_THROW(ThreadStart, 1, "State of the thread doesn't allow reset.");
    }
    // Intentional: tested twice, so that a creator that stores its status in between is noticed.
    TOVRA_ASSERT(m_status.load(std::memory_order_acquire) == Status::Finished, "");
    TOVRA_ASSERT(s_currentThread == this, "Shall only be called from the owning thread!");
    s_currentThread = nullptr;
    m_index = s_noIndex;
    m_id = s_noId;
    m_status = Status::None;
}

} // namespace Tovra::System::Threads
