#pragma once

#include <System/Runtime/System.h>

namespace Tovra::System::Runtime {

/// Ends a program cleanly at SIGINT and SIGTERM, on a thread of its own:
///
///     Overlay* const overlay = AddSystem<Overlay>();
///     AddSystem<SignalSystem>()->EndProgramOf(*overlay);
///     Run(Overlay::s_systemGUID);
///
/// The first signal ends the loop of the main thread's system by `Application::Shutdown`, which is called about 20 ms
/// later. A second one, of either kind, has its default action and ends the process, for a program that hangs. Without
/// this system the product's error handler ends the process by `abort` at both signals; with the development handler
/// they have their usual actions. A program with this system ends by `RequestEnd` and never calls
/// `Application::Shutdown` itself, which must not be called twice. One object a process.
class SignalSystem final : public System<SignalSystem, "Signals", GUID{0x5A1D3C7E9B204F68, 0x91E7A6D2C4B80F35}> {
public:
    /// Identifies the type.
    static constexpr Types::TypeID s_typeID = 0x51C7A1E0;

    /// Names the system that runs on the main thread. It must outlive this one: add it first. Before `Run`.
    void EndProgramOf(const ISystem& mainSystem) { m_mainSystem = &mainSystem; }

    /// Ends the program as a signal does. May be called more than once. Any thread.
    static void RequestEnd();

    /// Installs the handlers of both signals. Forgets requests from before. Always true.
    bool Initialize(const IConfig* config) override;
    void GetExecutionParameters(SystemExecutionParameters& parameters) override;
    /// Asserts that `EndProgramOf` was called.
    void Update() override;
    /// Restores the default actions of both signals.
    void OnShutdown() override;

private:
    const ISystem* m_mainSystem = nullptr; ///< Not owned.
    bool m_hasEnded = false;
};

} // namespace Tovra::System::Runtime
