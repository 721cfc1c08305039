#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>

/// The system calls for files and folders that are not taken on trust, one a function, each with the contract of the
/// call that it names. They contain no rules. Any thread.
namespace Tovra::System::FileSystem {

/// Opens a folder, to reach what is in it by name, and returns its descriptor, or -1 with `errno`. The folder need not
/// be readable: open(2) with O_PATH on Linux, with O_SEARCH on macOS.
int OpenFolder(const char* path);

/// Opens a file or a folder by its name in an open folder, or by its path with AT_FDCWD, and returns its descriptor, or
/// -1 with `errno`. `mode` is that of a new file, less the bits of the process's mask: openat(2).
int OpenFile(int folder, const char* name, int flags, mode_t mode);

/// Closes a descriptor: close(2).
void CloseDescriptor(int descriptor);

/// What is known about an open file or folder. Returns 0, or -1 with `errno`: fstat(2).
int GetStatus(int descriptor, struct stat& status);

/// Reads up to `size` bytes and returns their number, or -1 with `errno`: read(2).
std::ptrdiff_t ReadFile(int descriptor, void* bytes, std::size_t size);

/// Sets the flags of an open file that may change, such as O_NONBLOCK, and ignores the others. Returns 0, or -1 with
/// `errno`: F_SETFL of fcntl(2).
int SetStatusFlags(int descriptor, int flags);

/// Makes a folder in an open folder. `mode` loses the bits of the process's mask. Returns 0, or -1 with `errno`:
/// mkdirat(2).
int MakeFolder(int folder, const char* name, mode_t mode);

/// Whether an open folder contains nothing; false if it can't be listed: readdir(3).
bool IsEmptyFolder(int folder);

/// Gives an open file or folder to a user. Returns 0, or -1 with `errno`: fchown(2).
int SetOwner(int descriptor, uid_t owner);

/// The user by whose rights the process acts: geteuid(2).
uid_t GetEffectiveUser();

} // namespace Tovra::System::FileSystem
