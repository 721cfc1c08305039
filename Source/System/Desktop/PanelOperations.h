#pragma once

// What the rules of native panels ask of the toolkit.

#include <System/Desktop/PanelEvent.h>

#include <chrono>
#include <functional>

namespace Tovra::System::Desktop {

/// Whether this is the process's first thread. Any thread.
bool IsMainThread();

/// Runs `work` on the main thread, once that serves its queue, and waits until it is done. Not on the main thread. What
/// `work` throws is thrown here on X11 and ends the process on macOS, whose queue lets no exception through.
void RunOnMainQueue(const std::function<void()>& work);

/// Whether the connection to the window server was lost; it is not re-established. False on macOS, which ends the
/// process then. Any thread.
bool IsWindowServerLost();

/// Runs `work` here. An exception of the toolkit is printed as "Exception: " and its text, and swallowed; any other
/// passes.
void RunCatchingToolkitExceptions(const std::function<void()>& work);

/// Runs the main loop for `duration`, and serves the main queue. Main thread.
void RunMainLoop(std::chrono::milliseconds duration);

/// Processes pending events without blocking: each goes to `onEvent`, whether or not its type has an enumerator, and
/// then to the toolkit if there is one. Serves the main queue. Main thread.
void PumpEvents(const std::function<void(const PanelEvent&)>& onEvent);

} // namespace Tovra::System::Desktop
