#pragma once

/// The system calls of the error handler, without any rules. All are safe in a signal handler.
namespace Tovra::System::Error {

/// Opens a folder, to look up files in it by name, and returns its descriptor, or -1, which is `noFolder`: open(2).
/// `CloseFolder` closes it. Any thread.
int OpenFolder(const char* path);

/// close(2). Any thread.
void CloseFolder(int folder);

/// Stands for no folder: names are then ordinary paths.
inline constexpr int noFolder = -1;

/// Whether a file or folder of that name exists, following links; false if that can't be determined: fstatat(2). Any
/// thread.
bool Exists(int folder, const char* name);

/// Limits the size of the main thread's stack to 64 MiB, unless the limit is lower already: setrlimit(2). Other threads
/// keep the size of their stacks. Any thread.
void LimitStack();

} // namespace Tovra::System::Error
