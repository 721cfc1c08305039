#pragma once

#include <Fakes/State.h>
#include <System/Desktop/PanelOperations.h>

#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// What the toolkit returns to the rules of panels, and the calls made.
struct PanelOperations {
    std::vector<std::string> calls; ///< In order, such as "RunMainLoop(8)".
    bool isMainThread = true;       ///< What `IsMainThread` returns, in work on the main queue too.
    bool isWindowServerLost = false;
    std::vector<System::Desktop::PanelEvent> events; ///< Pending events.
};

inline PanelOperations& panelOperations = GetState<PanelOperations>();

/// The fake toolkit's own exception.
struct ToolkitException {};

} // namespace Tovra::Tests::Fakes
