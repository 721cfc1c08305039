// Label: threaded

#include <Support/Assertions.h>
#include <Support/EnvironmentValue.h>
#include <Support/RecordedSleeps.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestApplication.h>
#include <Support/TestSystem.h>
#include <System/Runtime/SignalSystem.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <functional>

namespace Tovra::System::Runtime {

namespace {

using Tests::TestApplication;
using Tests::TestSystem;

/// A program with a system on the main thread and the one that is tested.
class SignalSystemTest : public ::testing::Test {
protected:
    ~SignalSystemTest() override {
        for (const int signal : {SIGINT, SIGTERM}) {
            std::signal(signal, SIG_DFL);
        }
    }

    /// Runs the program; `update` is called in each step of the main loop with the number of steps so far.
    void Run(const std::function<void(int)>& update, const std::function<void()>& beforeRun = [] {}) {
        m_application.m_main = [&](const ApplicationParameters&) {
            m_application.Initialize();
            auto* const system = m_application.AddSystem<TestSystem<>>();
            system->m_update = [&, system] { update(system->m_updates); };
            m_application.AddSystem<SignalSystem>()->EndProgramOf(*system);
            beforeRun();
            m_application.Application::Run(TestSystem<>::s_systemGUID);
        };
        Application::Run({});
    }

    static bool IsDefault(int signal) {
        struct sigaction action{};
        sigaction(signal, nullptr, &action);
        return action.sa_handler == SIG_DFL;
    }

    Tests::TemporaryFolder m_folder;
    Tests::EnvironmentValue m_home{"HOME", m_folder.GetPath()};
    TestApplication m_application;
};

/// The system alone, whose steps the test makes.
class SignalSystemStepTest : public SignalSystemTest {
protected:
    SignalSystemStepTest() {
        m_system.EndProgramOf(m_main);
        m_application.m_mainThreadSystem = &m_main;
    }

    /// Makes a step while the main system is in a state; gives how often it has been told to end so far.
    std::size_t Step(ISystem::State state) {
        m_main.ExchangeSystemState(state);
        const Tests::RecordedSleeps sleeps;
        m_system.Update();
        EXPECT_THAT(sleeps.Get(), ::testing::ElementsAre(std::chrono::milliseconds(20)));
        return m_main.m_events.size();
    }

    TestSystem<>& m_main = *m_application.AddSystem<TestSystem<>>();
    SignalSystem& m_system = *m_application.AddSystem<SignalSystem>();
};

} // namespace

class SignalSystemSignalTest : public SignalSystemTest, public ::testing::WithParamInterface<int> {};

TEST_P(SignalSystemSignalTest, EndsTheMainLoopAndASecondOneWouldEndTheProcess) {
    Run([](int step) {
        if (step == 1) {
            std::raise(GetParam());
            EXPECT_TRUE(IsDefault(SIGINT));
            EXPECT_TRUE(IsDefault(SIGTERM));
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Signals, SignalSystemSignalTest, ::testing::Values(SIGINT, SIGTERM));

TEST_F(SignalSystemTest, GivesTheSignalsBackAtItsEnd) {
    Run([](int) { SignalSystem::RequestEnd(); });
    EXPECT_TRUE(IsDefault(SIGINT));
    EXPECT_TRUE(IsDefault(SIGTERM));
}

TEST_F(SignalSystemTest, EndsALoopThatBeginsAfterTheRequest) {
    Run([](int) {}, [] { std::raise(SIGTERM); });
}

TEST_F(SignalSystemTest, EndsTheProgramOnceHoweverOftenItIsAskedTo) {
    Run([](int) {
        SignalSystem::RequestEnd();
        SignalSystem::RequestEnd();
    });
}

TEST_F(SignalSystemStepTest, EndsNothingUnasked) {
    EXPECT_EQ(Step(ISystem::State::Execution), 0u);
}

TEST_F(SignalSystemStepTest, ForgetsRequestsFromBefore) {
    SignalSystem::RequestEnd();
    m_system.Initialize(nullptr);
    EXPECT_EQ(Step(ISystem::State::Execution), 0u);
}

TEST_F(SignalSystemStepTest, WaitsForTheLoopAndEndsItOnce) {
    SignalSystem::RequestEnd();
    for (const ISystem::State state : {ISystem::State::Initialized, ISystem::State::Shutdown_Pending}) {
        EXPECT_EQ(Step(state), 0u);
    }
    EXPECT_EQ(Step(ISystem::State::Execution), 1u);
    EXPECT_EQ(Step(ISystem::State::Execution), 1u);
}

TEST_F(SignalSystemStepTest, EndsALoopThatIsPaused) {
    SignalSystem::RequestEnd();
    EXPECT_EQ(Step(ISystem::State::Execution_Paused), 1u);
}

TEST_F(SignalSystemTest, AssertsThatItKnowsTheMainSystem) {
    SignalSystem* const system = m_application.AddSystem<SignalSystem>();
    EXPECT_ASSERTION(system->Update(), "m_mainSystem != nullptr", "The system of the main thread shall be named.");
}

} // namespace Tovra::System::Runtime
