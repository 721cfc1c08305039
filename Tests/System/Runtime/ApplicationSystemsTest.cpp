// Label: threaded

#include <Fakes/ErrorHandler.h>
#include <Support/Assertions.h>
#include <Support/EnvironmentValue.h>
#include <Support/RecordedSleeps.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestApplication.h>
#include <Support/TestSystem.h>
#include <Support/ThreadWork.h>
#include <System/Device/Display/DisplayCache.h>
#include <System/Error/Exception.h>
#include <System/Log/Logger.h>
#include <System/Log/LoggerConfig.h>
#include <System/Threads/ThreadManager.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

using Tovra::SystemCreationException;
using Tovra::SystemInitializationException;
using Tovra::System::GUID;
using Tovra::System::Device::Display::DisplayCache;
using Tovra::System::Log::LogFile;
using Tovra::System::Log::Logger;
using Tovra::System::Log::StreamID;
namespace MessageType = Tovra::System::Log::MessageType;
using Tovra::System::Runtime::Application;
using Tovra::System::Runtime::EmptyConfig;
using Tovra::System::Runtime::GetSystem;
using Tovra::System::Runtime::ISystem;
using Tovra::System::Runtime::PostSystemInitializationEvent;
using Tovra::System::Runtime::PreSystemInitializationEvent;
using Tovra::System::Runtime::Sender;
using Tovra::System::Runtime::System;
using Tovra::System::Runtime::SystemEvent;
using Tovra::System::Runtime::SystemExecutionParameters;
using Tovra::System::Runtime::TryGetSystem;
using Tovra::System::Threads::Thread;
using Tovra::System::Threads::ThreadManager;
using Tovra::Tests::EnvironmentValue;
using Tovra::Tests::RecordedSleeps;
using Tovra::Tests::TemporaryFolder;
using Tovra::Tests::TestApplication;
using Tovra::Tests::TestSystem;
using Tovra::Tests::Fakes::errorHandler;

using ManagerException = Tovra::System::Error::ErrorException<Tovra::System::Error::CategoryID::ThreadManager, 1>;
using State = ISystem::State;
using ThreadModel = SystemExecutionParameters::ThreadModel;

/// An application that records the systems it initialises.
class WatchingApplication final : public TestApplication {
public:
    void OnPreSystemInitialization(Application& sender, PreSystemInitializationEvent& event) override {
        EXPECT_EQ(&sender, this);
        EXPECT_TRUE(event.m_initialize);
        m_events += std::string("before ") + event.m_system->GetSystemName() + ' ';
        if (m_beforeInitialization) {
            m_beforeInitialization();
        }
        m_config = event.m_config;
        event.m_initialize = m_initialize;
    }
    void OnPostSystemInitialization(Application& sender, PostSystemInitializationEvent& event) override {
        TestApplication::OnPostSystemInitialization(sender, event);
        m_events += std::string("after ") + event.m_system->GetSystemName() + ' ';
    }

    std::string m_events;
    bool m_initialize = true;
    std::function<void()> m_beforeInitialization;
    const Tovra::System::Runtime::IConfig* m_config = nullptr;
};

/// An application as in its `Main`: with temporary folders and the main thread bound.
class ApplicationSystemsTest : public testing::Test {
protected:
    ApplicationSystemsTest() {
        m_application.m_main = [](const auto&) {};
        m_application.Application::Main({});
    }

    /// Adds a system whose loop ends with the shutdown event.
    template <std::uint64_t number = 1>
    TestSystem<number>& Add() {
        TestSystem<number>& system = *m_application.AddSystem<TestSystem<number>>();
        system.m_update = [] { std::this_thread::yield(); };
        return system;
    }

    /// Waits until a system's loop runs, up to the test's time limit. The state isn't enough: it changes a
    /// moment before the loop is entered, and a shutdown in that moment asserts.
    template <std::uint64_t number>
    static void WaitForLoop(const TestSystem<number>& system) {
        while (system.m_updates == 0) {
            std::this_thread::yield();
        }
    }

    TestSystem<1>& GetTestSystem(std::size_t index) {
        return dynamic_cast<TestSystem<1>&>(*m_application.m_systems[index].m_system);
    }

    /// The lines of the one log file.
    std::vector<std::string> ReadLog() const {
        std::vector<std::string> lines;
        std::ifstream file(std::filesystem::directory_iterator(m_folder.GetPath() / ".tovra" / "Logs")->path());
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    TemporaryFolder m_folder;
    EnvironmentValue m_home{"HOME", m_folder.GetPath()};
    WatchingApplication m_application;
};

/// Configuration of those systems that have one.
class TestConfig final : public Tovra::System::Runtime::Config<TestConfig, "Test Configuration", GUID{5, 6}> {
public:
    static constexpr Tovra::System::Types::TypeID s_typeID = 0xC0;
    void SetDefaults() override {}
    bool Load(const void*) override { return true; }
};

class ConfiguredSystem final : public System<ConfiguredSystem, "Configured", GUID{3, 4}, TestConfig> {
public:
    static constexpr Tovra::System::Types::TypeID s_typeID = 0xC1;
    bool Initialize(const Tovra::System::Runtime::IConfig* config) override {
        m_config = config;
        return true;
    }
    void GetExecutionParameters(SystemExecutionParameters&) override {}
    const Tovra::System::Runtime::IConfig* m_config = nullptr;
};

/// A system that can't be allocated.
class ImpossibleSystem final : public System<ImpossibleSystem, "Impossible", GUID{7, 8}> {
public:
    static constexpr Tovra::System::Types::TypeID s_typeID = 0xC2;
    static void* operator new(std::size_t) noexcept { return nullptr; }
    static void operator delete(void*) {}
    bool Initialize(const Tovra::System::Runtime::IConfig*) override { return true; }
    void GetExecutionParameters(SystemExecutionParameters&) override {}
};

TEST_F(ApplicationSystemsTest, BindsTheMainThreadFirst) {
    EXPECT_EQ(&Thread::GetCurrent(), ThreadManager::GetMainThread());
    EXPECT_EQ(m_application.m_mainThread, nullptr) << "Only known when the threading system is there.";
}

TEST(ApplicationSystems, BindsTheMainThreadWhateverFailsAfterwards) {
    const EnvironmentValue home("HOME", std::nullopt);
    std::thread([] {
        TestApplication application;
        application.Application::Main({});
        EXPECT_EQ(&Thread::GetCurrent(), ThreadManager::GetMainThread());
    }).join();
}

TEST_F(ApplicationSystemsTest, CreatesTheLogThenTheThreadsThenTheDisplays) {
    std::vector<const Thread*> mainThreads;
    m_application.m_beforeInitialization = [&] { mainThreads.push_back(m_application.m_mainThread); };
    m_application.Initialize();
    EXPECT_THAT(mainThreads, ::testing::ElementsAre(nullptr, nullptr, ThreadManager::GetMainThread()))
        << "Known before the displays are looked for.";
    EXPECT_EQ(m_application.m_events, "before LogSystem after LogSystem before ThreadingSystem after ThreadingSystem "
                                      "before DisplayCache after DisplayCache ");
    EXPECT_EQ(m_application.m_config, nullptr) << "The displays have no configuration.";
    EXPECT_EQ(m_application.m_mainThread, ThreadManager::GetMainThread());
    EXPECT_EQ(TryGetSystem<Logger>(), m_application.m_logSystem.get());
    EXPECT_EQ(TryGetSystem<ThreadManager>(), m_application.m_threadingSystem.get());
    EXPECT_EQ(&GetSystem<ThreadManager>(), m_application.m_threadingSystem.get());
    EXPECT_EQ(GetSystem<ThreadManager>().GetSystemState(), State::Initialized);
    EXPECT_EQ(TryGetSystem<Logger>()->GetSystemState(), State::Initialized);
    EXPECT_EQ(TryGetSystem<DisplayCache>(), m_application.m_displaySystem.get());
    EXPECT_EQ(&GetSystem<DisplayCache>(), m_application.m_displaySystem.get());
    EXPECT_EQ(GetSystem<DisplayCache>().GetSystemState(), State::Initialized);
}

TEST_F(ApplicationSystemsTest, GoesOnWithoutTheSystemsThatCannotBeHad) {
    // The log's folder can't be made below a file.
    m_folder.Write(".tovra", "");
    m_application.Initialize();
    ASSERT_NE(TryGetSystem<Logger>(), nullptr);
    EXPECT_EQ(TryGetSystem<Logger>()->GetSystemState(), State::Undefined);
    EXPECT_EQ(TryGetSystem<ThreadManager>(), nullptr);
    EXPECT_EQ(m_application.m_mainThread, nullptr);
    EXPECT_THAT(errorHandler.reports, testing::ElementsAre(testing::StartsWith("Exception: std::exception\n")));
}

TEST_F(ApplicationSystemsTest, GoesOnWhateverAnInitializationThrows) {
    // The log exists when the threading system fails, so the reports are in it.
    int systems = 0;
    std::function<void()> fail;
    m_application.m_beforeInitialization = [&] {
        if (++systems == 2) {
            fail();
        }
    };
    fail = [] { throw std::out_of_range("initialization"); };
    m_application.Initialize();
    EXPECT_EQ(m_application.m_events, "before LogSystem after LogSystem before ThreadingSystem ");
    EXPECT_EQ(GetSystem<ThreadManager>().GetSystemState(), State::Undefined);
    EXPECT_EQ(m_application.m_mainThread, nullptr);
    EXPECT_THAT(errorHandler.reports, testing::ElementsAre("Exception: std::exception\n\tMessage: initialization\n"));
    EXPECT_THAT(ReadLog(), testing::ElementsAre(testing::EndsWith("| System] Error: Exception: initialization")));
}

/// An exception that records the log's number of lines when its text is read.
class CountingException final : public std::exception {
public:
    explicit CountingException(std::function<std::size_t()> count) : m_count(std::move(count)) {}
    const char* what() const noexcept override {
        s_counts.push_back(m_count());
        return "counted";
    }

    static inline std::vector<std::size_t> s_counts;

private:
    std::function<std::size_t()> m_count;
};

TEST_F(ApplicationSystemsTest, LogsAStandardExceptionBeforeItIsReported) {
    int systems = 0;
    m_application.m_beforeInitialization = [&] {
        if (++systems == 2) {
            throw CountingException([this] { return ReadLog().size(); });
        }
    };
    CountingException::s_counts.clear();
    m_application.Initialize();
    EXPECT_THAT(ReadLog(), testing::ElementsAre(testing::EndsWith("| System] Error: Exception: counted")));
    EXPECT_THAT(errorHandler.reports, testing::ElementsAre("Exception: std::exception\n\tMessage: counted\n"));
    EXPECT_THAT(CountingException::s_counts, testing::ElementsAre(0, 1)) << "For the line, and for the report.";
}

/// An exception of both hierarchies.
struct DoubleException final : Tovra::System::Error::Exception, std::exception {
    DoubleException() : Exception({__FILE__, __LINE__, "Work"}) {}
    const char* what() const noexcept override { return "both"; }
};

TEST_F(ApplicationSystemsTest, TakesAnExceptionOfBothFamiliesForAStandardOne) {
    m_application.m_beforeInitialization = [] { throw DoubleException(); };
    m_application.Initialize();
    EXPECT_THAT(errorHandler.reports, testing::ElementsAre("Exception: std::exception\n\tMessage: both\n"));
}

TEST_F(ApplicationSystemsTest, ReportsAnExceptionOfItsOwnThroughTheErrorHandlerAlone) {
    m_application.m_beforeInitialization = [] { TOVRA_THROW(Foundation, 2, "Failed to initialize log file."); };
    m_application.Initialize();
    EXPECT_THAT(errorHandler.reports, testing::ElementsAre(testing::StartsWith(
                                          "Exception: Tovra::Exception\n\tMessage: Failed to initialize log file.\n")));
}

TEST_F(ApplicationSystemsTest, LogsWhatIsNoExceptionAtAll) {
    int systems = 0;
    m_application.m_beforeInitialization = [&] {
        if (++systems == 2) {
            throw 42;
        }
    };
    m_application.Initialize();
    EXPECT_THAT(errorHandler.reports, testing::IsEmpty());
    EXPECT_THAT(ReadLog(), testing::ElementsAre(testing::EndsWith("| System] Error: Unkown exception.")));
}

TEST_F(ApplicationSystemsTest, TellTheErrorHandlerOfTheLogAndOfNothingElse) {
    Add();
    EXPECT_EQ(errorHandler.logger, nullptr);
    m_application.Initialize();
    EXPECT_EQ(errorHandler.logger, m_application.m_logSystem.get());
}

TEST(ApplicationSystems, LeaveTheirLogToTheErrorHandlerAfterTheirEnd) {
    const TemporaryFolder folder;
    const EnvironmentValue home("HOME", folder.GetPath());
    const Logger* log = nullptr;
    {
        TestApplication application;
        application.Application::Main({});
        application.Initialize();
        log = application.m_logSystem.get();
    }
    EXPECT_NE(log, nullptr);
    EXPECT_EQ(errorHandler.logger, log) << "It is destroyed.";
}

/// Thrown by the type of the system below.
struct RefusedType {};

/// A system that has the log's identity and throws when its type is read.
class ReservedLog final : public Tovra::System::Runtime::SystemSkeleton {
public:
    const char* GetSystemName() const override { return "Reserved"; }
    GUID GetSystemGUID() const override { return Logger::s_systemGUID; }
    Tovra::System::Types::TypeID GetTypeID() const override { throw RefusedType(); }
    bool Initialize(const Tovra::System::Runtime::IConfig*) override { return true; }
    void GetExecutionParameters(SystemExecutionParameters&) override {}
};

TEST_F(ApplicationSystemsTest, AsksTheLogForItsTypeBeforeTheErrorHandlerIsToldOfIt) {
    ReservedLog log;
    PostSystemInitializationEvent event{&log};
    EXPECT_THROW(m_application.OnPostSystemInitialization(m_application, event), RefusedType);
    EXPECT_EQ(errorHandler.logger, nullptr);
}

TEST_F(ApplicationSystemsTest, AreNotKeptIfTheyStayUninitialised) {
    m_application.m_initialize = false;
    EXPECT_EQ(m_application.AddSystem<TestSystem<>>(), nullptr);
    EXPECT_TRUE(m_application.m_systems.empty());
}

TEST_F(ApplicationSystemsTest, HandsASystemItsConfiguration) {
    TestConfig config;
    const ConfiguredSystem* const configured = m_application.AddSystem<ConfiguredSystem>(&config);
    EXPECT_EQ(configured->m_config, &config);
    EXPECT_EQ(m_application.m_config, &config);
    const TestSystem<>& system = Add();
    EXPECT_EQ(system.m_config, nullptr);
    EXPECT_EQ(m_application.m_config, nullptr);
}

TEST_F(ApplicationSystemsTest, AsksBeforeASystemIsInitialisedAndTellsAfterwards) {
    EXPECT_EQ(Add().GetSystemState(), State::Initialized);
    EXPECT_EQ(m_application.m_events, "before TestSystem after TestSystem ");
}

TEST_F(ApplicationSystemsTest, LeavesASystemAloneThatTheHandlerDoesNotWant) {
    m_application.m_initialize = false;
    TestSystem<> system;
    system.m_initialize = []() -> bool { throw std::logic_error("initialised"); };
    EXPECT_TRUE(m_application.InitializeSystem(system, nullptr));
    EXPECT_EQ(system.GetSystemState(), State::Undefined);
    EXPECT_EQ(m_application.m_events, "before TestSystem ");
}

TEST_F(ApplicationSystemsTest, LeavesAnOptionalSystemThatRefusesUndefined) {
    TestSystem<> system;
    system.m_initialize = [] { return false; };
    system.m_isOptional = true;
    EXPECT_TRUE(m_application.InitializeSystem(system, nullptr));
    EXPECT_EQ(system.GetSystemState(), State::Undefined);
    EXPECT_EQ(m_application.m_events, "before TestSystem ");
}

TEST_F(ApplicationSystemsTest, ThrowsIfASystemThatIsNotOptionalRefuses) {
    TestSystem<> system;
    system.m_initialize = [] { return false; };
    try {
        m_application.InitializeSystem(system, nullptr);
        FAIL();
    } catch (const SystemInitializationException& exception) {
        EXPECT_EQ(exception.GetErrorCode(), 0x0000000300640002U);
        EXPECT_STREQ(exception.GetDetails().systemName, "TestSystem");
        EXPECT_EQ(exception.GetDetails().systemGuid, (GUID{0x7E57, 1}));
        EXPECT_STREQ(exception.callStack.function, "InitializeSystem");
    }
}

TEST_F(ApplicationSystemsTest, ThrowsIfThereIsNoSystemToBeHad) {
    try {
        m_application.AddSystem<ImpossibleSystem>();
        FAIL();
    } catch (const SystemCreationException& exception) {
        EXPECT_EQ(exception.GetErrorCode(), 0x0000000200640002U);
        EXPECT_STREQ(exception.GetDetails().systemName, "Impossible");
        EXPECT_EQ(exception.GetDetails().systemGuid, (GUID{7, 8}));
        EXPECT_STREQ(exception.callStack.function, "CreateAndInitialize");
    }
    EXPECT_TRUE(m_application.m_systems.empty());
}

TEST_F(ApplicationSystemsTest, AreCreatedAndInitializedWithSuccess) {
    std::unique_ptr<TestSystem<>, std::function<void(TestSystem<>*)>> system;
    EXPECT_TRUE((m_application.CreateAndInitialize<TestSystem<>, EmptyConfig>(system, nullptr)));
    ASSERT_NE(system, nullptr);
    EXPECT_EQ(system->GetSystemState(), ISystem::State::Initialized);
}

TEST_F(ApplicationSystemsTest, DestroysASystemOrNone) {
    bool isDestroyed = false;
    auto* const system = new TestSystem<>;
    system->m_onDestruction = [&isDestroyed] { isDestroyed = true; };
    TestApplication::Destruct(system);
    EXPECT_TRUE(isDestroyed);
    TestApplication::DestructSystem(nullptr);
    TestApplication::Destruct<TestSystem<>>(nullptr);
}

TEST(ApplicationSystems, DestroysTheProgramsSystemsFromTheLastToTheFirstBeforeItsOwn) {
    std::string destroyed;
    ISystem* reference = nullptr;
    {
        TestApplication application;
        auto& first = *application.AddSystem<TestSystem<1>>();
        first.m_onDestruction = [&] {
            EXPECT_EQ(reference, nullptr) << "The second's reference is cleared before the first dies.";
            EXPECT_EQ(application.m_systems[1].m_thread, nullptr);
            EXPECT_EQ(application.m_systems[1].m_reservedForOwner, 0u);
            destroyed += "first ";
        };
        auto& second = *application.AddSystem<TestSystem<2>>();
        second.m_onDestruction = [&] {
            EXPECT_NE(reference, nullptr);
            EXPECT_NE(application.m_systems[1].m_thread, nullptr);
            destroyed += "second ";
        };
        reference = &second;
        application.m_systems[1].m_backReference = &reference;
        int object = 0;
        application.m_systems[1].m_thread = reinterpret_cast<Thread*>(&object);
        application.m_systems[1].m_reservedForOwner = 7;
        application.m_threadingSystem = {reinterpret_cast<ThreadManager*>(&object),
                                         [&destroyed](auto*) { destroyed += "threads "; }};
        application.m_displaySystem = {reinterpret_cast<DisplayCache*>(&object), [&](auto*) {
                                           EXPECT_TRUE(application.m_systems.empty());
                                           destroyed += "displays ";
                                       }};
    }
    EXPECT_EQ(destroyed, "second first displays threads ");
    EXPECT_EQ(reference, nullptr);
}

TEST_F(ApplicationSystemsTest, RunsEverySystemOnAThreadOfItsOwnIfNoneIsForTheMainThread) {
    m_application.Initialize();
    const TestSystem<1>& first = Add<1>();
    const TestSystem<2>& second = Add<2>();
    m_application.Run(GUID::Empty());
    EXPECT_EQ(first.m_askedWith, ThreadModel::Unset);
    WaitForLoop(first);
    WaitForLoop(second);
    EXPECT_EQ(m_application.m_systems[0].m_thread->GetIndex(), 0);
    EXPECT_EQ(m_application.m_systems[1].m_thread->GetIndex(), 1);
    EXPECT_EQ(m_application.m_mainThreadSystem, nullptr);
    m_application.ShutdownSystems();
    EXPECT_EQ(first.GetSystemState(), State::Shutdown_Complete);
    EXPECT_EQ(second.GetSystemState(), State::Shutdown_Complete);
    EXPECT_EQ(first.m_calls, "enter shutdown leave ");
}

/// A system whose author has given it no identity.
class AnonymousSystem final : public System<AnonymousSystem, "Anonymous", GUID{}> {
public:
    static constexpr Tovra::System::Types::TypeID s_typeID = 0xC4;
    bool Initialize(const Tovra::System::Runtime::IConfig*) override { return true; }
    void GetExecutionParameters(SystemExecutionParameters& parameters) override {
        Tovra::System::Runtime::RunInDedicatedThread(*this, parameters);
    }
    void Update() override { ++m_updates; }
    void OnShutdown() override {}

    std::atomic<int> m_updates = 0;
};

TEST_F(ApplicationSystemsTest, RunsASystemWithoutIdentityOnAThreadOfItsOwnIfNoneIsForTheMainThread) {
    m_application.Initialize();
    const AnonymousSystem& system = *m_application.AddSystem<AnonymousSystem>();
    m_application.Run(GUID::Empty());
    EXPECT_EQ(m_application.m_mainThreadSystem, nullptr);
    while (system.m_updates == 0) {
        std::this_thread::yield();
    }
    m_application.ShutdownSystems();
    EXPECT_EQ(system.GetSystemState(), State::Shutdown_Complete);
}

TEST_F(ApplicationSystemsTest, RunsTheNamedSystemOnTheMainThreadUntilTheShutdown) {
    m_application.Initialize();
    const TestSystem<1>& first = Add<1>();
    TestSystem<2>& second = Add<2>();
    const std::thread::id mainThread = std::this_thread::get_id();
    second.m_update = [&] {
        EXPECT_EQ(std::this_thread::get_id(), mainThread);
        WaitForLoop(first);
        Application::Shutdown();
    };
    m_application.Run(TestSystem<2>::s_systemGUID);
    EXPECT_EQ(m_application.m_mainThreadSystem, &second);
    EXPECT_EQ(m_application.m_systems[1].m_thread, nullptr);
    EXPECT_EQ(second.GetSystemState(), State::Shutdown_Complete);
    EXPECT_EQ(second.m_calls, "enter shutdown leave ");
    EXPECT_EQ(first.GetSystemState(), State::Execution);
    m_application.ShutdownSystems();
    EXPECT_EQ(first.GetSystemState(), State::Shutdown_Complete);
    EXPECT_EQ(second.m_calls, "enter shutdown leave shutdown ") << "Once more when everything else is down.";
}

TEST_F(ApplicationSystemsTest, GivesOnlyTheFirstSystemOfThatIdentityTheMainThread) {
    m_application.Initialize();
    Add<1>();
    Add<1>();
    GetTestSystem(0).m_update = [&] {
        WaitForLoop(GetTestSystem(1));
        Application::Shutdown();
    };
    m_application.Run(TestSystem<1>::s_systemGUID);
    EXPECT_EQ(m_application.m_mainThreadSystem, m_application.m_systems[0].m_system.get());
    EXPECT_NE(m_application.m_systems[1].m_thread, nullptr);
    m_application.ShutdownSystems();
}

TEST_F(ApplicationSystemsTest, RunsSixteenSystems) {
    m_application.Initialize();
    for (int index = 0; index < 15; ++index) {
        Add<1>();
    }
    Add<2>().m_update = [&] {
        for (std::size_t index = 0; index < 15; ++index) {
            WaitForLoop(GetTestSystem(index));
        }
        Application::Shutdown();
    };
    m_application.Run(TestSystem<2>::s_systemGUID);
    m_application.ShutdownSystems();
    for (const auto& container : m_application.m_systems) {
        EXPECT_EQ(container.m_system->GetSystemState(), State::Shutdown_Complete);
    }
}

TEST_F(ApplicationSystemsTest, ShutsDownFromTheLastSystemToTheFirstAndThenTheMainThreads) {
    std::string ended;
    TestSystem<1>& first = Add<1>();
    first.m_onEvent = [&] { ended += "first "; };
    TestSystem<2>& second = Add<2>();
    second.m_onShutdown = [&] { ended += "main "; };
    TestSystem<3>& third = Add<3>();
    third.m_onEvent = [&] { ended += "third "; };
    m_application.m_mainThreadSystem = &second;
    m_application.ShutdownSystems();
    EXPECT_EQ(ended, "third first main ");
    EXPECT_EQ(first.GetSystemState(), State::Shutdown_Complete) << "Its loop never started.";
    EXPECT_EQ(first.m_calls, "") << "So there is nothing to end.";
    EXPECT_TRUE(second.m_events.empty()) << "It has had its event.";
}

TEST_F(ApplicationSystemsTest, LeaveASystemAsItIsThatGetsNoThread) {
    m_application.Initialize();
    ThreadManager& manager = GetSystem<ThreadManager>();
    Thread none;
    // Each call decrements the count, down to 16.
    for (int round = 0; round < 65536 - 16; ++round) {
        try {
            manager.OnThreadFinished(none);
        } catch (const Tovra::System::Error::Exception&) {
            continue;
        }
    }
    const TestSystem<>& system = Add();
    m_application.Run(GUID::Empty());
    EXPECT_EQ(m_application.m_systems[0].m_thread, nullptr);
    EXPECT_THAT(ReadLog(), testing::ElementsAre(testing::EndsWith(
                               "| System] Warning: Failed to create thread. Maximum thread count reached.")));
    m_application.ShutdownSystems();
    EXPECT_EQ(system.GetSystemState(), State::Shutdown_Complete);
    for (int round = 0; round < 16; ++round) {
        EXPECT_ANY_THROW(manager.OnThreadFinished(none));
    }
}

TEST_F(ApplicationSystemsTest, FindNoSlotForTheSixteenthThread) {
    m_application.Initialize();
    for (int index = 0; index < 16; ++index) {
        Add();
    }
    EXPECT_THROW(m_application.Run(GUID::Empty()), ManagerException);
    for (std::size_t index = 0; index < 15; ++index) {
        WaitForLoop(GetTestSystem(index));
    }
    m_application.ShutdownSystems();
}

TEST_F(ApplicationSystemsTest, SkipsEmptyEntriesAtTheShutdown) {
    m_application.m_systems.resize(2);
    m_application.ShutdownSystems();
    TestSystem<> system;
    m_application.m_mainThreadSystem = &system;
    m_application.ShutdownSystems();
    EXPECT_EQ(system.m_calls, "shutdown ");
}

TEST_F(ApplicationSystemsTest, WaitsForASystemThatTakesItsTime) {
    m_application.Initialize();
    TestSystem<>& system = Add();
    std::atomic<bool> isSlow = false;
    system.m_update = [&] {
        isSlow = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
    };
    m_application.Run(GUID::Empty());
    while (!isSlow) {
        std::this_thread::yield();
    }
    m_application.ShutdownSystems();
    EXPECT_EQ(system.GetSystemState(), State::Shutdown_Complete);
}

/// A system that is complete after its state was read three times.
class SlowSystem final : public ISystem {
public:
    const char* GetSystemName() const override { return "Slow"; }
    GUID GetSystemGUID() const override { return {11, 12}; }
    Tovra::System::Types::TypeID GetTypeID() const override { return 0xC3; }
    bool IsOptional() const override { return false; }
    bool Initialize(const Tovra::System::Runtime::IConfig*) override { return true; }
    void GetExecutionParameters(SystemExecutionParameters&) override {}
    State GetSystemState() const override {
        return ++m_reads < 3 ? State::Shutdown_Requested : State::Shutdown_Complete;
    }
    void Update() override {}
    void ProcessEvent(Sender, SystemEvent&) override {}
    bool OnUpdateLoopEnter() override { return true; }
    bool OnUpdateLoopLeave() override { return true; }
    void OnShutdown() override {}
    void OnSystemEvent(Sender, SystemEvent&) override {}
    bool PreUpdateLoop() override { return true; }
    void UpdateLoop() override {}
    bool PostUpdateLoop() override { return true; }
    void ProcessEvent(Application&, SystemEvent&) override {}
    void SetThread(Thread&) override {}

    mutable std::atomic<int> m_reads = 0; ///< How often the state was read.
};

TEST_F(ApplicationSystemsTest, AreAskedEveryTenthOfASecondAtTheShutdown) {
    SlowSystem system;
    m_application.m_systems.resize(1);
    m_application.m_systems[0].m_system = {&system, [](ISystem*) {}};
    const RecordedSleeps sleeps;
    m_application.ShutdownSystems();
    EXPECT_EQ(system.m_reads, 3);
    EXPECT_THAT(sleeps.Get(), testing::ElementsAre(100ms, 100ms));
    m_application.m_systems.clear();
}

TEST_F(ApplicationSystemsTest, AreWaitedForUntilTheirThreadHasFreedItsSlot) {
    m_application.Initialize();
    SlowSystem system;
    m_application.m_systems.resize(1);
    m_application.m_systems[0].m_system = {&system, [](ISystem*) {}};
    const std::function<void()> work = [&system] {
        while (system.m_reads < 3) {
            std::this_thread::yield();
        }
        // Time for the frame to see that the system is complete.
        std::this_thread::sleep_for(20ms);
    };
    Thread*& thread = m_application.m_systems[0].m_thread;
    GetSystem<ThreadManager>().TryCreateThread(Tovra::Tests::ThreadWork::Make(work), thread);
    const RecordedSleeps sleeps;
    const auto begin = std::chrono::steady_clock::now();
    m_application.ShutdownSystems();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s) << "No longer than that.";
    EXPECT_EQ(thread->GetStatus(), Thread::Status::None);
    m_application.m_systems.clear();
}

TEST_F(ApplicationSystemsTest, AreNotWaitedForWhileTheirThreadGoesOnForever) {
    m_application.Initialize();
    SlowSystem system;
    m_application.m_systems.resize(1);
    m_application.m_systems[0].m_system = {&system, [](ISystem*) {}};
    std::atomic<bool> mayEnd = false;
    const std::function<void()> work = [&mayEnd] { mayEnd.wait(false); };
    Thread*& thread = m_application.m_systems[0].m_thread;
    GetSystem<ThreadManager>().TryCreateThread(Tovra::Tests::ThreadWork::Make(work), thread);
    const RecordedSleeps sleeps;
    const auto begin = std::chrono::steady_clock::now();
    m_application.ShutdownSystems();
    const auto duration = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(duration, 1s);
    EXPECT_LT(duration, 10s);
    EXPECT_EQ(thread->GetStatus(), Thread::Status::Started);
    mayEnd = true;
    mayEnd.notify_one();
    while (thread->GetStatus() != Thread::Status::None) {
        std::this_thread::yield();
    }
    m_application.m_systems.clear();
}

TEST_F(ApplicationSystemsTest, NeverEndASecondShutdown) {
    const TestSystem<>& system = Add();
    m_application.ShutdownSystems();
    EXPECT_EQ(system.GetSystemState(), State::Shutdown_Complete);
    struct Enough {};
    int looks = 0;
    const RecordedSleeps sleeps([&looks] {
        if (++looks == 1000) {
            throw Enough();
        }
    });
    EXPECT_THROW(m_application.ShutdownSystems(), Enough);
    EXPECT_EQ(system.GetSystemState(), State::Shutdown_Requested);
}

TEST_F(ApplicationSystemsTest, AreTakenOutOfTheirLastStateByASecondShutdown) {
    TestSystem<>& system = Add();
    system.m_update = [] { Application::Shutdown(); };
    m_application.Initialize();
    m_application.Run(TestSystem<>::s_systemGUID);
    EXPECT_EQ(system.GetSystemState(), State::Shutdown_Complete);
    Application::Shutdown();
    EXPECT_EQ(system.GetSystemState(), State::Shutdown_Requested) << "For ever: no loop is there to see it.";
}

TEST_F(ApplicationSystemsTest, SayGoodbyeAndCloseTheLog) {
    // The default severity is Info, and the farewell is Verbose.
    m_application.m_configCache.Load(std::string(
        R"({"settings": [{"name": "LogSystem", "configuration":
            {"streams": [{"name": "All", "severity": "Verbose"}]}}]})"));
    m_application.Initialize();
    m_application.ShutdownSystems();
    TryGetSystem<Logger>()->Write<StreamID::Default, MessageType::ID::Error>("Only on the console.");
    EXPECT_THAT(ReadLog(),
                testing::ElementsAre(testing::EndsWith("| System] Verbose: Successful shutdown. See you soon!")));
    m_application.ShutdownSystems();
}

LogFile& GetFile(Logger& logger);

/// Defines `GetFile`: a private member may be named where a template is instantiated explicitly.
template <LogFile Logger::* file>
struct FileOfLogger {
    friend LogFile& GetFile(Logger& logger) { return logger.*file; }
};
template struct FileOfLogger<&Logger::m_file>;

TEST_F(ApplicationSystemsTest, CloseTheLogTwice) {
    m_application.Initialize();
    EXPECT_FALSE(GetFile(*m_application.m_logSystem).fail());
    m_application.ShutdownSystems();
    EXPECT_TRUE(GetFile(*m_application.m_logSystem).fail()) << "Closing a closed file fails.";
}

TEST_F(ApplicationSystemsTest, SayNothingAtTheShutdownBelowTheSeverity) {
    m_application.Initialize();
    m_application.ShutdownSystems();
    EXPECT_THAT(ReadLog(), testing::IsEmpty());
}

TEST_F(ApplicationSystemsTest, ShutsDownWhenTheProgramsBodyIsOver) {
    TestSystem<>* system = nullptr;
    m_application.m_main = [&](const auto&) { system = &Add(); };
    Application::Run({});
    EXPECT_EQ(system->GetSystemState(), State::Shutdown_Complete);
}

TEST_F(ApplicationSystemsTest, ShutsDownWithoutSystemsAndWithoutALogger) {
    m_application.ShutdownSystems();
    EXPECT_EQ(m_application.m_events, "");
}

using ApplicationSystemsDeathTest = ApplicationSystemsTest;

TEST_F(ApplicationSystemsDeathTest, NeedTheirConfiguration) {
    EXPECT_ASSERTION(m_application.AddSystem<ConfiguredSystem>(nullptr), "config != nullptr",
                     "Function parameter 'config' must be non-null.");
}

TEST_F(ApplicationSystemsDeathTest, AreInitialisedOnce) {
    TestSystem<> system;
    m_application.InitializeSystem(system, nullptr);
    EXPECT_ASSERTION(m_application.InitializeSystem(system, nullptr), "systemState == ISystem::State::Undefined",
                     "Expected previous state is 'Undefined' state.");
}

/// Matches an assertion that reports this function as its place.
auto IsAssertionOf(const std::string& function, const std::string& condition, const std::string& message) {
    return testing::AllOf(Tovra::Tests::IsAssertion(condition, message), testing::HasSubstr(": " + function + "\n"));
}

const testing::KilledBySignal isKilled(SIGABRT);

TEST_F(ApplicationSystemsDeathTest, MustExistWhereTheyAreAskedFor) {
    EXPECT_EQ(TryGetSystem<DisplayCache>(), nullptr);
    EXPECT_EXIT(GetSystem<DisplayCache>(), isKilled,
                IsAssertionOf("GetSystem", "s_instance->m_displaySystem.get() != nullptr",
                              "Illegal attempt to get the 'Display System' before it was created."));
    EXPECT_EXIT(GetSystem<ThreadManager>(), isKilled,
                IsAssertionOf("GetSystem", "s_instance->m_threadingSystem.get() != nullptr",
                              "Illegal attempt to get the 'Threading System' before it was created."));
}

TEST(ApplicationSystemsEndDeathTest, NeedAnApplication) {
    const std::string message = "No application instance was created.";
    EXPECT_EXIT(GetSystem<ThreadManager>(), isKilled, IsAssertionOf("GetSystem", "s_instance != nullptr", message));
    EXPECT_EXIT(GetSystem<DisplayCache>(), isKilled, IsAssertionOf("GetSystem", "s_instance != nullptr", message));
    EXPECT_EXIT(TryGetSystem<ThreadManager>(), isKilled,
                IsAssertionOf("TryGetSystem", "s_instance != nullptr", message));
    EXPECT_EXIT(TryGetSystem<DisplayCache>(), isKilled,
                IsAssertionOf("TryGetSystem", "s_instance != nullptr", message));
    EXPECT_EXIT(TryGetSystem<Logger>(), isKilled, IsAssertionOf("TryGetSystem", "s_instance != nullptr", message));
    EXPECT_ASSERTION(Application::Shutdown(), "s_instance != nullptr",
                     "Ilegal attempt to access a non-existent application instance.");
}

TEST_F(ApplicationSystemsDeathTest, RunOnTheMainThreadOnly) {
    EXPECT_ASSERTION(m_application.Run(GUID::Empty()), "&Threads::Thread::GetCurrent() == m_mainThread",
                     "Must be executed on main thread.");
}

TEST_F(ApplicationSystemsDeathTest, ShutDownOnTheMainThreadOnly) {
    m_application.Initialize();
    const auto shutDownElsewhere = [this] {
        const std::function<void()> work = [this] { m_application.ShutdownSystems(); };
        Thread* thread = nullptr;
        GetSystem<ThreadManager>().TryCreateThread(Tovra::Tests::ThreadWork::Make(work), thread);
        while (true) {
            std::this_thread::yield();
        }
    };
    EXPECT_ASSERTION(shutDownElsewhere(), "m_mainThread == nullptr || m_mainThread == &Threads::Thread::GetCurrent()",
                     "Must be called from main thread.");
}

TEST_F(ApplicationSystemsDeathTest, AreAtLeastOne) {
    m_application.Initialize();
    EXPECT_EXIT(m_application.Run(GUID::Empty()), isKilled,
                IsAssertionOf("ExecuteSystems", "systemExecutionParametersBySystemIndex.size() >= 1",
                              "There must be at least one main thread system."));
}

TEST_F(ApplicationSystemsDeathTest, AreAtMostSixteen) {
    m_application.Initialize();
    for (int index = 0; index < 17; ++index) {
        Add();
    }
    EXPECT_EXIT(m_application.Run(TestSystem<1>::s_systemGUID), isKilled,
                IsAssertionOf("ExecuteSystems", "requiredThreadCount <= m_threadingSystem->s_maxThreadCount",
                              "Required thread count is too high."));
}

TEST_F(ApplicationSystemsDeathTest, MustAskForAThread) {
    m_application.Initialize();
    Add().m_hasThread = false;
    EXPECT_EXIT(m_application.Run(GUID::Empty()), isKilled,
                IsAssertionOf("ExecuteSystems",
                              "systemExecutionParameters.m_executionType == "
                              "SystemExecutionParameters::ThreadModel::DedicatedThread",
                              "System must run in dedicated thread."));
}

TEST_F(ApplicationSystemsDeathTest, MustHaveTheNamedOneAmongThem) {
    m_application.Initialize();
    Add();
    EXPECT_ASSERTION(m_application.Run(GUID{9, 9}), "systemExecutionConfig.m_mainThread.m_systemGUID == GUID::Empty()",
                     "Must be empty.");
}

TEST_F(ApplicationSystemsDeathTest, MustGiveTheNamedOneItsWork) {
    m_application.Initialize();
    Add().m_hasThread = false;
    GetTestSystem(0).m_asksWithoutWork = true;
    EXPECT_ASSERTION(m_application.Run(TestSystem<1>::s_systemGUID),
                     "systemExecutionConfig.m_mainThread.m_systemGUID == GUID::Empty()", "Must be empty.");
}

TEST_F(ApplicationSystemsDeathTest, MustNotHaveWorkForTheMainThreadThatNobodyNamed) {
    m_application.Initialize();
    Add();
    const std::function<void()> work = [] {};
    m_application.m_mainThreadCallback = Tovra::Tests::ThreadWork::Make(work);
    EXPECT_ASSERTION(m_application.Run(GUID::Empty()),
                     "systemExecutionConfig.m_mainThread.m_systemGUID != GUID::Empty()", "Must be non-empty.");
}

TEST_F(ApplicationSystemsDeathTest, MustHaveOneOnTheMainThreadToBeShutDown) {
    // Under a sanitizer the access ends the process by its exit.
    const auto isAccess = [](int status) {
        return WIFSIGNALED(status) ? WTERMSIG(status) == SIGSEGV : WEXITSTATUS(status) != 0;
    };
    EXPECT_EXIT(Application::Shutdown(), isAccess, testing::Not(testing::HasSubstr("Assertion:")));
}

} // namespace
