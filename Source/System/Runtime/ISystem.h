#pragma once

#include <System/Threads/ThreadEntryPointCallback.h>
#include <System/Types/GUID.h>
#include <System/Types/TypeID.h>

#include <cstdint>
#include <memory>

namespace Tovra::System::Threads {
class Thread;
}

namespace Tovra::System::Runtime {

class Application;
class IConfig;

/// What happens to a system. Concrete events derive from it and carry a number of their own.
struct SystemEvent {
    Types::TypeID m_typeID; ///< Tells the kind of event.
};

/// The application asks a system to end: the one event that the frame itself knows.
struct ShutdownEvent : SystemEvent {
    static constexpr Types::TypeID s_typeID = 0xAF5F1452;
    ShutdownEvent() : SystemEvent{s_typeID} {}
};

/// Who sends an event; passed by value. Not owned.
struct Sender {
    /// The kind of sender that the application is.
    static constexpr Types::TypeID s_applicationTypeID = 0x6C1D0F86;

    void* m_object;
    Types::TypeID m_typeID; ///< Tells the kind of object.
};

/// What a system answers when it is asked how it wants to run.
struct SystemExecutionParameters {
    enum class ThreadModel : std::uint32_t {
        Unset = 1,           ///< What the frame asks with; it accepts no such answer.
        DedicatedThread = 3, ///< A thread of its own, be it the main thread: the one answer that the frame accepts.
    };

    ThreadModel m_executionType = ThreadModel::Unset;
    std::uint64_t m_reserved = 0; ///< The frame does not read it.
    /// What runs on the thread, see `SystemThread` for the usual one.
    std::unique_ptr<Threads::ThreadEntryPointCallback> m_threadEntryPoint;
};

/// A long-lived service of the application: it has an identity, a state that moves forward, and, if it asks for one, an
/// update loop on a thread of its own. Programs derive from `System`, which supplies most of this.
class ISystem {
public:
    enum class State : std::uint32_t {
        Undefined,          ///< Constructed, not initialised.
        Initialized,        ///< The update loop has not started.
        Execution,          ///< The update loop is running.
        Execution_Paused,   ///< The update loop idles.
        Shutdown_Requested, ///< The shutdown event has arrived.
        Shutdown_Pending,   ///< The loop has seen the request and ended.
        Shutdown_Complete,  ///< Nothing runs any more; what the frame waits for.
    };

    virtual ~ISystem() = default;
    virtual const char* GetSystemName() const = 0; ///< Static text.
    virtual GUID GetSystemGUID() const = 0;
    virtual Types::TypeID GetTypeID() const = 0;

    /// Whether the application goes on if `Initialize` refuses.
    virtual bool IsOptional() const = 0;

    /// Makes the system ready. `config` is its configuration, or null for a system without one; not owned. False is a
    /// failure. Main thread.
    virtual bool Initialize(const IConfig* config) = 0;

    /// Says how the system wants to run. Main thread.
    virtual void GetExecutionParameters(SystemExecutionParameters& parameters) = 0;

    /// Any thread.
    virtual State GetSystemState() const = 0;

    /// One round of the loop; called back to back, so pacing is its own business. Owning thread.
    virtual void Update() = 0;

    /// Takes an event other than the shutdown event. Sender's thread.
    virtual void ProcessEvent(Sender sender, SystemEvent& event) = 0;

    /// Before the first `Update`. Owning thread.
    virtual bool OnUpdateLoopEnter() = 0;

    /// After `OnShutdown`. Owning thread.
    virtual bool OnUpdateLoopLeave() = 0;

    /// The loop has seen the shutdown request. Owning thread; for the system of the main thread the frame calls it once
    /// more when everything else is down.
    virtual void OnShutdown() = 0;

    /// Sees every event, after it was processed. Sender's thread.
    virtual void OnSystemEvent(Sender sender, SystemEvent& event) = 0;

    /// The three parts of a system's life on its thread, to be called in this order; each asserts that it runs on the
    /// owning thread.
    virtual bool PreUpdateLoop() = 0;
    virtual void UpdateLoop() = 0;
    virtual bool PostUpdateLoop() = 0;

    /// The frame's way into a system. Any thread.
    virtual void ProcessEvent(Application& application, SystemEvent& event) = 0;

    /// Names the owning thread; asserts that it is called once only. Not owned.
    virtual void SetThread(Threads::Thread& thread) = 0;
};

} // namespace Tovra::System::Runtime
