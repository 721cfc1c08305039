#pragma once

namespace Tovra::System::Error {

/// Holds what the main thread's stack may still grow to at 64 MiB if it has no limit or a higher one. The stacks of
/// other threads have a size of their own. Any thread. Safe in a signal handler.
void LimitStack();

} // namespace Tovra::System::Error
