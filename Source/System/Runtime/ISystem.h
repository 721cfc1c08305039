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

/// An event for a system. Concrete events derive from it and have a type id of their own.
struct SystemEvent {
    Types::TypeID m_typeID; ///< Tells the kind of event.
};

/// Asks a system to end. The only event that the frame itself handles.
struct ShutdownEvent : SystemEvent {
    /// Identifies this kind of event.
    static constexpr Types::TypeID s_typeID = 0xAF5F1452;
    ShutdownEvent() : SystemEvent{s_typeID} {}
};

/// The sender of an event; passed by value. The object is not owned.
struct Sender {
    /// The type id of the application as a sender.
    static constexpr Types::TypeID s_applicationTypeID = 0x6C1D0F86;

    void* m_object;
    Types::TypeID m_typeID; ///< Tells the kind of object.
};

/// How a system wants to run.
struct SystemExecutionParameters {
    /// Which thread runs the system.
    enum class ThreadModel : std::uint32_t {
        Unset = 1,           ///< Set by the frame before it asks; it accepts no such answer.
        DedicatedThread = 3, ///< A thread of its own, or the main thread: the only answer that the frame accepts.
    };

    ThreadModel m_executionType = ThreadModel::Unset;
    std::uint64_t m_reserved = 0; ///< Not read by the frame.
    /// What runs on the thread; `SystemThread` is the usual one.
    std::unique_ptr<Threads::ThreadEntryPointCallback> m_threadEntryPoint;
};

/// A long-lived service of the application: it has an identity, a state that moves forward, and, if it asks for one, an
/// update loop on a thread of its own. Programs derive from `System`, which supplies most of this.
class ISystem {
public:
    /// The steps of a system's life, in their order.
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

    /// Whether the application goes on if `Initialize` fails.
    virtual bool IsOptional() const = 0;

    /// Makes the system ready. `config` is its configuration, or null for a system without one; not owned. False on
    /// failure. Main thread.
    virtual bool Initialize(const IConfig* config) = 0;

    /// Sets `parameters` to how the system wants to run. Main thread.
    virtual void GetExecutionParameters(SystemExecutionParameters& parameters) = 0;

    /// The present state. Any thread.
    virtual State GetSystemState() const = 0;

    /// One round of the loop. Called without a pause in between, so pacing is the system's own business. Owning thread.
    virtual void Update() = 0;

    /// Handles an event other than the shutdown event. Sender's thread.
    virtual void ProcessEvent(Sender sender, SystemEvent& event) = 0;

    /// Called before the first `Update`. Owning thread. `PreUpdateLoop` returns the result.
    virtual bool OnUpdateLoopEnter() = 0;

    /// Called after `OnShutdown`. Owning thread. `PostUpdateLoop` returns the result.
    virtual bool OnUpdateLoopLeave() = 0;

    /// Called when the loop has seen the shutdown request. Owning thread. For the system of the main thread the frame
    /// calls it once more when all other systems have ended.
    virtual void OnShutdown() = 0;

    /// Called for every event after it was handled, the shutdown event included. Sender's thread.
    virtual void OnSystemEvent(Sender sender, SystemEvent& event) = 0;

    /// The three parts of a system's life on its thread, called in this order. Each asserts that it runs on the owning
    /// thread and in the state for it.
    virtual bool PreUpdateLoop() = 0;
    virtual void UpdateLoop() = 0;
    virtual bool PostUpdateLoop() = 0;

    /// Sends the system an event from the application: the shutdown event changes the state, any other goes to
    /// `ProcessEvent` with the sender; `OnSystemEvent` follows. Any thread.
    virtual void ProcessEvent(Application& application, SystemEvent& event) = 0;

    /// Sets the owning thread. Asserts that none was set before. Not owned.
    virtual void SetThread(Threads::Thread& thread) = 0;
};

} // namespace Tovra::System::Runtime
