#pragma once

#include <Fakes/State.h>
#include <System/Desktop/PanelOperations.h>

#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// What the toolkit answers to the rules of panels in unit tests, and what it was asked.
struct PanelOperations {
    std::vector<std::string> calls;                  ///< In order, as "RunMainLoop(8)".
    bool isMainThread = true;                        ///< What `IsMainThread` answers, outside of the main queue.
    std::vector<System::Desktop::PanelEvent> events; ///< What waits for the pump.
};

inline PanelOperations& panelOperations = GetState<PanelOperations>();

/// What the fake toolkit throws for its own exceptions.
struct ToolkitException {};

} // namespace Tovra::Tests::Fakes
