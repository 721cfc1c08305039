#pragma once

#include <System/Log/LogFileOperations.h>

#include <string_view>

namespace Tovra::System::Log {

/// Writes a text to a standard stream as `WriteToStream` does, and returns true. Any thread.
///
/// In a signal's handler that interrupts such a call on its own thread, the text goes to the descriptor directly, as
/// far as one system call takes it, and before the rest of what was interrupted: the C library may be allocating the
/// stream's buffer, or have taken the stream's lock without having noted its owner, and would wait forever. The result
/// is false then: other threads may wait for that lock, and the handler must not wait for what they have.
bool WriteAndFlush(OutputStream stream, std::string_view text);

} // namespace Tovra::System::Log
