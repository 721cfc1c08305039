#pragma once

#include <cstdint>

namespace Tovra::System::Desktop {

/// Brings another application to the front. False if no application has that process id; on X11 also if it has no
/// window that can be activated. An exception of the toolkit passes. Runs on the calling thread; any thread.
bool WindowActivateAppPlatformNative(std::int32_t processId);

} // namespace Tovra::System::Desktop
