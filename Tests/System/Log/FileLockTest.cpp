// Label: threaded

#include <Support/WaitingThread.h>
#include <System/Log/FileLock.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <vector>

namespace {

using Tovra::System::Log::FileLock;
using Tovra::Tests::StartWaiting;

bool CanBeTakenByAnother(FileLock& lock) {
    bool isTaken = false;
    std::thread([&] {
        isTaken = lock.try_lock();
        lock.unlock();
    }).join();
    return isTaken;
}

TEST(FileLock, IsSharedByMany) {
    FileLock lock;
    lock.lock_shared();
    std::thread([&lock] {
        lock.lock_shared();
        lock.unlock_shared();
    }).join();
    EXPECT_FALSE(CanBeTakenByAnother(lock));
    lock.unlock_shared();
    EXPECT_TRUE(CanBeTakenByAnother(lock));
}

TEST(FileLock, IsSharedWithoutWaitingUnlessItIsHeldAlone) {
    FileLock lock;
    lock.lock_shared();
    EXPECT_TRUE(lock.try_lock_shared());
    lock.unlock_shared();
    lock.unlock_shared();
    ASSERT_TRUE(lock.try_lock());
    EXPECT_FALSE(lock.try_lock_shared());
    lock.unlock();
    EXPECT_TRUE(CanBeTakenByAnother(lock));
}

TEST(FileLock, IsHeldAloneByOne) {
    FileLock lock;
    ASSERT_TRUE(lock.try_lock());
    EXPECT_FALSE(lock.try_lock());
    EXPECT_FALSE(CanBeTakenByAnother(lock));
    lock.unlock();
    EXPECT_TRUE(CanBeTakenByAnother(lock));
}

TEST(FileLock, TakesNoNoticeOfAnUnlockByAThreadThatHoldsNothing) {
    FileLock lock;
    lock.unlock();
    ASSERT_TRUE(lock.try_lock());
    std::thread([&lock] { lock.unlock(); }).join();
    EXPECT_FALSE(CanBeTakenByAnother(lock));
    lock.unlock();
    lock.unlock();
    EXPECT_TRUE(CanBeTakenByAnother(lock));
}

TEST(FileLock, TakesNoNoticeOfAnUnlockByAThreadThatSharesIt) {
    FileLock lock;
    lock.lock_shared();
    lock.unlock();
    EXPECT_FALSE(CanBeTakenByAnother(lock));
    lock.unlock_shared();
    EXPECT_TRUE(CanBeTakenByAnother(lock));
}

TEST(FileLock, TakesNoNoticeOfAnUnlockByAThreadThatHeldItBefore) {
    FileLock lock;
    lock.lock();
    lock.unlock();
    lock.lock_shared();
    bool isHeld = false;
    std::thread holder = StartWaiting([&] {
        lock.lock();
        isHeld = true;
        lock.unlock();
    });
    lock.unlock();
    lock.unlock_shared();
    holder.join();
    EXPECT_TRUE(isHeld);
}

TEST(FileLock, IsHeldByTheNextOneOnceTheFirstLetsItGo) {
    FileLock lock;
    lock.lock();
    std::atomic<bool> isHeld = false;
    std::thread next = StartWaiting([&] {
        lock.lock();
        isHeld = true;
        lock.unlock();
    });
    EXPECT_FALSE(isHeld);
    lock.unlock();
    next.join();
    EXPECT_TRUE(isHeld);
}

TEST(FileLock, WakesWhoWaitsForIt) {
    FileLock lock;
    const auto start = std::chrono::steady_clock::now();
    for (int count = 0; count < 10; ++count) {
        lock.lock();
        std::thread writer = StartWaiting([&lock] { const std::shared_lock shared(lock); });
        lock.unlock();
        writer.join();
        lock.lock_shared();
        std::thread holder = StartWaiting([&lock] { const std::lock_guard alone(lock); });
        lock.unlock_shared();
        holder.join();
        lock.lock();
        std::thread next = StartWaiting([&lock] { const std::lock_guard alone(lock); });
        lock.unlock();
        next.join();
    }
    // A waiter that is not woken retries after two seconds, so ten lost wakes would take twenty.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
}

TEST(FileLock, LetsWritersWaitForItsHolder) {
    FileLock lock;
    int value = 0;
    lock.lock();
    std::atomic<bool> isStarted = false;
    std::thread writer([&] {
        isStarted = true;
        const std::shared_lock shared(lock);
        EXPECT_EQ(value, 1);
    });
    while (!isStarted) {
        std::this_thread::yield();
    }
    value = 1;
    lock.unlock();
    writer.join();
}

TEST(FileLock, LetsItsHolderWaitForWriters) {
    FileLock lock;
    int value = 0;
    lock.lock_shared();
    std::thread holder([&] {
        lock.lock();
        EXPECT_EQ(value, 1);
        lock.unlock();
    });
    // Time for a holder that wrongly doesn't wait to see the old value.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    value = 1;
    lock.unlock_shared();
    holder.join();
}

TEST(FileLock, LetsItsHoldersWaitForOneAnother) {
    FileLock lock;
    int value = 0;
    lock.lock();
    std::thread next([&] {
        lock.lock();
        EXPECT_EQ(value, 1);
        lock.unlock();
    });
    // Time for a holder that wrongly doesn't wait to see the old value.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    value = 1;
    lock.unlock();
    next.join();
}

TEST(FileLock, GuardsUnderManyThreads) {
    FileLock lock;
    int first = 0;
    int second = 0;
    const auto work = [&](int number) {
        for (int count = 0; count < 3000; ++count) {
            if (count % 30 == number) {
                const std::lock_guard alone(lock);
                ++first;
                ++second;
            } else if (count % 7 == 0 && lock.try_lock()) {
                ++first;
                ++second;
                lock.unlock();
            } else {
                lock.unlock();
                const std::shared_lock shared(lock);
                ASSERT_EQ(first, second);
            }
        }
    };
    std::vector<std::thread> threads;
    for (int number = 0; number < 16; ++number) {
        threads.emplace_back(work, number);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_GE(first, 16 * 100);
    EXPECT_EQ(first, second);
}

} // namespace
