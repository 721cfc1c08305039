#include <Fakes/ErrorHandler.h>
#include <Support/Assertions.h>
#include <Support/TestApplication.h>
#include <Support/ThreadWork.h>
#include <System/Error/Exception.h>
#include <System/Threads/ThreadManager.h>

#include <sched.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <future>
#include <latch>
#include <memory>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;

using Tovra::System::Error::CategoryID;
using Tovra::System::Error::ErrorException;
using Tovra::System::Threads::Thread;
using Tovra::System::Threads::ThreadManager;
using Tovra::Tests::IsAssertion;
using Tovra::Tests::TestApplication;
using Tovra::Tests::ThreadWork;
using Tovra::Tests::Fakes::errorHandler;

using ManagerException = ErrorException<CategoryID::ThreadManager, 1>;
using Status = Thread::Status;

constexpr int cloneStop = SIGTRAP | PTRACE_EVENT_CLONE << 8;

/// Memory shared by parent and child.
struct alignas(ThreadManager) Shared {
    std::atomic<const Thread*> thread = nullptr; ///< The new thread's slot, at the same address in both.
    std::atomic<bool> waitsForStarted = false;   ///< Whether the work lasts until the slot counts as started.
};

/// A child process that creates one thread and destroys its manager. Its creating thread can be stopped at any
/// instruction (ptrace). The child is killed if this process ends.
class ThreadRaceTracedCreatorTest : public testing::Test {
protected:
    ThreadRaceTracedCreatorTest()
        : m_memory(mmap(nullptr, memorySize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)),
          m_shared(std::construct_at(static_cast<Shared*>(m_memory))),
          m_manager(reinterpret_cast<ThreadManager*>(m_shared + 1)) {}

    ~ThreadRaceTracedCreatorTest() override { munmap(m_memory, memorySize); }

    /// Starts the child and stops it right after the clone call. Returns the new thread, which is stopped as well.
    pid_t HoldAtClone();

    static void Step(pid_t thread) {
        EXPECT_EQ(ptrace(PTRACE_SINGLESTEP, thread, nullptr, nullptr), 0);
        EXPECT_EQ(WaitForStop(thread), SIGTRAP);
    }

    static void LetRun(pid_t thread) { EXPECT_EQ(ptrace(PTRACE_DETACH, thread, nullptr, nullptr), 0); }

    static int WaitForStop(pid_t process);

    Status GetStatus() const {
        const Thread* const thread = m_shared->thread;
        return thread != nullptr ? thread->GetStatus() : Status::Initialized;
    }

    /// Both wait while the creator is stopped, up to the test's time limit.
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

    /// Continues the creator and returns how the child ends.
    int LetGo() {
        LetRun(m_child);
        return WaitForEnd();
    }

    /// Waits for the running child and returns how it ends.
    int WaitForEnd();

    Shared& GetShared() { return *m_shared; }
    const std::string& GetReport() const { return m_report; }
    pid_t GetChild() const { return m_child; }

    /// The child's work. Calls `HoldMe` before it creates its thread.
    virtual void Create();

    static void HoldMe() {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        std::raise(SIGSTOP);
    }

private:
    static constexpr std::size_t memorySize = sizeof(Shared) + sizeof(ThreadManager);

    [[noreturn]] void RunChild();

    void* m_memory;
    Shared* m_shared;
    ThreadManager* m_manager;
    std::array<int, 2> m_errors{};
    std::string m_report;
    pid_t m_child = 0;
};

TEST_F(ThreadRaceTracedCreatorTest, FailsIfTheWorkIsOverWhenTheStatusIsRead) {
    GetShared().waitsForStarted = true;
    LetRun(HoldAtClone());
    WaitUntilTheWorkRuns();
    while (GetStatus() == Status::Initialized) {
        Step(GetChild());
    }
    WaitUntilTheSlotIsFreed();
    EXPECT_EQ(WTERMSIG(LetGo()), SIGABRT);
    EXPECT_THAT(GetReport(), IsAssertion("thread->IsStarted()", "Thread shall be started now."));
}

TEST_F(ThreadRaceTracedCreatorTest, LeavesTheSlotStartedForEverIfTheWorkIsOverBefore) {
    LetRun(HoldAtClone());
    WaitUntilTheSlotIsFreed();
    EXPECT_EQ(WTERMSIG(LetGo()), SIGABRT);
    EXPECT_THAT(GetReport(), testing::StartsWith("Created: 1, started: 1.\n"));
    EXPECT_THAT(GetReport(), IsAssertion("false", "Thread is not finished."));
}

/// A child process whose thread is stopped before it resets its slot, while its creator has not yet stored that the
/// thread is started.
class ThreadRaceTracedResetTest : public ThreadRaceTracedCreatorTest {
protected:
    pid_t HoldAtReset() {
        const pid_t thread = HoldAtClone();
        EXPECT_EQ(ptrace(PTRACE_CONT, thread, nullptr, nullptr), 0);
        EXPECT_EQ(WaitForStop(thread), SIGUSR1);
        return thread;
    }

    /// Number of the reset's instructions until the slot is free.
    int CountSteps() {
        const pid_t thread = HoldAtReset();
        int count = 0;
        for (; GetStatus() != Status::None; ++count) {
            Step(thread);
        }
        LetRun(thread);
        LetGo();
        return count;
    }

    /// Lets the creator store its status after `count` instructions of the reset.
    void StoreBehind(int count) {
        const pid_t thread = HoldAtReset();
        for (int step = 0; step < count; ++step) {
            Step(thread);
        }
        LetRun(GetChild());
        while (GetStatus() != Status::Started) {
            std::this_thread::yield();
        }
        LetRun(thread);
        WaitForEnd();
    }

private:
    void Create() override {
        const std::function<void()> work = [] {};
        auto* const thread = std::construct_at(reinterpret_cast<Thread*>(&GetShared() + 1));
        GetShared().thread = thread;
        thread->Initialize(0, 2);
        HoldMe();
        thread->Start(ThreadWork::Make(work), [](Thread& finished) {
            std::raise(SIGUSR1);
            finished.Reset();
        });
        std::destroy_at(thread);
    }
};

TEST_F(ThreadRaceTracedResetTest, IsNoticedWhereItStoresItsStatusBetweenTheTwoLooks) {
    // After both checks it goes unnoticed, before both it ends in an uncaught exception: bisect for a step in between.
    const auto isOfTheSecondLook = IsAssertion("m_status.load(std::memory_order_acquire) == Status::Finished", "");
    bool isNoticed = false;
    for (int first = 0, last = CountSteps() - 1; first <= last && !isNoticed;) {
        const int step = (first + last) / 2;
        StoreBehind(step);
        isNoticed = testing::Value(GetReport(), isOfTheSecondLook);
        if (GetReport().empty()) {
            last = step - 1;
        } else {
            first = step + 1;
        }
    }
    EXPECT_TRUE(isNoticed) << GetReport();
}

TEST_F(ThreadRaceTracedResetTest, ClearsTheNumberBeforeItFreesTheSlot) {
    const pid_t thread = HoldAtReset();
    const Thread& slot = *GetShared().thread;
    EXPECT_EQ(slot.GetId(), 2U);
    while (GetStatus() != Status::None) {
        Step(thread);
    }
    EXPECT_EQ(slot.GetId(), Thread::s_noId);
    LetRun(thread);
    LetGo();
}

/// A manager whose slots are on pages of their own, so that a creator can be held when it takes a slot: at its first
/// write to the read-only page.
class ThreadRaceSlotTest : public Tovra::Tests::ApplicationTest {
protected:
    ThreadRaceSlotTest() {
        s_page = static_cast<std::byte*>(
                     mmap(nullptr, memorySize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) +
                 pageSize;
        // The slots are the manager's last member.
        m_manager = std::construct_at(reinterpret_cast<ThreadManager*>(s_page - (sizeof(ThreadManager) - slotsSize)));
        s_isHeld = false;
        s_mayGoOn = false;
        struct sigaction action{};
        action.sa_sigaction = Hold;
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGSEGV, &action, &s_previousAction);
        mprotect(s_page, memorySize - pageSize, PROT_READ);
    }

    ~ThreadRaceSlotTest() override {
        sigaction(SIGSEGV, &s_previousAction, nullptr);
        std::destroy_at(m_manager);
        munmap(s_page - pageSize, memorySize);
    }

    static bool IsHeld() { return s_isHeld; }
    static void LetGo() { s_mayGoOn = true; }

    ThreadManager* m_manager;

private:
    static constexpr std::size_t pageSize = 65536; ///< A multiple of every machine's page size.
    static constexpr std::size_t slotsSize = 15 * sizeof(Thread);
    static constexpr std::size_t memorySize = pageSize * (2 + slotsSize / pageSize);

    /// Signal handler that holds the thread. The faulting instruction is repeated after it.
    static void Hold(int, siginfo_t* information, void*) {
        if (static_cast<std::byte*>(information->si_addr) < s_page || s_isHeld ||
            mprotect(s_page, memorySize - pageSize, PROT_READ | PROT_WRITE) != 0) {
            sigaction(SIGSEGV, &s_previousAction, nullptr);
            return;
        }
        s_isHeld = true;
        while (!s_mayGoOn) {
            sched_yield();
        }
    }

    static inline std::byte* s_page = nullptr;
    static inline std::atomic<bool> s_isHeld = false;
    static inline std::atomic<bool> s_mayGoOn = false;
    static inline struct sigaction s_previousAction{};
};

TEST_F(ThreadRaceSlotTest, LosesItToTheOneThatItMeetsThere) {
    std::latch mayEnd(1);
    const std::function<void()> work = [&mayEnd] { mayEnd.wait(); };
    std::atomic<bool> isOver = false;
    Thread* lost = nullptr;
    std::string message;
    std::thread creator([&] {
        try {
            m_manager->TryCreateThread(ThreadWork::Make(work), lost);
        } catch (const ManagerException& exception) {
            message = exception.GetDetails().message;
        }
        isOver = true;
    });
    while (!IsHeld() && !isOver) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(IsHeld());

    Thread* thread = nullptr;
    auto created =
        std::async(std::launch::async, [&] { return m_manager->TryCreateThread(ThreadWork::Make(work), thread); });
    EXPECT_EQ(created.wait_for(10s), std::future_status::ready) << "It waits for the one that is held.";
    if (testing::Test::HasFailure()) {
        LetGo();
    }
    EXPECT_TRUE(created.get());
    EXPECT_EQ(thread->GetIndex(), 0);
    EXPECT_EQ(thread->GetId(), 3U) << "The first creator has taken the number 2.";
    EXPECT_THAT(errorHandler.reports, testing::IsEmpty());
    LetGo();
    creator.join();
    EXPECT_EQ(lost, nullptr);
    EXPECT_EQ(message, "Fatal inconsistency in thread management.");
    EXPECT_THAT(errorHandler.reports,
                testing::ElementsAre(testing::StartsWith("Exception: Tovra::Exception\n"
                                                         "\tMessage: State of the thread doesn't allow initialize.\n"
                                                         "\tCode:    0x00000001012d0002\n")));
    EXPECT_TRUE(thread->IsStarted()) << "The slot is the other's as it was.";
    EXPECT_EQ(thread->GetId(), 3U);
    mayEnd.count_down();
    for (const Thread* const each : {thread, lost}) {
        while (each != nullptr && each->GetStatus() != Status::None) {
            std::this_thread::yield();
        }
    }
}

pid_t ThreadRaceTracedCreatorTest::HoldAtClone() {
    m_shared->thread = nullptr;
    m_report.clear();
    EXPECT_EQ(pipe(m_errors.data()), 0);
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
    return static_cast<pid_t>(newThread);
}

int ThreadRaceTracedCreatorTest::WaitForStop(pid_t process) {
    int status = 0;
    EXPECT_EQ(waitpid(process, &status, __WALL), process);
    EXPECT_TRUE(WIFSTOPPED(status));
    return status >> 8;
}

int ThreadRaceTracedCreatorTest::WaitForEnd() {
    std::array<char, 4096> block;
    for (ssize_t count = 0; (count = read(m_errors[0], block.data(), block.size())) > 0;) {
        m_report.append(block.data(), static_cast<std::size_t>(count));
    }
    close(m_errors[0]);
    int status = 0;
    EXPECT_EQ(waitpid(m_child, &status, 0), m_child);
    return status;
}

void ThreadRaceTracedCreatorTest::Create() {
    const std::function<void()> work = [this] {
        m_shared->thread = &Thread::GetCurrent();
        while (m_shared->waitsForStarted && !Thread::GetCurrent().IsStarted()) {
        }
    };
    std::construct_at(m_manager);
    HoldMe();
    Thread* thread = nullptr;
    const bool isCreated = m_manager->TryCreateThread(ThreadWork::Make(work), thread);
    dprintf(STDERR_FILENO, "Created: %d, started: %d.\n", isCreated, thread->IsStarted());
    std::destroy_at(m_manager);
}

[[noreturn]] void ThreadRaceTracedCreatorTest::RunChild() {
    dup2(m_errors[1], STDERR_FILENO);
    close(m_errors[0]);
    close(m_errors[1]);
    const TestApplication application;
    Create();
    std::_Exit(0);
}

} // namespace
