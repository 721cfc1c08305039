// Label: threaded

#include <Support/Assertions.h>
#include <Support/TestApplication.h>
#include <Support/ThreadLimit.h>
#include <Support/ThreadWork.h>
#include <System/Threads/ThreadManager.h>

#include <csignal>
#include <cstdio>
#include <functional>
#include <memory>
#include <system_error>

namespace {

using Tovra::System::Threads::Thread;
using Tovra::System::Threads::ThreadManager;
using Tovra::Tests::ApplicationTest;
using Tovra::Tests::IsAssertion;
using Tovra::Tests::ThreadWork;

using ThreadLimitDeathTest = ApplicationTest;

TEST_F(ThreadLimitDeathTest, AManagerIsNotDestroyedWithAThreadThatTheSystemRefused) {
    const auto refuse = [] {
        const std::function<void()> nothing = [] {};
        auto manager = std::make_unique<ThreadManager>();
        Tovra::Tests::RefuseThreads();
        Thread* thread = nullptr;
        EXPECT_THROW(manager->TryCreateThread(ThreadWork::Make(nothing), thread), std::system_error);
        std::fputs("Refused.", stderr);
        manager.reset();
    };
    EXPECT_EXIT(refuse(), testing::KilledBySignal(SIGABRT),
                testing::AllOf(testing::HasSubstr("Refused."), IsAssertion("false", "Thread is not finished.")));
}

} // namespace
