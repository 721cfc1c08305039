#pragma once

#include <System/Error/Assertion.h>

#include <concepts>
#include <memory>
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

private:
    Thread* m_thread = nullptr;
};

} // namespace Tovra::System::Threads

/// Meant: a callback is deleted as the base class, and the destructors of derived classes do not run, so a derived
/// class must own nothing, and has this class as its first base. The class has no virtual destructor because programs
/// rely on the layout of its virtual functions; deleting in this form gives that a defined meaning.
template <>
struct std::default_delete<Tovra::System::Threads::ThreadEntryPointCallback> {
    constexpr default_delete() = default;
    template <std::derived_from<Tovra::System::Threads::ThreadEntryPointCallback> Derived>
    constexpr default_delete(const std::default_delete<Derived>&) {}

    void operator()(Tovra::System::Threads::ThreadEntryPointCallback* callback) const {
        using Tovra::System::Threads::ThreadEntryPointCallback;
        callback->ThreadEntryPointCallback::~ThreadEntryPointCallback();
        ::operator delete(callback);
    }
};
