#pragma once

// An internal header of the Linux host: the display changes that the X server reports, made the calls that macOS makes.

#include <X11/Xlib.h>

namespace Tovra::System::Device::Display {

/// Asks the server, once a process, to report changes of its displays, which are told to
/// `DisplayReconfigurationCallback` from then on. Without RandR nothing is ever reported. Any thread; four round trips
/// at the first call, and two more if displays were never listed before.
void SelectDisplayEvents(void* userInfo);

/// Whether the event reports a change of displays, which `ReportDisplayChanges` then looks after. Main thread.
bool TakeDisplayEvent(const XEvent& event);

/// Calls `DisplayReconfigurationCallback` for each display that has changed since the last time, if any event has
/// reported a change; also takes those events that wait in the connection's queue, and waits for none. Two round trips
/// if there was one. Main thread.
void ReportDisplayChanges();

} // namespace Tovra::System::Device::Display
