// Label: threaded

#include <Fakes/ErrorHandler.h>
#include <Support/Assertions.h>
#include <Support/TestApplication.h>
#include <Support/ThreadWork.h>
#include <System/Error/Exception.h>
#include <System/Threads/ThreadManager.h>

#include <algorithm>
#include <array>
#include <barrier>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <latch>
#include <optional>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using Tovra::System::GUID;
using Tovra::System::Error::CategoryID;
using Tovra::System::Error::ErrorException;
using Tovra::System::Runtime::ISystem;
using Tovra::System::Runtime::SystemExecutionParameters;
using Tovra::System::Threads::Thread;
using Tovra::System::Threads::ThreadEntryPointCallback;
using Tovra::System::Threads::ThreadManager;
using Tovra::Tests::ApplicationTest;
using Tovra::Tests::IsAssertion;
using Tovra::Tests::ThreadWork;
using Tovra::Tests::Fakes::errorHandler;

using ManagerException = ErrorException<CategoryID::ThreadManager, 1>;
using Status = Thread::Status;

constexpr std::size_t slotCount = 15;

/// Threads that wait at the beginning of their work until `LetGo`.
class ThreadManagerTest : public ApplicationTest {
protected:
    ~ThreadManagerTest() override { WaitForAll(); }

    /// Creates a waiting thread.
    Thread* Create() {
        Thread* thread = nullptr;
        if (m_manager->TryCreateThread(ThreadWork::Make(m_work), thread)) {
            m_threads.push_back(thread);
        }
        EXPECT_NE(thread, nullptr);
        return thread;
    }

    void LetGo() {
        if (!m_isLetGo.try_wait()) {
            m_isLetGo.count_down();
        }
    }

    /// Waits until that thread has freed its slot.
    static void WaitForEnd(const Thread& thread) {
        while (thread.GetStatus() != Status::None) {
            std::this_thread::yield();
        }
    }

    /// Lets all threads go and waits until each has freed its slot.
    void WaitForAll() {
        LetGo();
        for (const Thread* const thread : m_threads) {
            WaitForEnd(*thread);
        }
    }

    std::vector<const Thread*> m_threads;
    std::latch m_isLetGo{1};
    std::function<void()> m_inside = [] {};
    const std::function<void()> m_work = [this] {
        m_isLetGo.wait();
        m_inside();
    };
    std::optional<ThreadManager> m_manager{std::in_place};
};

TEST(ThreadManager, HasItsIdentity) {
    const ThreadManager manager;
    EXPECT_STREQ(manager.GetSystemName(), "ThreadingSystem");
    EXPECT_EQ(manager.GetSystemGUID(), (GUID{0x1A6C3547235045D0, 0xB8BEE0C8D835363C}));
    EXPECT_EQ(manager.GetTypeID(), 0x0F8BA2E9U);
    EXPECT_FALSE(manager.IsOptional());
    EXPECT_EQ(manager.GetSystemState(), ISystem::State::Undefined);
    EXPECT_EQ(ThreadManager::s_maxThreadCount, 16);
    EXPECT_EQ(ThreadManager::s_mainThreadId, 1U);
}

TEST(ThreadManager, HasOneMainThread) {
    const Thread* const mainThread = ThreadManager::GetMainThread();
    EXPECT_EQ(mainThread, ThreadManager::GetMainThread());
    EXPECT_EQ(mainThread->GetStatus(), Status::Main);
    EXPECT_EQ(mainThread->GetIndex(), 0xFFFF);
    EXPECT_EQ(mainThread->GetId(), 1U);
}

TEST(ThreadManager, MakesTheCallingThreadTheMainThread) {
    for (const auto bind :
         {ThreadManager::BindMainThreadToCurrentThread, ThreadManager::MainThread::BindToCurrentThread}) {
        std::thread([bind] {
            bind();
            EXPECT_EQ(&Thread::GetCurrent(), ThreadManager::GetMainThread());
        }).join();
    }
}

TEST(ThreadManager, InitializesOnTheMainThread) {
    ThreadManager::BindMainThreadToCurrentThread();
    ThreadManager manager;
    EXPECT_TRUE(manager.Initialize(nullptr));
}

TEST(ThreadManager, AsksForNoThreadOfItsOwn) {
    ThreadManager manager;
    SystemExecutionParameters parameters;
    manager.GetExecutionParameters(parameters);
    EXPECT_EQ(parameters.m_executionType, SystemExecutionParameters::ThreadModel::Unset);
    EXPECT_EQ(parameters.m_threadEntryPoint, nullptr);
}

TEST_F(ThreadManagerTest, NumbersItsThreadsFromTwoAndItsSlotsFromZero) {
    for (std::uint16_t index = 0; index < slotCount; ++index) {
        const Thread* const thread = Create();
        ASSERT_NE(thread, nullptr);
        EXPECT_EQ(thread->GetIndex(), index);
        EXPECT_EQ(thread->GetId(), index + 2U);
        EXPECT_TRUE(thread->IsStarted());
    }
    WaitForAll();
}

TEST_F(ThreadManagerTest, HasNoSlotForTheSixteenthThreadAndCountsItNevertheless) {
    std::vector<Thread*> threads;
    for (std::size_t index = 0; index < slotCount; ++index) {
        threads.push_back(Create());
    }
    std::unique_ptr<ThreadEntryPointCallback> entryPoint = ThreadWork::Make(m_work);
    Thread* thread = threads.front();
    try {
        m_manager->TryCreateThread(std::move(entryPoint), thread);
        FAIL();
    } catch (const ManagerException& exception) {
        EXPECT_STREQ(exception.GetDetails().message, "Fatal inconsistency in thread management.");
    }
    EXPECT_NE(entryPoint, nullptr);

    thread = threads.front();
    EXPECT_FALSE(m_manager->TryCreateThread(std::move(entryPoint), thread)) << "Now sixteen are counted.";
    EXPECT_EQ(thread, nullptr);
    EXPECT_NE(entryPoint, nullptr);
    WaitForAll();
}

TEST_F(ThreadManagerTest, RunsSixteenThreadsAtOnceWithTheMainThread) {
    std::barrier everybody(static_cast<std::ptrdiff_t>(slotCount) + 1);
    std::array<const Thread*, slotCount> seen{};
    m_inside = [&] {
        const Thread& current = Thread::GetCurrent();
        seen.at(current.GetIndex()) = &current;
        everybody.arrive_and_wait();
    };
    std::set<const Thread*> threads;
    for (std::size_t index = 0; index < slotCount; ++index) {
        threads.insert(Create());
    }
    LetGo();
    everybody.arrive_and_wait();
    WaitForAll();
    EXPECT_EQ(std::set<const Thread*>(seen.begin(), seen.end()), threads);
    EXPECT_EQ(threads.size(), slotCount);
}

TEST_F(ThreadManagerTest, FreesTheSlotOfAFinishedThread) {
    const Thread* const thread = Create();
    WaitForAll();
    EXPECT_EQ(thread->GetIndex(), 0xFFFF);
    EXPECT_EQ(thread->GetId(), 0U);
}

TEST_F(ThreadManagerTest, FreesTheSlotOfAThreadWhoseWorkThrows) {
    m_inside = [] {
        if (Thread::GetCurrent().GetIndex() == 0) {
            TOVRA_THROW(Foundation, 1, "Failed to initialize environment.");
        }
        throw std::out_of_range("work");
    };
    Create();
    Create();
    WaitForAll();
    EXPECT_THAT(errorHandler.reports,
                testing::UnorderedElementsAre(
                    testing::StartsWith("Exception: Tovra::Exception\n\tMessage: Failed to initialize environment.\n"),
                    "Exception: std::exception\n\tMessage: work\n"));
}

TEST_F(ThreadManagerTest, WaitsForItsThreadsAtItsEnd) {
    std::atomic<int> over = 0;
    m_inside = [&over] { ++over; };
    Create();
    Create();
    WaitForAll();
    m_manager.reset();
    EXPECT_EQ(over, 2);
}

using ThreadManagerDeathTest = ThreadManagerTest;

TEST_F(ThreadManagerDeathTest, InitializesOnTheMainThreadOnly) {
    const auto initializeElsewhere = [this] {
        const Thread* const thread = Create();
        m_inside = [this] { m_manager->Initialize(nullptr); };
        LetGo();
        WaitForEnd(*thread);
    };
    EXPECT_ASSERTION(initializeElsewhere(), "GetMainThread() == &Thread::GetCurrent()",
                     "Initialization must be executes on the main thread.");
}

TEST_F(ThreadManagerDeathTest, GivesEachSlotToOneThreadInItsLife) {
    const auto createAgain = [this] {
        const Thread* const thread = Create();
        LetGo();
        WaitForEnd(*thread);
        std::fputs("Again.", stderr);
        Create();
        std::fputs("Survived.", stderr);
    };
    EXPECT_EXIT(createAgain(), testing::KilledBySignal(SIGABRT),
                testing::AllOf(testing::HasSubstr("Again."), testing::Not(testing::HasSubstr("Survived.")),
                               testing::Not(testing::HasSubstr("Assertion:"))));
}

TEST_F(ThreadManagerDeathTest, IsNotDestroyedWhileAThreadRuns) {
    const auto destroyEarly = [this] {
        Create();
        m_manager.reset();
    };
    EXPECT_ASSERTION(destroyEarly(), "false", "Thread is not finished.");
}

TEST_F(ThreadManagerDeathTest, KnowsNoStatusBehindTheLast) {
    const auto destroy = [this] {
        // The status of the last slot comes last in a manager.
        constexpr auto unknown = static_cast<Status>(static_cast<std::uint64_t>(Status::Failed) + 1);
        std::memcpy(reinterpret_cast<std::byte*>(&*m_manager + 1) - sizeof unknown, &unknown, sizeof unknown);
        m_manager.reset();
    };
    EXPECT_ASSERTION(destroy(), "false", "Implementation of case directive is missing.");
}

TEST_F(ThreadManagerDeathTest, IsNotDestroyedWhileItCountsTwoThreads) {
    const auto miscount = [this] {
        Thread none;
        for (int round = 0; round < 65536 - 2; ++round) {
            EXPECT_ANY_THROW(m_manager->OnThreadFinished(none));
        }
        std::fputs("Two.", stderr);
        m_manager.reset();
    };
    EXPECT_EXIT(miscount(), testing::KilledBySignal(SIGABRT),
                testing::AllOf(testing::HasSubstr("Two."), IsAssertion("false", "Thread is not finished.")));
}

TEST_F(ThreadManagerDeathTest, EndsTheProcessForWorkThatThrowsNoException) {
    m_inside = [] { throw 42; };
    const auto run = [this] {
        const Thread* const thread = Create();
        LetGo();
        WaitForEnd(*thread);
    };
    EXPECT_EXIT(run(), testing::KilledBySignal(SIGABRT), "of type int");
}

/// Several creators at once, in a new manager each time: some compete for a slot.
TEST_F(ThreadManagerTest, NeverLetsTwoCreatorsHaveOneSlot) {
    constexpr std::size_t creatorCount = 6;
    for (int round = 0; round < 50; ++round) {
        m_manager.emplace();
        errorHandler = {};
        std::latch mayEnd(1);
        const std::function<void()> work = [&mayEnd] { mayEnd.wait(); };
        std::array<Thread*, creatorCount> threads{};
        std::atomic<std::size_t> ready = 0;
        const auto create = [&](std::size_t creator) {
            // Not `std::barrier`, which wakes threads one after the other.
            for (++ready; ready < creatorCount;) {
                std::this_thread::yield();
            }
            try {
                EXPECT_TRUE(m_manager->TryCreateThread(ThreadWork::Make(work), threads.at(creator)));
            } catch (const ManagerException& exception) {
                EXPECT_STREQ(exception.GetDetails().message, "Fatal inconsistency in thread management.");
            }
        };
        std::vector<std::thread> creators;
        for (std::size_t creator = 0; creator < creatorCount; ++creator) {
            creators.emplace_back(create, creator);
        }
        for (std::thread& creator : creators) {
            creator.join();
        }
        const auto failures = static_cast<std::size_t>(std::ranges::count(threads, nullptr));
        mayEnd.count_down();
        std::set<const Thread*> created(threads.begin(), threads.end());
        created.erase(nullptr);
        EXPECT_EQ(created.size(), creatorCount - failures);
        EXPECT_GE(created.size(), 1u);
        EXPECT_THAT(errorHandler.reports, testing::SizeIs(failures));
        for (const Thread* const thread : created) {
            WaitForEnd(*thread);
        }
        // Losing creators stay counted, and the manager's destructor accepts only one count too many.
        Thread none;
        for (std::size_t failure = 0; failure < failures; ++failure) {
            EXPECT_ANY_THROW(m_manager->OnThreadFinished(none));
        }
    }
}

} // namespace
