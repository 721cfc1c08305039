#pragma once

#include <System/Error/Assertion.h>

#include <concepts>
#include <memory>
#include <new>
#include <type_traits>

namespace Tovra::System::Threads {

class Thread;

/// The work of a thread. `SetThread` is called first, then `Run`, each once.
class ThreadEntryPointCallback {
public:
    ThreadEntryPointCallback() = default;
    ThreadEntryPointCallback(const ThreadEntryPointCallback&) = delete;
    ThreadEntryPointCallback& operator=(const ThreadEntryPointCallback&) = delete;

    /// Does the work. Runs on the thread that was set.
    virtual void Run() = 0;

    /// Sets the thread that runs this. Asserts that none was set before. Not owned.
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

/// Deletes a callback as the base class.
/// Intentional: the destructors of derived classes do not run, so a derived class must own nothing and have this class
/// as its first base. There is no virtual destructor because programs rely on the layout of the virtual functions;
/// deleting in this way is nevertheless well defined.
template <>
struct std::default_delete<Tovra::System::Threads::ThreadEntryPointCallback> {
    constexpr default_delete() = default;
    template <std::derived_from<Tovra::System::Threads::ThreadEntryPointCallback> Derived>
    constexpr default_delete(const std::default_delete<Derived>&) {}

    void operator()(Tovra::System::Threads::ThreadEntryPointCallback* callback) const {
        static_assert(std::is_trivially_destructible_v<Tovra::System::Threads::ThreadEntryPointCallback>);
        ::operator delete(callback);
    }
};
