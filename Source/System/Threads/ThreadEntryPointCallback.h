#pragma once

#include <System/Error/Assertion.h>

#include <new>

namespace Tovra::System::Threads {

class Thread;

/// The work of a thread. Whoever runs it names the thread first, then calls `Run`, both once.
class ThreadEntryPointCallback {
public:
    ThreadEntryPointCallback() = default;
    ThreadEntryPointCallback(const ThreadEntryPointCallback&) = delete;
    ThreadEntryPointCallback& operator=(const ThreadEntryPointCallback&) = delete;

    /// The work itself, on the thread that was named.
    virtual void Run() = 0;

    /// Asserts that no thread was named before. Not owned.
    void SetThread(Thread& thread) {
        TOVRA_ASSERT(m_thread == nullptr, "Thread shall be set once only.");
        m_thread = &thread;
    }

    /// The thread that runs this, or null before `SetThread`.
    Thread* GetThread() const { return m_thread; }

    /// Meant: a callback is deleted as this class, and the destructors of derived classes do not run, so a derived
    /// class must own nothing that needs one. The table of virtual functions is laid out without a destructor, and
    /// programs rely on that layout. Deleting in this form gives it a defined meaning.
    void operator delete(ThreadEntryPointCallback* callback, std::destroying_delete_t) {
        callback->ThreadEntryPointCallback::~ThreadEntryPointCallback();
        ::operator delete(static_cast<void*>(callback));
    }

private:
    Thread* m_thread = nullptr;
};

} // namespace Tovra::System::Threads
