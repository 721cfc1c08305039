#include <Support/RecordedSleeps.h>
#include <Support/TestApplication.h>
#include <Support/TestSystem.h>
#include <System/Runtime/SignalSystem.h>

#include <gtest/gtest.h>

#include <csignal>
#include <utility>

namespace {

/// Whether the signal of the next call of `signal` comes right after it.
bool s_isRaised = false;

} // namespace

// The linker (--wrap) redirects calls of `signal` to the second function, and calls of the first to `signal`.
extern "C" {
sighandler_t __real_signal(int signal, sighandler_t handler);

sighandler_t __wrap_signal(int signal, sighandler_t handler) {
    const sighandler_t previous = __real_signal(signal, handler);
    if (std::exchange(s_isRaised, false)) {
        std::raise(signal);
    }
    return previous;
}
}

namespace {

using Tovra::System::Runtime::ISystem;
using Tovra::System::Runtime::SignalSystem;
using Tovra::Tests::TestSystem;

using SignalSystemRaceTest = Tovra::Tests::ApplicationTest;

TEST_F(SignalSystemRaceTest, LosesNoSignalThatComesWhileItIsInitialized) {
    auto& mainSystem = *m_application.AddSystem<TestSystem<>>();
    auto& system = *m_application.AddSystem<SignalSystem>();
    system.EndProgramOf(mainSystem);
    m_application.m_mainThreadSystem = &mainSystem;
    mainSystem.ExchangeSystemState(ISystem::State::Execution);
    s_isRaised = true;
    system.Initialize(nullptr);
    const Tovra::Tests::RecordedSleeps sleeps;
    system.Update();
    EXPECT_EQ(mainSystem.m_events.size(), 1u);
    system.OnShutdown();
}

} // namespace
