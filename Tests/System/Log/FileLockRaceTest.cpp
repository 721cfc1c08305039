#include <Support/Child.h>
#include <System/Log/FileLock.h>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/ptrace.h>

#include <csignal>
#include <memory>

namespace {

using Tovra::System::Log::FileLock;
using Tovra::Tests::Child;

TEST(FileLockRace, LeavesTheLockToWhoTakesItWhileTheOneBeforeIsHeld) {
    void* const memory = mmap(nullptr, sizeof(FileLock), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    FileLock& lock = *std::construct_at(static_cast<FileLock*>(memory));
    Child holder([&lock] {
        lock.lock();
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        std::raise(SIGSTOP);
        lock.unlock();
        return 0;
    });
    const auto isStopped = [&holder] {
        int status = 0;
        return waitpid(holder.GetId(), &status, 0) == holder.GetId() && WIFSTOPPED(status);
    };
    ASSERT_TRUE(isStopped());
    // Instruction by instruction until it can be taken.
    while (!lock.try_lock()) {
        ASSERT_EQ(ptrace(PTRACE_SINGLESTEP, holder.GetId(), nullptr, nullptr), 0);
        ASSERT_TRUE(isStopped());
    }
    ASSERT_EQ(ptrace(PTRACE_DETACH, holder.GetId(), nullptr, nullptr), 0);
    EXPECT_EQ(holder.Wait(), 0);
    EXPECT_FALSE(lock.try_lock());
    lock.unlock();
    EXPECT_TRUE(lock.try_lock());
    munmap(memory, sizeof(FileLock));
}

} // namespace
