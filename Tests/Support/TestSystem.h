#pragma once

#include <System/Runtime/System.h>
#include <System/Runtime/SystemThread.h>

#include <atomic>
#include <functional>
#include <string>
#include <vector>

namespace Tovra::Tests {

/// A system that records its calls and runs the test's functions. `number` makes types distinct.
template <std::uint64_t number = 1>
class TestSystem : public System::Runtime::System<TestSystem<number>, "TestSystem", System::GUID{0x7E57, number}> {
    using Base = System::Runtime::System<TestSystem<number>, "TestSystem", System::GUID{0x7E57, number}>;

public:
    static constexpr System::Types::TypeID s_typeID = 0x7E57;

    ~TestSystem() override {
        if (m_onDestruction) {
            m_onDestruction();
        }
    }

    bool IsOptional() const override { return m_isOptional; }
    bool Initialize(const System::Runtime::IConfig* config) override {
        m_config = config;
        return m_initialize();
    }
    void GetExecutionParameters(System::Runtime::SystemExecutionParameters& parameters) override {
        m_askedWith = parameters.m_executionType;
        if (m_hasThread) {
            System::Runtime::RunInDedicatedThread(*this, parameters);
        } else if (m_asksWithoutWork) {
            parameters.m_executionType = System::Runtime::SystemExecutionParameters::ThreadModel::DedicatedThread;
        }
    }
    void Update() override {
        ++m_updates;
        m_update();
    }
    void ProcessEvent(System::Runtime::Sender sender, System::Runtime::SystemEvent& event) override {
        Record("process", sender, event);
    }
    bool OnUpdateLoopEnter() override {
        m_calls += "enter ";
        return m_enterResult;
    }
    bool OnUpdateLoopLeave() override {
        m_calls += "leave ";
        return m_leaveResult;
    }
    void OnShutdown() override {
        m_calls += "shutdown ";
        m_onShutdown();
    }
    void OnSystemEvent(System::Runtime::Sender sender, System::Runtime::SystemEvent& event) override {
        Record("event", sender, event);
        m_onEvent();
    }

    using Base::ProcessEvent;

    /// One call that delivered an event.
    struct Event {
        std::string operation;
        void* sender;
        System::Types::TypeID senderType;
        System::Types::TypeID eventType;
        bool operator==(const Event&) const = default;
    };

    bool m_isOptional = false;
    bool m_hasThread = true;
    bool m_asksWithoutWork = false;
    bool m_enterResult = true;
    bool m_leaveResult = true;
    std::function<bool()> m_initialize = [] { return true; };
    std::function<void()> m_update = [] {};
    std::function<void()> m_onShutdown = [] {};
    std::function<void()> m_onEvent = [] {};
    std::function<void()> m_onDestruction;
    const System::Runtime::IConfig* m_config = nullptr;
    System::Runtime::SystemExecutionParameters::ThreadModel m_askedWith{};
    std::atomic<int> m_updates = 0;
    std::string m_calls; ///< Made by the owning thread, and by the main thread after that one's end.
    std::vector<Event> m_events;

private:
    void Record(const char* operation, System::Runtime::Sender sender, const System::Runtime::SystemEvent& event) {
        m_events.push_back({operation, sender.m_object, sender.m_typeID, event.m_typeID});
    }
};

} // namespace Tovra::Tests
