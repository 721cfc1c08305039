#include <System/Error/Assertion.h>
#include <System/Runtime/Application.h>
#include <System/Runtime/SignalSystem.h>
#include <System/Runtime/SystemThread.h>
#include <System/Threads/Sleep.h>

#include <atomic>
#include <chrono>
#include <csignal>

namespace Tovra::System::Runtime {

namespace {

std::atomic<bool> s_isRequested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "A signal handler writes it.");

void SetActions(void (*action)(int)) {
    for (const int signal : {SIGINT, SIGTERM}) {
        std::signal(signal, action);
    }
}

void OnSignal(int) {
    SetActions(SIG_DFL);
    s_isRequested = true;
}

} // namespace

void SignalSystem::RequestEnd() {
    s_isRequested = true;
}

bool SignalSystem::Initialize(const IConfig*) {
    s_isRequested = false;
    SetActions(OnSignal);
    return true;
}

void SignalSystem::GetExecutionParameters(SystemExecutionParameters& parameters) {
    RunInDedicatedThread(*this, parameters);
}

void SignalSystem::Update() {
    TOVRA_ASSERT(m_mainSystem != nullptr, "The system of the main thread shall be named.");
    const State state = m_mainSystem->GetSystemState();
    // A request before the loop waits for it: the frame can only end one that runs.
    if (s_isRequested && !m_hasEnded && (state == State::Execution || state == State::Execution_Paused)) {
        m_hasEnded = true;
        Application::Shutdown();
    }
    Thread::Sleep(std::chrono::milliseconds(20));
}

void SignalSystem::OnShutdown() {
    SetActions(SIG_DFL);
}

} // namespace Tovra::System::Runtime
