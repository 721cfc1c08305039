#pragma once

#include <System/Processes/ProcessWindowOperations.h>

#include <cstdint>

/// The bridge between the window server's numbers and the accessibility layer's windows, which have none: they are the
/// same window if owner, position and size agree within 2 points. Of several that agree, the first counts.
namespace Tovra::System::Processes::Helpers {

/// The focused window of a process; null if there is none.
HeldAccessibilityElement GetFocusedWindow(std::int32_t processId);

/// The number of a window of the process; 0 if `window` is null, tells no position or size, or none on the screen
/// agrees.
std::uint32_t GetWindowId(std::int32_t processId, AccessibilityElement* window);

/// The window of a number among the first 1000 of the process; null if none agrees.
HeldAccessibilityElement GetWindow(std::int32_t processId, std::uint32_t windowId);

} // namespace Tovra::System::Processes::Helpers
