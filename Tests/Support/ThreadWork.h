#pragma once

#include <System/Threads/Thread.h>

#include <functional>
#include <memory>

namespace Tovra::Tests {

/// A thread's entry point that calls a function, which it doesn't own.
class ThreadWork final : public System::Threads::ThreadEntryPointCallback {
public:
    explicit ThreadWork(const std::function<void()>& function) : m_function(function) {}
    explicit ThreadWork(std::function<void()>&&) = delete;

    void Run() override { m_function(); }

    static std::unique_ptr<System::Threads::ThreadEntryPointCallback> Make(const std::function<void()>& function) {
        return std::make_unique<ThreadWork>(function);
    }
    static void Make(std::function<void()>&&) = delete;

private:
    const std::function<void()>& m_function;
};

} // namespace Tovra::Tests
