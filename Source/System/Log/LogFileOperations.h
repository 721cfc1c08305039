#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The system calls of the log, one a function, each with the contract of the call that it names. They contain no
/// rules. Any thread.
namespace Tovra::System::Log {

/// Closes a descriptor. Returns 0, or -1 with `errno`: close(2).
int CloseFile(int descriptor);

/// Writes up to `size` bytes and returns their number, or -1 with `errno`: write(2).
std::ptrdiff_t WriteFile(int descriptor, const void* bytes, std::size_t size);

/// Reads up to `size` bytes at `offset` and returns their number, or -1 with `errno`: pread(2).
std::ptrdiff_t ReadFile(int descriptor, void* bytes, std::size_t size, std::int64_t offset);

/// The size in bytes of the regular file at `path`; -1 on failure and for anything else: stat(2). On Linux statx(2) for
/// type and size only: once the times of a file were requested, the next write to it costs twice as much.
std::int64_t GetFileSize(const char* path);

/// The size in bytes of an open file, or -1 with `errno`: lseek(2) to its end.
std::int64_t GetFileSize(int descriptor);

/// Shortens a file to `size` bytes. Returns 0, or -1 with `errno`: ftruncate(2).
int TruncateFile(int descriptor, std::int64_t size);

/// A standard stream that programs write to, by its descriptor.
enum class OutputStream { Output = 1, Error = 2 };

/// Writes a text to `std::cout` or `std::cerr` in one call, and flushes the stream. A text that can't be written is
/// lost and sets the stream's bad bit, as with any output: the stream then writes nothing until it is cleared, and
/// throws if its exceptions are enabled.
void WriteToStream(OutputStream stream, std::string_view text);

} // namespace Tovra::System::Log
