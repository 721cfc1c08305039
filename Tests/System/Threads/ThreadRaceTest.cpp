#include <Support/Assertions.h>
#include <Support/TestApplication.h>
#include <Support/ThreadWork.h>
#include <System/Threads/ThreadManager.h>

#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

namespace {

using Tovra::System::Threads::Thread;
using Tovra::System::Threads::ThreadManager;
using Tovra::Tests::IsAssertion;
using Tovra::Tests::TestApplication;
using Tovra::Tests::ThreadWork;

using Status = Thread::Status;

constexpr int cloneStop = SIGTRAP | PTRACE_EVENT_CLONE << 8;

/// What parent and child both see.
struct alignas(ThreadManager) Shared {
    std::atomic<const Thread*> thread = nullptr; ///< The new thread's slot, at the same address in both.
    std::atomic<bool> waitsForStarted = false;   ///< Whether the work lasts until the slot counts as started.
};

/// A child process that creates one thread and destroys its manager, and whose creating thread can be held at any
/// instruction. It ends at the latest with this process.
class TracedCreator : public testing::Test {
protected:
    TracedCreator()
        : m_memory(mmap(nullptr, memorySize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)),
          m_shared(std::construct_at(static_cast<Shared*>(m_memory))),
          m_manager(reinterpret_cast<ThreadManager*>(m_shared + 1)) {
        EXPECT_EQ(pipe(m_errors.data()), 0);
    }

    ~TracedCreator() override {
        munmap(m_memory, memorySize);
        close(m_errors[0]);
    }

    /// Starts the child and gives it back as it has just created the operating system's thread, which runs on.
    void HoldAtClone() {
        m_child = fork();
        if (m_child == 0) {
            RunChild();
        }
        close(m_errors[1]);
        EXPECT_EQ(WaitForStop(m_child), SIGSTOP);
        EXPECT_EQ(ptrace(PTRACE_SETOPTIONS, m_child, nullptr, PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL), 0);
        EXPECT_EQ(ptrace(PTRACE_CONT, m_child, nullptr, nullptr), 0);
        EXPECT_EQ(WaitForStop(m_child), cloneStop);
        unsigned long newThread = 0;
        EXPECT_EQ(ptrace(PTRACE_GETEVENTMSG, m_child, nullptr, &newThread), 0);
        EXPECT_EQ(WaitForStop(static_cast<pid_t>(newThread)), SIGSTOP);
        EXPECT_EQ(ptrace(PTRACE_DETACH, static_cast<pid_t>(newThread), nullptr, nullptr), 0);
    }

    void Step() {
        EXPECT_EQ(ptrace(PTRACE_SINGLESTEP, m_child, nullptr, nullptr), 0);
        EXPECT_EQ(WaitForStop(m_child), SIGTRAP);
    }

    Status GetStatus() const {
        const Thread* const thread = m_shared->thread;
        return thread != nullptr ? thread->GetStatus() : Status::Initialized;
    }

    /// Both while the creator is held; the test's time limit ends them.
    void WaitUntilTheWorkRuns() const {
        while (m_shared->thread == nullptr) {
            std::this_thread::yield();
        }
    }
    void WaitUntilTheSlotIsFreed() const {
        while (GetStatus() != Status::None) {
            std::this_thread::yield();
        }
    }

    /// Lets the creator go and gives how the child ends.
    int LetGo() {
        EXPECT_EQ(ptrace(PTRACE_DETACH, m_child, nullptr, nullptr), 0);
        std::array<char, 4096> block;
        for (ssize_t count = 0; (count = read(m_errors[0], block.data(), block.size())) > 0;) {
            m_report.append(block.data(), static_cast<std::size_t>(count));
        }
        int status = 0;
        EXPECT_EQ(waitpid(m_child, &status, 0), m_child);
        return status;
    }

    Shared& GetShared() { return *m_shared; }
    const std::string& GetReport() const { return m_report; }

private:
    static constexpr std::size_t memorySize = sizeof(Shared) + sizeof(ThreadManager);

    [[noreturn]] void RunChild() {
        dup2(m_errors[1], STDERR_FILENO);
        close(m_errors[0]);
        close(m_errors[1]);
        const TestApplication application;
        const std::function<void()> work = [this] {
            m_shared->thread = &Thread::GetCurrent();
            while (m_shared->waitsForStarted && !Thread::GetCurrent().IsStarted()) {
            }
        };
        std::construct_at(m_manager);
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        std::raise(SIGSTOP);
        Thread* thread = nullptr;
        const bool isCreated = m_manager->TryCreateThread(ThreadWork::Make(work), thread);
        dprintf(STDERR_FILENO, "Created: %d, started: %d.\n", isCreated, thread->IsStarted());
        std::destroy_at(m_manager);
        std::_Exit(0);
    }

    static int WaitForStop(pid_t process) {
        int status = 0;
        EXPECT_EQ(waitpid(process, &status, __WALL), process);
        EXPECT_TRUE(WIFSTOPPED(status));
        return status >> 8;
    }

    void* m_memory;
    Shared* m_shared;
    ThreadManager* m_manager;
    std::array<int, 2> m_errors{};
    std::string m_report;
    pid_t m_child = 0;
};

TEST_F(TracedCreator, FailsIfTheWorkIsOverWhenTheStatusIsRead) {
    GetShared().waitsForStarted = true;
    HoldAtClone();
    WaitUntilTheWorkRuns();
    while (GetStatus() == Status::Initialized) {
        Step();
    }
    WaitUntilTheSlotIsFreed();
    EXPECT_EQ(WTERMSIG(LetGo()), SIGABRT);
    EXPECT_THAT(GetReport(), IsAssertion("thread->IsStarted()", "Thread shall be started now."));
}

TEST_F(TracedCreator, LeavesTheSlotStartedForEverIfTheWorkIsOverBefore) {
    HoldAtClone();
    WaitUntilTheSlotIsFreed();
    EXPECT_EQ(WTERMSIG(LetGo()), SIGABRT);
    EXPECT_THAT(GetReport(), testing::StartsWith("Created: 1, started: 1.\n"));
    EXPECT_THAT(GetReport(), IsAssertion("false", "Thread is not finished."));
}

} // namespace
