// A program on the framework: a clock that ticks on a thread of its own, and an alarm on the main thread that ends the
// program after three ticks. It prints its log, and writes the same lines to a file in .tovra/Logs in the home
// folder. Before the first tick `Initialize` lists the displays, if there are any.

#include <System/Log/Log.h>
#include <System/Runtime/Application.h>
#include <System/Runtime/SystemThread.h>
#include <System/Threads/Sleep.h>

#include <atomic>
#include <chrono>

TOVRA_LOG_CONTEXT(Default);

namespace {

using namespace std::chrono_literals;
using namespace Tovra::System;

/// Counts tenths of a second.
class Clock final : public Runtime::System<Clock, "Clock", GUID{0x4E5A1F0C7B2D4936, 0x8C1D5E6F7A8B9C01}> {
public:
    static constexpr Types::TypeID s_typeID = 0xC10C0001;

    bool Initialize(const Runtime::IConfig*) override { return true; }
    void GetExecutionParameters(Runtime::SystemExecutionParameters& parameters) override {
        Runtime::RunInDedicatedThread(*this, parameters);
    }
    void Update() override {
        Thread::Sleep(100ms);
        ++m_ticks;
        TOVRA_LOG(Default, Info, "Tick ", m_ticks.load());
    }
    void OnShutdown() override { TOVRA_LOG(Default, Info, "The clock stops."); }

    int GetTicks() const { return m_ticks; }

private:
    std::atomic<int> m_ticks = 0;
};

/// Ends the program after three ticks.
class Alarm final : public Runtime::System<Alarm, "Alarm", GUID{0x4E5A1F0C7B2D4936, 0x8C1D5E6F7A8B9C02}> {
public:
    static constexpr Types::TypeID s_typeID = 0xC10C0002;

    bool Initialize(const Runtime::IConfig*) override { return true; }
    void GetExecutionParameters(Runtime::SystemExecutionParameters& parameters) override {
        Runtime::RunInDedicatedThread(*this, parameters);
    }
    void Update() override {
        Thread::Sleep(10ms);
        if (m_clock->GetTicks() >= 3) {
            TOVRA_LOG(Default, Info, "The alarm rings.");
            Runtime::Application::Shutdown();
        }
    }
    void OnShutdown() override {}

    const Clock* m_clock = nullptr;
};

class ClockApplication final : public Runtime::Application {
public:
    ClockApplication() : Application(L"Clock") {}

    void Main(const Runtime::ApplicationParameters&) override {
        Initialize();
        const Clock* const clock = AddSystem<Clock>();
        AddSystem<Alarm>()->m_clock = clock;
        Run(Alarm::s_systemGUID);
    }
};

} // namespace

int main() {
    ClockApplication application;
    Runtime::Application::Run(Runtime::ApplicationParameters());
    return application.GetReturnCode();
}
