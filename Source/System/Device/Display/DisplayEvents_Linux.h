#pragma once

// An internal header of the Linux host: the display changes that the X server reports, made the calls that macOS makes.

namespace Tovra::System::Device::Display {

/// Asks the server, once a process, to report changes of its displays, which are told to
/// `DisplayReconfigurationCallback` from then on. Without RandR nothing is ever reported. Any thread; three round trips
/// at the first call, and two more if displays were never listed before.
void SelectDisplayEvents(void* userInfo);

/// Calls `DisplayReconfigurationCallback` for each display that has changed since the last time, if any event that was
/// read by now has reported a change; waits for none. Two round trips if there was one, and at the first call, besides
/// what the callback asks. Main thread.
void ReportDisplayChanges();

} // namespace Tovra::System::Device::Display
