#pragma once

/// What this room asks of the operating system. No rule is kept here; all is safe in a signal handler.
namespace Tovra::System::Error {

/// Opens a folder, so that what is in it can be asked for by name, and gives its descriptor, or -1: open(2). Any
/// thread.
int OpenFolder(const char* path);

/// close(2). Any thread.
void CloseFolder(int folder);

/// Stands for no folder: names are then paths of their own.
inline constexpr int noFolder = -1;

/// Whether something stands under that name, which links are followed from; what can't be asked doesn't: fstatat(2).
/// Any thread.
bool Exists(int folder, const char* name);

/// Holds what the main thread's stack may still grow to at 64 MiB if it has no limit or a higher one. The stacks of
/// other threads have a size of their own. Any thread.
void LimitStack();

} // namespace Tovra::System::Error
