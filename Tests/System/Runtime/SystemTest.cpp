// Label: threaded

#include <Support/Assertions.h>
#include <Support/RecordedSleeps.h>
#include <Support/TestApplication.h>
#include <Support/TestSystem.h>
#include <System/Threads/ThreadManager.h>

#include <chrono>
#include <thread>

namespace {

using namespace std::chrono_literals;

using Tovra::System::GUID;
using Tovra::System::Runtime::ISystem;
using Tovra::System::Runtime::RunInDedicatedThread;
using Tovra::System::Runtime::Sender;
using Tovra::System::Runtime::ShutdownEvent;
using Tovra::System::Runtime::System;
using Tovra::System::Runtime::SystemEvent;
using Tovra::System::Runtime::SystemExecutionParameters;
using Tovra::System::Runtime::SystemThread;
using Tovra::System::Threads::Thread;
using Tovra::System::Threads::ThreadManager;
using Tovra::Tests::ApplicationTest;
using Tovra::Tests::RecordedSleeps;
using Tovra::Tests::TestSystem;

using State = ISystem::State;

/// The smallest system that a program can write.
class BareSystem final : public System<BareSystem, "Bare", GUID{1, 2}> {
public:
    static constexpr Tovra::System::Types::TypeID s_typeID = 0xBA4E;
    bool Initialize(const Tovra::System::Runtime::IConfig*) override { return true; }
    void GetExecutionParameters(SystemExecutionParameters&) override {}
};

/// A system owned by the test's thread.
class SystemTest : public ApplicationTest {
protected:
    SystemTest() {
        ThreadManager::BindMainThreadToCurrentThread();
        m_system.SetThread(Thread::GetCurrent());
    }

    void SendShutdown() {
        ShutdownEvent event;
        m_system.ProcessEvent(m_application, event);
    }

    /// Sets the system's state directly.
    void SetState(State state) { m_system.ExchangeSystemState(state); }

    TestSystem<> m_system;
};

TEST(System, HasTheIdentityOfItsType) {
    const BareSystem system;
    EXPECT_STREQ(system.GetSystemName(), "Bare");
    EXPECT_STREQ(BareSystem::s_systemName, "Bare");
    EXPECT_EQ(system.GetSystemGUID(), (GUID{1, 2}));
    EXPECT_EQ(BareSystem::s_systemGUID, (GUID{1, 2}));
    EXPECT_EQ(system.GetTypeID(), 0xBA4EU);
}

TEST(System, StartsUndefinedAndIsNotOptional) {
    const BareSystem system;
    EXPECT_EQ(system.GetSystemState(), State::Undefined);
    EXPECT_FALSE(system.IsOptional());
}

TEST(System, HasSettledNumbers) {
    EXPECT_EQ(static_cast<int>(State::Undefined), 0);
    EXPECT_EQ(static_cast<int>(State::Initialized), 1);
    EXPECT_EQ(static_cast<int>(State::Execution), 2);
    EXPECT_EQ(static_cast<int>(State::Execution_Paused), 3);
    EXPECT_EQ(static_cast<int>(State::Shutdown_Requested), 4);
    EXPECT_EQ(static_cast<int>(State::Shutdown_Pending), 5);
    EXPECT_EQ(static_cast<int>(State::Shutdown_Complete), 6);
    EXPECT_EQ(static_cast<int>(SystemExecutionParameters::ThreadModel::Unset), 1);
    EXPECT_EQ(static_cast<int>(SystemExecutionParameters::ThreadModel::DedicatedThread), 3);
    EXPECT_EQ(ShutdownEvent().m_typeID, 0xAF5F1452U);
    EXPECT_EQ(Sender::s_applicationTypeID, 0x6C1D0F86U);
}

TEST(System, AsksForNothingAtFirst) {
    const SystemExecutionParameters parameters;
    EXPECT_EQ(parameters.m_executionType, SystemExecutionParameters::ThreadModel::Unset);
    EXPECT_EQ(parameters.m_reserved, 0U);
    EXPECT_EQ(parameters.m_threadEntryPoint, nullptr);
}

TEST(System, HasDefaultsThatDoNothing) {
    BareSystem bare;
    ISystem& system = bare;
    SystemEvent event{1};
    system.ProcessEvent({nullptr, 2}, event);
    system.OnSystemEvent({nullptr, 2}, event);
    EXPECT_TRUE(system.OnUpdateLoopEnter());
    EXPECT_TRUE(system.OnUpdateLoopLeave());
    EXPECT_EQ(system.GetSystemState(), State::Undefined);
}

TEST_F(SystemTest, EntersItsLoopFromInitialized) {
    for (const bool result : {true, false}) {
        SetState(State::Initialized);
        m_system.m_enterResult = result;
        EXPECT_EQ(m_system.PreUpdateLoop(), result);
        EXPECT_EQ(m_system.GetSystemState(), State::Execution);
    }
    EXPECT_EQ(m_system.m_calls, "enter enter ");
}

TEST_F(SystemTest, UpdatesUntilTheShutdownIsRequested) {
    int updates = 0;
    m_system.m_update = [&] {
        if (++updates == 1000) {
            SendShutdown();
            EXPECT_EQ(m_system.GetSystemState(), State::Shutdown_Requested);
        }
    };
    SetState(State::Execution);
    m_system.UpdateLoop();
    EXPECT_EQ(updates, 1000);
    EXPECT_EQ(m_system.GetSystemState(), State::Shutdown_Pending);
    EXPECT_EQ(m_system.m_calls, "shutdown ");
}

TEST_F(SystemTest, UpdatesWithoutAnyDelay) {
    int updates = 0;
    m_system.m_update = [&] {
        if (++updates == 1000) {
            SendShutdown();
        }
    };
    SetState(State::Execution);
    const RecordedSleeps sleeps;
    m_system.UpdateLoop();
    EXPECT_THAT(sleeps.Get(), testing::IsEmpty());
}

TEST_F(SystemTest, IdlesWhileItIsPausedAndLooksEveryQuarterOfASecond) {
    SetState(State::Execution);
    m_system.m_update = [&] {
        if (m_system.m_updates == 1) {
            SetState(State::Execution_Paused);
        } else {
            SendShutdown();
        }
    };
    int looks = 0;
    const RecordedSleeps sleeps([&] {
        EXPECT_EQ(m_system.m_updates, 1);
        if (++looks == 3) {
            SetState(State::Execution);
        }
    });
    m_system.UpdateLoop();
    EXPECT_THAT(sleeps.Get(), testing::ElementsAre(250ms, 250ms, 250ms));
    EXPECT_EQ(m_system.m_updates, 2);
}

TEST_F(SystemTest, MayBePausedBeforeItsLoopBegins) {
    SetState(State::Execution_Paused);
    const RecordedSleeps sleeps([this] { SendShutdown(); });
    m_system.UpdateLoop();
    EXPECT_EQ(m_system.m_updates, 0);
}

TEST_F(SystemTest, SeesTheShutdownWhileItIsPaused) {
    SetState(State::Execution);
    std::thread other;
    m_system.m_update = [&] {
        SetState(State::Execution_Paused);
        other = std::thread([this] { SendShutdown(); });
    };
    m_system.UpdateLoop();
    other.join();
    EXPECT_EQ(m_system.m_updates, 1);
    EXPECT_EQ(m_system.GetSystemState(), State::Shutdown_Pending);
}

TEST_F(SystemTest, HasSeenTheRequestWhenItIsToldOfTheShutdown) {
    SetState(State::Execution);
    m_system.m_update = [this] { SendShutdown(); };
    m_system.m_onShutdown = [this] { EXPECT_EQ(m_system.GetSystemState(), State::Shutdown_Pending); };
    m_system.UpdateLoop();
    EXPECT_EQ(m_system.m_calls, "shutdown ");
}

TEST_F(SystemTest, HasChangedItsStateWhenItHearsOfTheShutdown) {
    SetState(State::Initialized);
    m_system.m_onEvent = [this] { EXPECT_EQ(m_system.GetSystemState(), State::Shutdown_Complete); };
    SendShutdown();
    EXPECT_EQ(m_system.m_events.size(), 1U);
}

TEST_F(SystemTest, LeavesItsLoopFromShutdownPending) {
    for (const bool result : {true, false}) {
        SetState(State::Shutdown_Pending);
        m_system.m_leaveResult = result;
        EXPECT_EQ(m_system.PostUpdateLoop(), result);
        EXPECT_EQ(m_system.GetSystemState(), State::Shutdown_Complete);
    }
    EXPECT_EQ(m_system.m_calls, "leave leave ");
}

TEST_F(SystemTest, IsCompleteAtOnceIfItsLoopNeverStarted) {
    SetState(State::Initialized);
    SendShutdown();
    EXPECT_EQ(m_system.GetSystemState(), State::Shutdown_Complete);
}

TEST_F(SystemTest, OtherwiseOnlyNotesTheShutdown) {
    for (const State state : {State::Undefined, State::Execution, State::Execution_Paused, State::Shutdown_Requested,
                              State::Shutdown_Pending, State::Shutdown_Complete}) {
        SetState(state);
        SendShutdown();
        EXPECT_EQ(m_system.GetSystemState(), State::Shutdown_Requested) << static_cast<int>(state);
    }
}

TEST_F(SystemTest, HearsOfTheShutdownAsAnEventOnly) {
    SendShutdown();
    const std::vector<TestSystem<>::Event> expected = {{"event", &m_application, 0x6C1D0F86, 0xAF5F1452}};
    EXPECT_EQ(m_system.m_events, expected);
}

TEST_F(SystemTest, ProcessesEveryOtherEventBeforeItHearsOfIt) {
    SetState(State::Execution);
    SystemEvent event{0x1234};
    m_system.ProcessEvent(m_application, event);
    const std::vector<TestSystem<>::Event> expected = {{"process", &m_application, 0x6C1D0F86, 0x1234},
                                                       {"event", &m_application, 0x6C1D0F86, 0x1234}};
    EXPECT_EQ(m_system.m_events, expected);
    EXPECT_EQ(m_system.GetSystemState(), State::Execution);
}

TEST_F(SystemTest, LivesItsWholeLifeInTheReadyMadeCallback) {
    TestSystem<2> system;
    system.ExchangeSystemState(State::Initialized);
    system.m_update = [&] {
        system.m_calls += "update ";
        ShutdownEvent event;
        system.ProcessEvent(m_application, event);
    };
    SystemThread callback(system);
    callback.SetThread(Thread::GetCurrent());
    callback.Run();
    EXPECT_EQ(system.m_calls, "enter update shutdown leave ");
    EXPECT_EQ(system.GetSystemState(), State::Shutdown_Complete);
}

TEST_F(SystemTest, AsksForAThreadInOneLine) {
    SystemExecutionParameters parameters;
    RunInDedicatedThread(m_system, parameters);
    EXPECT_EQ(parameters.m_executionType, SystemExecutionParameters::ThreadModel::DedicatedThread);
    EXPECT_NE(dynamic_cast<SystemThread*>(parameters.m_threadEntryPoint.get()), nullptr);
}

using SystemDeathTest = SystemTest;

TEST_F(SystemDeathTest, NeedsItsOwnUpdateAndShutdown) {
    EXPECT_ASSERTION(BareSystem().Update(), "false", "Illegal function call.");
    EXPECT_ASSERTION(BareSystem().OnShutdown(), "false", "Illegal function call.");
}

TEST_F(SystemDeathTest, TakesItsThreadOnceOnly) {
    EXPECT_ASSERTION(m_system.SetThread(Thread::GetCurrent()), "m_thread == nullptr", "Thread shall be set once only.");
}

TEST_F(SystemDeathTest, RunsItsCallbackOnceOnly) {
    SystemThread callback(m_system);
    callback.SetThread(Thread::GetCurrent());
    EXPECT_ASSERTION(callback.Run(), "m_thread == nullptr", "Thread shall be set once only.");
}

TEST_F(SystemDeathTest, RunsOnItsOwnThreadOnly) {
    TestSystem<2> other;
    const std::string condition = "updateThread == expectedThread";
    const std::string message = "Function must be called from owning thread only.";
    const auto isAssertionOf = [&](const std::string& function) {
        return testing::AllOf(Tovra::Tests::IsAssertion(condition, message),
                              testing::HasSubstr(": " + function + "\n"));
    };
    const testing::KilledBySignal isKilled(SIGABRT);
    EXPECT_EXIT(other.PreUpdateLoop(), isKilled, isAssertionOf("PreUpdateLoop"));
    EXPECT_EXIT(other.UpdateLoop(), isKilled, isAssertionOf("UpdateLoop"));
    EXPECT_EXIT(other.PostUpdateLoop(), isKilled, isAssertionOf("PostUpdateLoop"));
}

TEST_F(SystemDeathTest, EntersItsLoopFromNoOtherState) {
    for (const State state : {State::Undefined, State::Execution, State::Execution_Paused, State::Shutdown_Requested,
                              State::Shutdown_Pending, State::Shutdown_Complete}) {
        SetState(state);
        EXPECT_ASSERTION(m_system.PreUpdateLoop(), "systemState == State::Initialized",
                         "Pipline must be in initialized state'.");
    }
}

TEST_F(SystemDeathTest, UpdatesInNoOtherStates) {
    for (const State state : {State::Undefined, State::Initialized, State::Shutdown_Requested, State::Shutdown_Pending,
                              State::Shutdown_Complete}) {
        SetState(state);
        EXPECT_ASSERTION(m_system.UpdateLoop(),
                         "systemState == State::Execution || systemState == State::Execution_Paused",
                         "Pipline must be in 'State::Execution' or 'State::Execution_Paused' state'.");
    }
}

TEST_F(SystemDeathTest, LeavesItsLoopFromNoOtherState) {
    for (const State state : {State::Undefined, State::Initialized, State::Execution, State::Execution_Paused,
                              State::Shutdown_Requested, State::Shutdown_Complete}) {
        SetState(state);
        EXPECT_ASSERTION(m_system.PostUpdateLoop(), "systemState == State::Shutdown_Pending",
                         "Pipline must be in 'State::Shutdoen' or 'State::Execution_Paused' state'.");
    }
}

TEST_F(SystemDeathTest, DoesNotFallBackWhileItsLoopRuns) {
    SetState(State::Execution);
    for (const State state :
         {State::Undefined, State::Initialized, State::Shutdown_Pending, State::Shutdown_Complete}) {
        m_system.m_update = [this, state] { SetState(state); };
        EXPECT_ASSERTION(m_system.UpdateLoop(), "false", "Illegal switch case.");
    }
    m_system.m_update = [this] { SetState(static_cast<State>(7)); };
    EXPECT_ASSERTION(m_system.UpdateLoop(), "false", "Implementation of case directive is missing.");
}

/// A system that is told to shut down during a step.
class InterruptedSystem final : public System<InterruptedSystem, "Interrupted", GUID{1, 3}> {
public:
    static constexpr Tovra::System::Types::TypeID s_typeID = 0x17;
    bool Initialize(const Tovra::System::Runtime::IConfig*) override { return true; }
    void GetExecutionParameters(SystemExecutionParameters&) override {}
    bool OnUpdateLoopEnter() override { return Interrupt(); }
    bool OnUpdateLoopLeave() override { return Interrupt(); }

private:
    bool Interrupt() {
        ExchangeSystemState(State::Shutdown_Requested);
        return true;
    }
};

TEST_F(SystemDeathTest, ChangesItsStateFromTheExpectedOneOnly) {
    InterruptedSystem system;
    system.SetThread(Thread::GetCurrent());
    const std::string message = "Can't change system state due to an unexpected current state.";
    system.ExchangeSystemState(State::Initialized);
    EXPECT_ASSERTION(system.PreUpdateLoop(), "systemStateChanged", message);
    system.ExchangeSystemState(State::Shutdown_Pending);
    EXPECT_ASSERTION(system.PostUpdateLoop(), "systemStateChanged", message);
    EXPECT_EXIT(system.PostUpdateLoop(), testing::KilledBySignal(SIGABRT), ": SetSystemState\n");
}

} // namespace
