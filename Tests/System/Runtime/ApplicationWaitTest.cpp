#include <Support/EnvironmentValue.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestApplication.h>
#include <Support/TestSystem.h>
#include <Support/ThreadWork.h>
#include <System/Log/Logger.h>
#include <System/Threads/ThreadManager.h>

#include <gtest/gtest.h>

#include <atomic>
#include <ctime>
#include <functional>
#include <thread>
#include <utility>

namespace {

/// How often this thread has looked at the steady clock, which it finds 0.6 seconds later each time; below 0 it finds
/// the real time and doesn't count.
thread_local int s_looks = -1;

} // namespace

// The linker (--wrap) redirects calls of `clock_gettime` to the second function, and calls of the first to
// `clock_gettime`.
extern "C" {
int __real_clock_gettime(clockid_t clock, timespec* time);

int __wrap_clock_gettime(clockid_t clock, timespec* time) {
    if (clock != CLOCK_MONOTONIC || s_looks < 0) {
        return __real_clock_gettime(clock, time);
    }
    const int tenths = 6 * s_looks++;
    *time = {.tv_sec = 1000 + tenths / 10, .tv_nsec = tenths % 10 * 100'000'000L};
    return 0;
}
}

namespace {

using Tovra::System::Runtime::GetSystem;
using Tovra::System::Runtime::ISystem;
using Tovra::System::Threads::Thread;
using Tovra::System::Threads::ThreadManager;
using Tovra::Tests::TestSystem;

/// An application whose log is in a folder of its own.
class ApplicationWaitTest : public ::testing::Test {
protected:
    ApplicationWaitTest() { m_application.Application::Main({}); }

    Tovra::Tests::TemporaryFolder m_folder;
    Tovra::Tests::EnvironmentValue m_home{"HOME", m_folder.GetPath()};
    Tovra::Tests::TestApplication m_application;
};

TEST_F(ApplicationWaitTest, ForAThreadThatGoesOnLastsASecond) {
    m_application.Initialize();
    TestSystem<> system;
    system.ExchangeSystemState(ISystem::State::Execution);
    m_application.m_systems.resize(1);
    m_application.m_systems[0].m_system = {&system, [](ISystem*) {}};
    std::atomic<bool> mayEnd = false;
    const std::function<void()> work = [&] {
        while (system.GetSystemState() == ISystem::State::Execution) {
            std::this_thread::yield();
        }
        system.ExchangeSystemState(ISystem::State::Shutdown_Complete);
        mayEnd.wait(false);
    };
    Thread*& thread = m_application.m_systems[0].m_thread;
    GetSystem<ThreadManager>().TryCreateThread(Tovra::Tests::ThreadWork::Make(work), thread);
    s_looks = 0;
    m_application.ShutdownSystems();
    // At the beginning, 0.6 seconds later, and 1.2.
    EXPECT_EQ(std::exchange(s_looks, -1), 3);
    mayEnd = true;
    mayEnd.notify_one();
    while (thread->GetStatus() != Thread::Status::None) {
        std::this_thread::yield();
    }
    m_application.m_systems.clear();
}

} // namespace
