#pragma once

#include <string_view>

namespace Tovra::System::Log {

/// A standard stream that programs write to, by its descriptor.
enum class OutputStream { Output = 1, Error = 2 };

/// Writes a text to `std::cout` or `std::cerr` in one call, and flushes the stream. A text that can't be written is
/// lost and sets the stream's bad bit, as with any output: the stream then writes nothing until it is cleared, and
/// throws if its exceptions are enabled. Any thread.
///
/// In a signal's handler that interrupts such a call on its own thread, the text goes to the descriptor directly, as
/// far as one system call takes it, and before the rest of what was interrupted: the C library may be allocating the
/// stream's buffer, or have taken the stream's lock without having noted its owner, and would wait forever. The result
/// is false then: other threads may wait for that lock, and the handler must not wait for what they have.
bool WriteAndFlush(OutputStream stream, std::string_view text);

} // namespace Tovra::System::Log
