#pragma once

#include <System/Runtime/Config.h>
#include <System/Runtime/ISystem.h>
#include <System/Types/CharacterArray.h>

#include <atomic>

namespace Tovra::System::Runtime {

/// State and loop of every system. Derive from `System` instead.
class SystemSkeleton : public ISystem {
public:
    bool IsOptional() const override { return false; }
    State GetSystemState() const final { return m_systemState.load(std::memory_order_acquire); }

    /// Must be overridden by a system with a loop; here it asserts.
    void Update() override;
    /// Must be overridden by a system with a loop; here it asserts.
    void OnShutdown() override;
    void ProcessEvent(Sender sender, SystemEvent& event) override;
    bool OnUpdateLoopEnter() override { return true; }
    bool OnUpdateLoopLeave() override { return true; }
    void OnSystemEvent(Sender sender, SystemEvent& event) override;

    bool PreUpdateLoop() final;
    void UpdateLoop() final;
    bool PostUpdateLoop() final;
    void ProcessEvent(Application& application, SystemEvent& event) final;
    void SetThread(Threads::Thread& thread) final;

    /// Replaces the state in one step, whatever it is, and returns the one before. The frame marks a system as
    /// initialised with it. Any thread.
    State ExchangeSystemState(State state) { return m_systemState.exchange(state, std::memory_order_release); }

private:
    /// Asserts, in the name of `function`, that this is the owning thread.
    void CheckThread(const char* function) const;

    /// Asserts that the state is `expected` and changes it.
    void SetSystemState(State expected, State state);

    std::atomic<State> m_systemState = State::Undefined;
    Threads::Thread* m_thread = nullptr;
};

/// The base of a system: `class Clock final : public System<Clock, "Clock", GUID{…}>`. The concrete class `T` supplies
/// `Initialize`, `GetExecutionParameters` and the public constant `static constexpr Types::TypeID s_typeID`; name,
/// identity and the type of its configuration are constants of the type.
template <class T, Constexpr::CharacterArray<128> name, GUID guid, class ConfigT = EmptyConfig>
class System : public SystemSkeleton {
public:
    /// The type of configuration that `Initialize` takes.
    using Config_Type = ConfigT;

    /// Name and identity, the same for all objects of the type.
    static constexpr const char* s_systemName = name.GetText();
    static constexpr GUID s_systemGUID = guid;

    const char* GetSystemName() const final { return s_systemName; }
    GUID GetSystemGUID() const final { return s_systemGUID; }
    Types::TypeID GetTypeID() const final { return T::s_typeID; }

private:
    friend T;
    System() = default;
};

} // namespace Tovra::System::Runtime
