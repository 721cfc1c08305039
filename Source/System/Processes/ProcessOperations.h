#pragma once

#include <cstddef>
#include <cstdint>

/// What this room asks of the operating system: one function a call, each with the contract of the system function that
/// it stands for. No rule is kept here.
namespace Tovra::System::Processes {

inline constexpr std::size_t processRecordSize = 648;    ///< `struct kinfo_proc`, a record of the process table.
inline constexpr std::size_t processRecordIdOffset = 40; ///< `kp_proc.p_pid` in it, signed 32-bit.

inline constexpr std::size_t processInformationSize = 136; ///< `struct proc_bsdinfo`.
inline constexpr std::size_t processInformationUserOffset =
    20; ///< `pbi_uid` in it, the effective user, unsigned 32-bit.

/// The number of this process: getpid(2).
std::int32_t GetCurrentProcessId();

/// Sends a signal to a process, or with 0 only asks whether it could be sent: kill(2). 0, or -1 with `errno`: `ESRCH`
/// if there is no such process, which the number of a thread that is not a process's first one doesn't name.
int SendSignal(std::int32_t id, int signal);

/// The table of all processes: sysctl(3) with `CTL_KERN`, `KERN_PROC`, `KERN_PROC_ALL`.
///
/// A null buffer asks for the size in bytes, with some slack for processes that start meanwhile. Otherwise `size` gives
/// the buffer's size and receives the number of bytes written, whole records. 0, or -1 with `errno`: `ENOMEM` if the
/// table has outgrown the buffer.
int QueryProcessTable(void* buffer, std::size_t& size);

/// Memory for the table, or null: malloc(3).
void* AllocateProcessTable(std::size_t size);

/// Gives the memory of `AllocateProcessTable` back: free(3).
void FreeProcessTable(void* buffer);

/// Writes the full path of a process's executable, ended by NUL, and gives its length: `proc_pidpath`. Below 1 for a
/// failure, with `errno`.
int GetProcessPath(std::int32_t id, char* buffer, std::uint32_t size);

/// Fills `processInformationSize` bytes and gives that number: `proc_pidinfo` with `PROC_PIDTBSDINFO`. Anything else is
/// a failure, with `errno`.
int GetProcessInformation(std::int32_t id, void* buffer, int size);

/// The display name (`kCFBundleNameKey`) of the application bundle at a path, in UTF-8, ended by NUL.
///
/// False if there is no bundle or it has no such name. True if it has one, even if that doesn't fit into the buffer:
/// then what was written is not to be relied on, and the product leaves an empty text.
bool GetBundleName(const char* path, std::size_t length, char* buffer, std::size_t size);

/// Starts a program as leader of a new session: `posix_spawn` with its two helper objects, neither of which is
/// destroyed. Both vectors end in null. 0 with the child's number in `id`, or the error number.
int SpawnProcess(std::int32_t& id, const char* path, char* const* arguments, char* const* environment);

} // namespace Tovra::System::Processes
