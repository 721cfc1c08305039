#pragma once

#include <System/Runtime/ISystem.h>
#include <System/Threads/ThreadEntryPointCallback.h>

namespace Tovra::System::Runtime {

/// The whole life of a system on its thread: binds the system to the running thread and runs its loop until the
/// shutdown event. A system that wants a dedicated thread says so and gives this:
///
///     void GetExecutionParameters(SystemExecutionParameters& parameters) override {
///         RunInDedicatedThread(*this, parameters);
///     }
///
/// What `OnUpdateLoopEnter` and `OnUpdateLoopLeave` return changes nothing here. What the system throws leaves `Run`: a
/// thread of the manager's reports it and ends, and where there is no file for the report the process ends; on the main
/// thread it leaves `Application::Run`. As the system then never gets to `Shutdown_Complete`, a shutdown that comes
/// after it waits for ever; so nothing should leave `Update`.
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

/// Asks for a thread of the system's own that runs its loop, be it the main thread. A system that owns a `Window`
/// belongs on the main thread: anywhere else a window's work waits for the main thread, which at the shutdown waits for
/// the system, for ever.
inline void RunInDedicatedThread(ISystem& system, SystemExecutionParameters& parameters) {
    parameters.m_executionType = SystemExecutionParameters::ThreadModel::DedicatedThread;
    parameters.m_threadEntryPoint = std::make_unique<SystemThread>(system);
}

} // namespace Tovra::System::Runtime
