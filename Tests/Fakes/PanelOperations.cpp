#include <Fakes/PanelOperations.h>

namespace Tovra::System::Desktop {

using Tests::Fakes::panelOperations;

bool IsMainThread() {
    return panelOperations.isMainThread;
}

void RunOnMainQueue(const std::function<void()>& work) {
    panelOperations.calls.emplace_back("RunOnMainQueue");
    work();
}

bool IsWindowServerLost() {
    return panelOperations.isWindowServerLost;
}

void RunCatchingToolkitExceptions(const std::function<void()>& work) {
    panelOperations.calls.emplace_back("RunCatchingToolkitExceptions");
    try {
        work();
    } catch (const Tests::Fakes::ToolkitException&) {
        panelOperations.calls.emplace_back("Exception");
    }
}

void RunMainLoop(std::chrono::milliseconds duration) {
    panelOperations.calls.push_back("RunMainLoop(" + std::to_string(duration.count()) + ")");
}

void PumpEvents(const std::function<void(const PanelEvent&)>& onEvent) {
    panelOperations.calls.emplace_back("PumpEvents");
    for (const auto& event : panelOperations.events) {
        onEvent(event);
    }
    panelOperations.events.clear();
}

} // namespace Tovra::System::Desktop
