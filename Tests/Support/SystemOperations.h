#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <array>
#include <cstdint>

namespace Tovra::Tests {

// What the tests ask of the operating system that POSIX has no function for.

/// A pipe that programs don't inherit: its end to read from and its end to write to, for the caller to close. Throws if
/// there is none.
std::array<int, 2> MakePipe();

/// The same, but it takes little more than 4 KiB.
std::array<int, 2> MakeSmallPipe();

/// Names a thread of this process, as long as it runs.
using ThreadID = std::uint64_t;
ThreadID GetCurrentThread();

/// Whether that thread is blocked.
bool IsThreadBlocked(ThreadID thread);

/// Whether the only thread of that process is blocked.
bool IsProcessBlocked(pid_t process);

/// The most memory that a process, or one of its children, has had at a time, in KiB: systems tell it in other units.
std::int64_t GetLargestMemory(const rusage& usage);

/// A descriptor for the caller to close, which `poll` can read from once the process, a child of ours, has ended.
int OpenProcess(pid_t process);

/// Lets the system kill the calling process when its parent ends, where it can do that.
void EndWithParent();

/// Closes all descriptors from this one on when the calling process executes a program. Doesn't allocate.
void CloseOnExecutionFrom(int descriptor);

/// Executes a program, which is looked up in our `PATH` if its name has no slash. Returns only on an error.
void Execute(const char* path, char* const* arguments, char* const* environment);

} // namespace Tovra::Tests
