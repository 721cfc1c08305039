#include <Support/ThreadWork.h>
#include <System/Threads/ThreadEntryPointCallback.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace {

/// The address of what this thread has deleted last without its size.
thread_local std::uintptr_t s_deleted = 0;

} // namespace

// The linker (--wrap) redirects calls of `operator delete(void*)` to the second function, and calls of the first to
// that operator.
extern "C" {
void __real__ZdlPv(void* memory) noexcept;

void __wrap__ZdlPv(void* memory) noexcept {
    s_deleted = reinterpret_cast<std::uintptr_t>(memory);
    __real__ZdlPv(memory);
}
}

namespace {

using Tovra::System::Threads::ThreadEntryPointCallback;
using Tovra::Tests::ThreadWork;

TEST(ThreadEntryPointDeletion, GivesTheMemoryBack) {
    const std::function<void()> work = [] {};
    std::unique_ptr<ThreadEntryPointCallback> callback = ThreadWork::Make(work);
    const auto address = reinterpret_cast<std::uintptr_t>(callback.get());
    s_deleted = 0;
    callback.reset();
    EXPECT_EQ(s_deleted, address);
}

} // namespace
