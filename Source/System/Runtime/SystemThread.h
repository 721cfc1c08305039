#pragma once

#include <System/Runtime/ISystem.h>
#include <System/Threads/ThreadEntryPointCallback.h>

namespace Tovra::System::Runtime {

/// Runs a system on its thread: binds the system to the running thread and runs its loop until the shutdown event. A
/// system that wants a dedicated thread uses it so:
///
///     void GetExecutionParameters(SystemExecutionParameters& parameters) override {
///         RunInDedicatedThread(*this, parameters);
///     }
///
/// The results of `OnUpdateLoopEnter` and `OnUpdateLoopLeave` are ignored. Exceptions of the system leave `Run`: on a
/// thread of the thread manager they are reported and end the thread's work, or the process if there is no dump file;
/// on the main thread they leave `Application::Run`. The system then never reaches `Shutdown_Complete` and a later
/// shutdown waits for ever, so `Update` should not throw.
class SystemThread final : public Threads::ThreadEntryPointCallback {
public:
    /// The system must outlive the thread. Not owned.
    explicit SystemThread(ISystem& system) : m_system(system) {}

    /// Asserts that the system had no thread before.
    void Run() override {
        m_system.SetThread(*GetThread());
        m_system.PreUpdateLoop();
        m_system.UpdateLoop();
        m_system.PostUpdateLoop();
    }

private:
    ISystem& m_system;
};

/// Asks for a dedicated thread, or the main thread, that runs the system's loop. A system that owns a `Window` must run
/// on the main thread: on any other one the window's work waits for the main thread, which at the shutdown waits for
/// the system, for ever.
inline void RunInDedicatedThread(ISystem& system, SystemExecutionParameters& parameters) {
    parameters.m_executionType = SystemExecutionParameters::ThreadModel::DedicatedThread;
    parameters.m_threadEntryPoint = std::make_unique<SystemThread>(system);
}

} // namespace Tovra::System::Runtime
