#include <Fakes/PanelOperations.h>

namespace Tovra::System::Desktop {

using Tests::GetPanelOperations;

bool IsMainThread() {
    return GetPanelOperations().isMainThread;
}

void RunOnMainQueue(const std::function<void()>& work) {
    GetPanelOperations().calls.emplace_back("RunOnMainQueue");
    work();
}

void RunCatchingToolkitExceptions(const std::function<void()>& work) {
    GetPanelOperations().calls.emplace_back("RunCatchingToolkitExceptions");
    try {
        work();
    } catch (const Tests::ToolkitException&) {
        GetPanelOperations().calls.emplace_back("Exception");
    }
}

void RunMainLoop(std::chrono::milliseconds duration) {
    GetPanelOperations().calls.push_back("RunMainLoop(" + std::to_string(duration.count()) + ")");
}

void PumpEvents(const std::function<void(const PanelEvent&)>& onEvent) {
    GetPanelOperations().calls.emplace_back("PumpEvents");
    for (const auto& event : GetPanelOperations().events) {
        onEvent(event);
    }
    GetPanelOperations().events.clear();
}

} // namespace Tovra::System::Desktop
