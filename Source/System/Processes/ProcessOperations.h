#pragma once

#include <cstddef>
#include <cstdint>

/// The seam of processes to the operating system: one function a system call, each with the contract of the call that
/// it names. They contain no rules but those by which Linux makes up the answer of a call that its kernel lacks, such
/// as the path of a process whose own can't be read. Any thread.
///
/// The process table and the process information have the layout of macOS on every host, since the rules read records
/// of that layout.
namespace Tovra::System::Processes {

inline constexpr std::size_t processRecordSize = 648;    ///< `struct kinfo_proc`, a record of the process table.
inline constexpr std::size_t processRecordIdOffset = 40; ///< `kp_proc.p_pid` in it, signed 32-bit.

inline constexpr std::size_t processInformationSize = 136;      ///< `struct proc_bsdinfo`.
inline constexpr std::size_t processInformationUserOffset = 20; ///< `pbi_uid` in it, effective user, unsigned 32-bit.

/// The id of this process: getpid(2).
std::int32_t GetCurrentProcessId();

/// Sends a signal to a process, or with 0 only checks whether it could be sent: kill(2). Returns 0, or -1 with `errno`:
/// `ESRCH` if there is no such process. The id of a thread other than a process's first names no process.
int SendSignal(std::int32_t id, int signal);

/// Holds a process, so that `SendSignalToHeld` can't reach a later one of the same id: pidfd_open(2). Returns a
/// descriptor, owned by the caller, who passes it to `ReleaseProcess`; or -1 with `errno`: `ENOSYS` if the system can't
/// hold processes, `ESRCH` if there is no such process.
int HoldProcess(std::int32_t id);

/// Closes a descriptor of `HoldProcess`: close(2).
void ReleaseProcess(int held);

/// Sends a signal to a held process: pidfd_send_signal(2). Returns 0, or -1 with `errno`: `ESRCH` if it has ended,
/// whether or not its id is in use again.
int SendSignalToHeld(int held, int signal);

/// The table of all processes: sysctl(3) with `CTL_KERN`, `KERN_PROC`, `KERN_PROC_ALL`.
///
/// With a null buffer it sets `size` to the size in bytes, with some slack for processes that start meanwhile.
/// Otherwise `size` is the size of the buffer and becomes the number of bytes written, in whole records. Returns 0, or
/// -1 with `errno`: `ENOMEM` if the table has outgrown the buffer.
int QueryProcessTable(void* buffer, std::size_t& size);

/// Memory for the table, or null: malloc(3). Owned by the caller, who passes it to `FreeProcessTable`.
void* AllocateProcessTable(std::size_t size);

/// Frees memory of `AllocateProcessTable`: free(3).
void FreeProcessTable(void* buffer);

/// Writes the full path of a process's executable, ended by NUL, and returns its length: `proc_pidpath`. A result below
/// 1 is a failure, with `errno`; the buffer's content is unspecified then.
int GetProcessPath(std::int32_t id, char* buffer, std::uint32_t size);

/// The same for an id that this thread has just read from the process table, so that it needs no further checks.
int GetListedProcessPath(std::int32_t id, char* buffer, std::uint32_t size);

/// Writes `processInformationSize` bytes of information and returns that number: `proc_pidinfo` with
/// `PROC_PIDTBSDINFO`. Any other result is a failure, with `errno`.
int GetProcessInformation(std::int32_t id, void* buffer, int size);

/// Writes the display name (`kCFBundleNameKey`) of the application bundle at a path, in UTF-8, ended by NUL.
///
/// False if there is no bundle, or it has no such name or one that is no text. True if it has one, even if that doesn't
/// fit into the buffer, which is empty then.
bool GetBundleName(const char* path, std::size_t length, char* buffer, std::size_t size);

/// Starts a program as leader of a new session: `posix_spawn`. Both vectors end in null. Returns 0 with the child's id
/// in `id`, or the error number.
/// Intentional: the two helper objects of `posix_spawn` are not destroyed; nothing depends on that small leak.
int SpawnProcess(std::int32_t& id, const char* path, char* const* arguments, char* const* environment);

} // namespace Tovra::System::Processes
