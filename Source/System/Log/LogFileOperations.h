#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// What this room asks of the operating system: one function a call, each with the contract of the system function that
/// it stands for. No rule is kept here.
namespace Tovra::System::Log {

/// Opens a file, which a new one may be read and written by all that the process's mask lets: open(2).
int OpenFile(const char* path, int flags);

/// close(2).
int CloseFile(int descriptor);

/// Writes some bytes and gives their number, or -1 with `errno`: write(2).
std::ptrdiff_t WriteFile(int descriptor, const void* bytes, std::size_t size);

/// Reads some bytes from a place on and gives their number, or -1 with `errno`: pread(2).
std::ptrdiff_t ReadFile(int descriptor, void* bytes, std::size_t size, std::int64_t offset);

/// The size of the regular file at a path, or -1 for a failure or anything else there: stat(2). On Linux statx(2),
/// asked for nothing but type and size: once its times were asked for, the next write to a file costs twice as much.
std::int64_t GetFileSize(const char* path);

/// The size of an open file, or -1 with `errno`: lseek(2) to its end.
std::int64_t GetFileSize(int descriptor);

/// Cuts a file off behind that many bytes: ftruncate(2).
int TruncateFile(int descriptor, std::int64_t size);

/// Writes a text to `std::cout` in one call, and flushes it. What can't be written is lost, and sets that stream's bad
/// bit, as any output does; so the stream takes nothing more until it is cleared, and throws if it was told to.
void WriteToConsole(std::string_view text);

} // namespace Tovra::System::Log
