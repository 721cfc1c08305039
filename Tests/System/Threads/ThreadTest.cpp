// Label: threaded

#include <Fakes/ErrorHandler.h>
#include <Fakes/LogFileOperations.h>
#include <Support/Assertions.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestApplication.h>
#include <Support/ThreadWork.h>
#include <System/Error/Exception.h>
#include <System/Log/ContextRegistry.h>
#include <System/Log/Logger.h>
#include <System/Log/LoggerConfig.h>
#include <System/Threads/ThreadManager.h>

#include <filesystem>
#include <fstream>
#include <latch>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Tovra::System::Error::CategoryID;
using Tovra::System::Error::ErrorException;
using Tovra::System::Error::Exception;
using Tovra::System::Log::Logger;
using Tovra::System::Log::LoggerConfig;
using Tovra::System::Threads::Thread;
using Tovra::System::Threads::ThreadEntryPointCallback;
using Tovra::System::Threads::ThreadManager;
using Tovra::Tests::ApplicationTest;
using Tovra::Tests::TemporaryFolder;
using Tovra::Tests::ThreadWork;
using Tovra::Tests::Fakes::errorHandler;
using Tovra::Tests::Fakes::logFileOperations;

using InitializeException = ErrorException<CategoryID::ThreadInitialize, 1>;
using StartException = ErrorException<CategoryID::ThreadStart, 1>;
using Status = Thread::Status;

void Leave(Thread&) {}

template <class Expected>
std::string GetMessage(const std::function<void()>& function) {
    try {
        function();
    } catch (const Expected& exception) {
        std::ostringstream message;
        exception.ComposeMessage(message);
        return message.str();
    }
    return "Nothing was thrown.";
}

/// A thread in slot 3 with number 7.
class ThreadTest : public ApplicationTest {
protected:
    ThreadTest() { m_thread.Initialize(3, 7); }

    /// Runs `work` once the thread is started, and waits until `onFinished` has returned.
    void RunToTheEnd(const std::function<void()>& work, const std::function<void(Thread&)>& onFinished = Leave) {
        std::latch isStarted(1);
        std::latch isOver(1);
        const std::function<void()> waitAndWork = [&] {
            isStarted.wait();
            work();
        };
        m_thread.Start(ThreadWork::Make(waitAndWork), [&](Thread& thread) {
            onFinished(thread);
            isOver.count_down();
        });
        isStarted.count_down();
        isOver.wait();
    }

    Thread m_thread;
};

TEST(Thread, IsAFreeSlotAtFirst) {
    const Thread thread;
    EXPECT_EQ(thread.GetStatus(), Status::None);
    EXPECT_EQ(thread.GetIndex(), 0xFFFF);
    EXPECT_EQ(thread.GetId(), 0U);
    EXPECT_FALSE(thread.IsInitialized());
    EXPECT_FALSE(thread.IsStarted());
}

TEST(Thread, HasSettledStatusNumbers) {
    EXPECT_EQ(static_cast<int>(Status::None), 0);
    EXPECT_EQ(static_cast<int>(Status::Main), 1);
    EXPECT_EQ(static_cast<int>(Status::Initialized), 2);
    EXPECT_EQ(static_cast<int>(Status::Started), 3);
    EXPECT_EQ(static_cast<int>(Status::Running), 4);
    EXPECT_EQ(static_cast<int>(Status::Finished), 5);
    EXPECT_EQ(static_cast<int>(Status::Failed), 6);
}

TEST(Thread, TakesItsNumbers) {
    Thread thread;
    EXPECT_TRUE(thread.Initialize(3, 7));
    EXPECT_EQ(thread.GetStatus(), Status::Initialized);
    EXPECT_TRUE(thread.IsInitialized());
    EXPECT_EQ(thread.GetIndex(), 3);
    EXPECT_EQ(thread.GetId(), 7U);
}

TEST_F(ThreadTest, IsInitializedOnlyWhileItIsFree) {
    const std::string message = "State of the thread doesn't allow initialize.";
    EXPECT_EQ(GetMessage<InitializeException>([&] { m_thread.Initialize(4, 8); }), message);
    EXPECT_EQ(m_thread.GetIndex(), 3);
    EXPECT_EQ(m_thread.GetId(), 7U);
    RunToTheEnd([&] { EXPECT_EQ(GetMessage<InitializeException>([&] { m_thread.Initialize(4, 8); }), message); });
    EXPECT_EQ(m_thread.GetStatus(), Status::Finished);
    EXPECT_EQ(GetMessage<InitializeException>([&] { m_thread.Initialize(4, 8); }), message);
}

TEST(Thread, StartsOnlyOnceItIsInitialized) {
    const std::function<void()> work = [] { FAIL(); };
    Thread thread;
    std::unique_ptr<ThreadEntryPointCallback> entryPoint = ThreadWork::Make(work);
    EXPECT_EQ(GetMessage<StartException>([&] { thread.Start(std::move(entryPoint), Leave); }),
              "State of the thread doesn't allow start.");
    EXPECT_NE(entryPoint, nullptr);
    EXPECT_EQ(thread.GetStatus(), Status::None);
}

TEST_F(ThreadTest, DoesNotStartTwice) {
    const std::function<void()> work = [] { FAIL(); };
    RunToTheEnd([&] {
        EXPECT_EQ(GetMessage<StartException>([&] { m_thread.Start(ThreadWork::Make(work), Leave); }),
                  "State of the thread doesn't allow start.");
    });
}

TEST_F(ThreadTest, RunsItsWorkOnAThreadOfItsOwn) {
    const std::thread::id caller = std::this_thread::get_id();
    RunToTheEnd([&] {
        EXPECT_NE(std::this_thread::get_id(), caller);
        EXPECT_EQ(&Thread::GetCurrent(), &m_thread);
        EXPECT_EQ(m_thread.GetStatus(), Status::Started);
        EXPECT_TRUE(m_thread.IsStarted());
    });
}

TEST_F(ThreadTest, TellsItsWorkWhichThreadItIs) {
    struct Work final : ThreadEntryPointCallback {
        void Run() override { *m_seen = GetThread(); }
        Thread** m_seen = nullptr;
    };
    Thread* seen = nullptr;
    std::latch isOver(1);
    auto work = std::make_unique<Work>();
    work->m_seen = &seen;
    m_thread.Start(std::move(work), [&isOver](Thread&) { isOver.count_down(); });
    isOver.wait();
    EXPECT_EQ(seen, &m_thread);
}

TEST_F(ThreadTest, CallsBackOnItsOwnThreadWhenTheWorkIsOver) {
    std::thread::id worker;
    bool isOver = false;
    RunToTheEnd(
        [&] {
            worker = std::this_thread::get_id();
            isOver = true;
        },
        [&](Thread& thread) {
            EXPECT_TRUE(isOver);
            EXPECT_EQ(&thread, &m_thread);
            EXPECT_EQ(std::this_thread::get_id(), worker);
            EXPECT_EQ(thread.GetStatus(), Status::Finished);
            EXPECT_EQ(&Thread::GetCurrent(), &m_thread);
        });
}

TEST_F(ThreadTest, ReportsAnExceptionOfItsWorkAndIsFinished) {
    RunToTheEnd([] { TOVRA_THROW(Foundation, 1, "Failed to initialize environment."); },
                [](Thread& thread) { EXPECT_EQ(thread.GetStatus(), Status::Finished); });
    EXPECT_THAT(errorHandler.reports,
                testing::ElementsAre(testing::StartsWith("Exception: Tovra::Exception\n"
                                                         "\tMessage: Failed to initialize environment.\n")));
}

TEST_F(ThreadTest, ReportsAStandardExceptionOfItsWorkAndIsFinished) {
    RunToTheEnd([] { throw std::out_of_range("work"); },
                [](Thread& thread) { EXPECT_EQ(thread.GetStatus(), Status::Finished); });
    EXPECT_THAT(errorHandler.reports, testing::ElementsAre("Exception: std::exception\n\tMessage: work\n"));
}

TEST_F(ThreadTest, HasFailedWhileTheExceptionIsReported) {
    struct Watching final : Exception {
        Watching(const Thread& thread, Status& seen)
            : Exception({__FILE__, __LINE__, "Work"}), m_thread(thread), m_seen(seen) {}
        void SetHandled() const override { m_seen = m_thread.GetStatus(); }
        const Thread& m_thread;
        Status& m_seen;
    };
    Status seen = Status::None;
    RunToTheEnd([&] { throw Watching(m_thread, seen); });
    EXPECT_EQ(seen, Status::Failed);
}

TEST_F(ThreadTest, HasFailedWhileAStandardExceptionIsReported) {
    struct Watching final : std::exception {
        Watching(const Thread& thread, Status& seen) : m_thread(thread), m_seen(seen) {}
        const char* what() const noexcept override {
            m_seen = m_thread.GetStatus();
            return "watching";
        }
        const Thread& m_thread;
        Status& m_seen;
    };
    Status seen = Status::None;
    RunToTheEnd([&] { throw Watching(m_thread, seen); });
    EXPECT_EQ(seen, Status::Failed);
    EXPECT_THAT(errorHandler.reports, testing::SizeIs(1));
}

TEST_F(ThreadTest, TakesAnExceptionOfBothFamiliesForItsOwn) {
    struct Both final : Exception, std::exception {
        explicit Both(bool& isHandled) : Exception({__FILE__, __LINE__, "Work"}), m_isHandled(isHandled) {}
        void SetHandled() const override { m_isHandled = true; }
        bool& m_isHandled;
    };
    bool isHandled = false;
    RunToTheEnd([&] { throw Both(isHandled); });
    EXPECT_TRUE(isHandled);
    EXPECT_THAT(errorHandler.reports, testing::IsEmpty());
}

/// Records the thread's state at each line that it logs.
class ThreadLogTest : public ThreadTest {
protected:
    ThreadLogTest() {
        m_config.SetDefaults();
        m_config.m_directory = m_folder.GetPath().wstring();
        m_config.m_streamSeverities = {Tovra::System::Log::allStreams};
        m_application.m_logSystem = {new Logger, [](Logger* logger) { delete logger; }};
        m_application.m_logSystem->Initialize(&m_config);
        logFileOperations.onConsole = [this] {
            m_states.push_back(m_thread.GetStatus());
            m_named.push_back(m_work->GetThread());
        };
    }
    ~ThreadLogTest() override {
        Tovra::System::Log::ContextRegistry::ForEachContext(
            [](Tovra::System::Log::Context& context) { context.severity = Tovra::System::Log::MessageType::ID::Info; });
    }

    /// Runs the work and waits for the thread's end.
    void Run(std::function<void()> work) {
        struct Work final : ThreadEntryPointCallback {
            void Run() override {
                m_isStarted->wait();
                (*m_function)();
            }
            std::latch* m_isStarted = nullptr;
            std::function<void()>* m_function = nullptr;
        };
        std::latch isStarted(1);
        std::latch isOver(1);
        auto callback = std::make_unique<Work>();
        callback->m_isStarted = &isStarted;
        callback->m_function = &work;
        m_work = callback.get();
        m_thread.Start(std::move(callback), [&isOver](Thread&) { isOver.count_down(); });
        isStarted.count_down();
        isOver.wait();
    }

    TemporaryFolder m_folder;
    LoggerConfig m_config;
    const ThreadEntryPointCallback* m_work = nullptr;
    std::vector<Status> m_states;
    std::vector<const Thread*> m_named;
};

TEST_F(ThreadLogTest, TellsOfItsBeginBeforeItsWorkKnowsIt) {
    Run([] {});
    EXPECT_THAT(m_named, testing::ElementsAre(nullptr, &m_thread));
}

TEST_F(ThreadLogTest, TellsOfItsEndBeforeItIsFinished) {
    Run([] {});
    EXPECT_EQ(m_states.back(), Status::Started);
    EXPECT_EQ(m_thread.GetStatus(), Status::Finished);
}

TEST_F(ThreadLogTest, TellsOfItsFailureBeforeItIsFinished) {
    Run([] { throw std::out_of_range("work"); });
    EXPECT_EQ(m_states.back(), Status::Failed);
    EXPECT_EQ(m_thread.GetStatus(), Status::Finished);
}

/// Its destructor records whether the work still exists.
struct WorkWatcher {
    WorkWatcher(const ThreadEntryPointCallback& work, const Thread& thread, bool& isThere)
        : m_work(work), m_thread(thread), m_isThere(isThere) {}
    ~WorkWatcher() { m_isThere = m_work.GetThread() == &m_thread; }
    WorkWatcher(const WorkWatcher&) = delete;
    WorkWatcher& operator=(const WorkWatcher&) = delete;

    const ThreadEntryPointCallback& m_work;
    const Thread& m_thread;
    bool& m_isThere;
};

TEST(Thread, ForgetsWhomToCallBackBeforeItsWork) {
    const Tovra::Tests::TestApplication application;
    bool isThere = false;
    {
        std::latch isStarted(1);
        const std::function<void()> work = [&isStarted] { isStarted.wait(); };
        Thread thread;
        thread.Initialize(3, 7);
        std::unique_ptr<ThreadEntryPointCallback> callback = ThreadWork::Make(work);
        const auto watcher = [&] { return std::make_shared<WorkWatcher>(*callback, thread, isThere); };
        std::function<void(Thread&)> onFinished = [owned = watcher()](Thread&) {};
        thread.Start(std::move(callback), std::move(onFinished));
        onFinished = nullptr;
        isStarted.count_down();
    }
    EXPECT_TRUE(isThere);
}

TEST_F(ThreadTest, LogsItsBeginAndItsEnd) {
    const TemporaryFolder folder;
    LoggerConfig config;
    config.SetDefaults();
    config.m_directory = folder.GetPath().wstring();
    config.m_streamSeverities = {Tovra::System::Log::allStreams};
    m_application.m_logSystem = {new Logger, [](Logger* logger) { delete logger; }};
    m_application.m_logSystem->Initialize(&config);
    RunToTheEnd([] {});
    Thread failing;
    failing.Initialize(4, 8);
    std::latch isStarted(1);
    const std::function<void()> work = [&] {
        isStarted.wait();
        throw std::out_of_range("work");
    };
    std::latch isOver(1);
    failing.Start(ThreadWork::Make(work), [&isOver](Thread&) { isOver.count_down(); });
    isStarted.count_down();
    isOver.wait();
    std::ifstream file(std::filesystem::directory_iterator(folder.GetPath())->path());
    std::vector<std::string> messages;
    for (std::string line; std::getline(file, line);) {
        messages.push_back(line.substr(line.find("| ")));
    }
    EXPECT_THAT(messages, testing::ElementsAre("| System] Debug: Thread started.",
                                               "| System] Debug: Thread finished operation succesfully.",
                                               "| System] Debug: Thread started.",
                                               "| System] Error: Thread finished with error."));
}

TEST_F(ThreadTest, DoesNotStartAfterItsWorkOrAsTheMainThread) {
    const std::function<void()> work = [] { FAIL(); };
    RunToTheEnd([] {});
    EXPECT_EQ(GetMessage<StartException>([&] { m_thread.Start(ThreadWork::Make(work), Leave); }),
              "State of the thread doesn't allow start.");
    EXPECT_EQ(GetMessage<InitializeException>([] { ThreadManager::GetMainThread()->Initialize(0, 9); }),
              "State of the thread doesn't allow initialize.");
}

TEST_F(ThreadTest, FreesItsNumbersWhenItIsReset) {
    RunToTheEnd([] {},
                [](Thread& thread) {
                    thread.Reset();
                    EXPECT_EQ(thread.GetStatus(), Status::None);
                    EXPECT_EQ(thread.GetIndex(), 0xFFFF);
                    EXPECT_EQ(thread.GetId(), 0U);
                });
}

TEST_F(ThreadTest, IsResetOnlyWhenItsWorkIsOver) {
    const std::string message = "State of the thread doesn't allow reset.";
    EXPECT_EQ(GetMessage<StartException>([&] { m_thread.Reset(); }), message);
    RunToTheEnd([&] { EXPECT_EQ(GetMessage<StartException>([&] { m_thread.Reset(); }), message); });
    Thread free;
    EXPECT_EQ(GetMessage<StartException>([&] { free.Reset(); }), message);
}

TEST_F(ThreadTest, WaitsForItsWorkAtItsEnd) {
    std::atomic<bool> isOver = false;
    std::latch isStarted(1);
    const std::function<void()> work = [&] {
        isStarted.wait();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        isOver = true;
    };
    {
        Thread thread;
        thread.Initialize(4, 8);
        thread.Start(ThreadWork::Make(work), Leave);
        isStarted.count_down();
    }
    EXPECT_TRUE(isOver);
}

using ThreadDeathTest = ThreadTest;

TEST_F(ThreadDeathTest, IsAskedForOnThreadsOfOursOnly) {
    EXPECT_ASSERTION(std::thread([] { Thread::GetCurrent(); }).join(), "pointer != nullptr",
                     "Invalid null-pointer dereferenciation.");
}

TEST_F(ThreadDeathTest, NeedsItsDataAtItsStart) {
    EXPECT_ASSERTION(Thread::EntryPoint(nullptr), "data != nullptr", "Parameter 'data' shall never be null.");
}

TEST_F(ThreadDeathTest, NeedsWork) {
    const auto runWithoutWork = [this] {
        m_thread.Start(nullptr, Leave);
        m_thread.~Thread();
    };
    EXPECT_ASSERTION(runWithoutWork(), "pointer != nullptr", "Invalid null-pointer dereferenciation.");
}

TEST_F(ThreadDeathTest, TakesWorkThatHasNoThreadYet) {
    const std::function<void()> work = [] {};
    const auto runTwice = [&] {
        std::unique_ptr<ThreadEntryPointCallback> callback = ThreadWork::Make(work);
        callback->SetThread(m_thread);
        m_thread.Start(std::move(callback), Leave);
        m_thread.~Thread();
    };
    EXPECT_ASSERTION(runTwice(), "m_thread == nullptr", "Thread shall be set once only.");
}

TEST_F(ThreadDeathTest, IsNobodyAfterItsReset) {
    EXPECT_ASSERTION(RunToTheEnd([] {},
                                 [](Thread& thread) {
                                     thread.Reset();
                                     Thread::GetCurrent();
                                 }),
                     "pointer != nullptr", "Invalid null-pointer dereferenciation.");
}

TEST_F(ThreadDeathTest, IsResetByItselfOnly) {
    const auto resetFromOutside = [this] {
        RunToTheEnd([] {});
        m_thread.Reset();
    };
    EXPECT_ASSERTION(resetFromOutside(), "s_currentThread == this", "Shall only be called from the owning thread!");
}

TEST_F(ThreadDeathTest, ServesOnlyOnce) {
    const auto runTwice = [this] {
        RunToTheEnd([] {}, [](Thread& thread) { thread.Reset(); });
        m_thread.Initialize(3, 8);
        std::fputs("Again.", stderr);
        RunToTheEnd([] {});
        std::fputs("Survived.", stderr);
    };
    EXPECT_EXIT(runTwice(), testing::KilledBySignal(SIGABRT),
                testing::AllOf(testing::HasSubstr("Again."), testing::Not(testing::HasSubstr("Survived.")),
                               testing::Not(testing::HasSubstr("Assertion:"))));
}

TEST_F(ThreadDeathTest, TakesNothingElseThanExceptions) {
    EXPECT_EXIT(RunToTheEnd([] { throw 42; }), testing::KilledBySignal(SIGABRT), "of type int");
}

TEST_F(ThreadDeathTest, NeedsSomeoneToTellThatTheWorkIsOver) {
    const auto runWithoutCallback = [this] {
        const std::function<void()> work = [] { std::fputs("Ran.", stderr); };
        m_thread.Start(ThreadWork::Make(work), nullptr);
        m_thread.~Thread();
        std::_Exit(0);
    };
    EXPECT_EXIT(runWithoutCallback(), testing::KilledBySignal(SIGABRT), "Ran\\.(.|\n)*bad_function_call");
}

} // namespace
