#pragma once

#include <System/Processes/ProcessWindowOperations.h>

#include <cstdint>

/// Matches the windows of the window server's list, which have numbers, with those of the accessibility layer, which
/// have none. They are the same window if owner, position and size agree within 2 points; if several agree, the first
/// counts. Any thread.
namespace Tovra::System::Processes::Helpers {

/// The focused window of a process, owned by the caller; null if there is none.
HeldAccessibilityElement GetFocusedWindow(std::int32_t processId);

/// The number of an accessibility window of the process; 0 if `window` is null or has no position or size, or if no
/// window on the screen agrees.
std::uint32_t GetWindowId(std::int32_t processId, AccessibilityElement* window);

/// The accessibility window with that number among the first 1000 of the process, owned by the caller; null if none
/// agrees.
HeldAccessibilityElement GetWindow(std::int32_t processId, std::uint32_t windowId);

} // namespace Tovra::System::Processes::Helpers
