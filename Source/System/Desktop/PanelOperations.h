#pragma once

// What the rules of native panels ask of the toolkit.

#include <System/Desktop/PanelEvent.h>

#include <chrono>
#include <functional>

namespace Tovra::System::Desktop {

/// The pointer on the screen, in points from the top left of the desktop.
struct PointerPosition {
    double x = 0;
    double y = 0;
};

/// True on the process's first thread.
bool IsMainThread();

/// Runs `work` on the main thread, once that serves its queue, and waits until it is done. Not on the main thread.
void RunOnMainQueue(const std::function<void()>& work);

/// Runs `work` here. An exception of the toolkit is printed as "Exception: " and its text, and swallowed; any other
/// passes.
void RunCatchingToolkitExceptions(const std::function<void()>& work);

/// Runs the main loop, its queue included, for so long. Main thread.
void RunMainLoop(std::chrono::milliseconds duration);

/// Takes every event that waits, without waiting for any: each goes to `onEvent` first and to the toolkit itself then,
/// whatever its type. Serves the main queue. Main thread.
void PumpEvents(const std::function<void(const PanelEvent&)>& onEvent);

/// Where the pointer is now. Any thread.
PointerPosition GetPointerPosition();

} // namespace Tovra::System::Desktop
