// Label: threaded

#include <System/Desktop/MainQueue_Linux.h>

#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace Tovra::System::Desktop {

namespace {

/// Waits until work is queued, up to the test's time limit.
void WaitForWork() {
    pollfd queue = {.fd = MainQueue::GetInstance().GetDescriptor(), .events = POLLIN, .revents = 0};
    ASSERT_EQ(poll(&queue, 1, -1), 1);
}

bool HasSignal() {
    pollfd queue = {.fd = MainQueue::GetInstance().GetDescriptor(), .events = POLLIN, .revents = 0};
    return poll(&queue, 1, 0) == 1;
}

TEST(MainQueue, TheCallerIsHeldUntilItsWorkIsDoneOnTheMainThread) {
    const auto mainThread = std::this_thread::get_id();
    std::atomic<bool> isDone = false;
    std::thread caller([&] {
        MainQueue::GetInstance().RunAndWait([&] {
            EXPECT_EQ(std::this_thread::get_id(), mainThread);
            isDone = true;
        });
        EXPECT_TRUE(isDone);
    });
    WaitForWork();
    EXPECT_FALSE(isDone) << "Nothing is done before the queue is served.";
    MainQueue::GetInstance().Serve();
    EXPECT_TRUE(isDone);
    caller.join();
    EXPECT_FALSE(HasSignal());
}

TEST(MainQueue, WorkThatThrowsThrowsAtItsCaller) {
    std::thread caller([] {
        EXPECT_THROW(MainQueue::GetInstance().RunAndWait([] { throw std::runtime_error("Failed."); }),
                     std::runtime_error);
    });
    WaitForWork();
    EXPECT_NO_THROW(MainQueue::GetInstance().Serve());
    caller.join();
}

TEST(MainQueue, AllThatManyThreadsQueueIsDoneOnce) {
    int count = 0; // Changed on the main thread only.
    std::atomic<int> finished = 0;
    std::vector<std::thread> callers;
    for (int caller = 0; caller < 8; ++caller) {
        callers.emplace_back([&count, &finished] {
            for (int call = 0; call < 50; ++call) {
                MainQueue::GetInstance().RunAndWait([&count] { ++count; });
            }
            ++finished;
        });
    }
    while (finished < 8) {
        MainQueue::GetInstance().Serve();
    }
    for (auto& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(count, 400);
}

TEST(MainQueue, ServingAnEmptyQueueDoesNotWait) {
    MainQueue::GetInstance().Serve();
    MainQueue::GetInstance().Serve();
}

} // namespace

} // namespace Tovra::System::Desktop
