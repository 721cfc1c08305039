#pragma once

// An internal header of the Linux host: turns display changes that the X server reports into the calls that macOS
// makes.

namespace Tovra::System::Device::Display {

/// Selects the events of display changes, once per process. From then on `ReportDisplayChanges` reports changes with
/// `userInfo`. Without RandR nothing is ever reported. Three round trips at the first call, and two more if displays
/// were never listed before. Any thread.
void SelectDisplayEvents(void* userInfo);

/// Calls `DisplayReconfigurationCallback` for each display that has changed since the last call, if an event of a
/// change has been read; does not wait for one. Two round trips if there was one, and at the first call, besides those
/// of the callback. Main thread.
void ReportDisplayChanges();

} // namespace Tovra::System::Device::Display
