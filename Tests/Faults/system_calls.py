"""Lets each system call of the tool fail, at each place where it is made, and be interrupted by signals."""

import os
import re
import tempfile
from collections import Counter
from dataclasses import dataclass

from runs import Case

# What can't fail, by its manual page, and the start of the tool itself.
INFALLIBLE = {"getpid", "gettid", "getuid", "geteuid", "getgid", "getegid", "exit", "exit_group", "set_tid_address",
              "execve", "rt_sigreturn", "restart_syscall", "sched_yield", "umask", "getppid", "clock_gettime"}
# The errors that are injected, by their manual pages. "+" makes the call fail from that place on; "0" stands for a
# result of 0, which is the end of a file for `read` and a refusal for `brk`.
ERRORS = {
    "access": ["EACCES", "ENOENT"],
    "arch_prctl": ["EPERM"],
    "bind": ["EADDRINUSE"],
    "brk": ["0", "0+"],
    "chdir": ["EACCES"],
    "chmod": ["EPERM"],
    "clock_nanosleep": ["EINTR"],
    "clone": ["EAGAIN", "EAGAIN+"],
    "clone3": ["EAGAIN", "EAGAIN+", "ENOSYS"],
    "close": ["EIO", "EINTR"],
    "connect": ["ECONNREFUSED", "ECONNREFUSED+", "EAGAIN", "EACCES", "ENOENT"],
    "dup": ["EMFILE"],
    "dup2": ["EMFILE", "EINTR"],
    "dup3": ["EMFILE", "EINTR"],
    "epoll_create1": ["EMFILE"],
    "epoll_ctl": ["ENOSPC"],
    "epoll_wait": ["EINTR"],
    "eventfd2": ["EMFILE"],
    "faccessat": ["EACCES"],
    "faccessat2": ["EACCES", "ENOSYS"],
    "fchmod": ["EPERM"],
    "fcntl": ["EBADF", "EINVAL", "EMFILE"],
    "flock": ["ENOLCK", "EINTR"],
    "fstat": ["EIO"],
    "fstatfs": ["EIO"],
    "fsync": ["EIO"],
    "ftruncate": ["EIO", "ENOSPC"],
    "getcwd": ["ENOENT"],
    "getdents64": ["EIO", "ENOENT"],
    "getpeername": ["ENOTCONN"],
    "getrandom": ["ENOSYS", "EINTR"],
    "getrlimit": ["EPERM"],
    "getrusage": ["EPERM"],
    "getsockname": ["EIO"],
    "getsockopt": ["EINVAL"],
    "getxattr": ["ENOTSUP"],
    "ioctl": ["ENOTTY"],
    "kcmp": ["EPERM"],
    "kill": ["EPERM", "ESRCH"],
    "listen": ["EADDRINUSE"],
    "lseek": ["ESPIPE"],
    "madvise": ["ENOMEM"],
    "membarrier": ["EPERM"],
    "memfd_create": ["EMFILE"],
    "mkdir": ["EACCES", "EROFS", "ENOSPC", "EEXIST"],
    "mkdirat": ["EACCES", "EROFS", "ENOSPC", "EEXIST"],
    "mlock": ["ENOMEM"],
    "mmap": ["ENOMEM", "ENOMEM+"],
    "mprotect": ["ENOMEM", "ENOMEM+"],
    "mremap": ["ENOMEM"],
    "munmap": ["ENOMEM"],
    "nanosleep": ["EINTR"],
    "newfstatat": ["EACCES", "EACCES+", "ENOENT", "EIO"],
    "openat": ["ENOENT", "EACCES", "EMFILE", "EMFILE+", "EINTR"],
    "openat2": ["ENOSYS", "ELOOP"],
    "pidfd_open": ["EMFILE", "ENOSYS", "ESRCH"],
    "pidfd_send_signal": ["EPERM", "ESRCH"],
    "pipe2": ["EMFILE"],
    "poll": ["EINTR", "ENOMEM", "ENOMEM+"],
    "ppoll": ["EINTR", "ENOMEM"],
    "prctl": ["EINVAL"],
    "pread64": ["EIO"],
    "prlimit64": ["EPERM"],
    "read": ["EIO", "EIO+", "EINTR", "0"],
    "readlink": ["EACCES", "EACCES+", "ENOENT"],
    "readlinkat": ["EACCES", "ENOENT"],
    "recvfrom": ["ECONNRESET", "ECONNRESET+", "EINTR", "EAGAIN", "0"],
    "recvmsg": ["ECONNRESET", "ECONNRESET+", "EINTR", "EAGAIN", "0"],
    "rseq": ["ENOSYS"],
    "rt_sigaction": ["EINVAL"],
    "rt_sigprocmask": ["EINVAL"],
    "sched_getaffinity": ["EPERM"],
    "sched_getparam": ["EPERM"],
    "sched_getscheduler": ["EPERM"],
    "sched_setaffinity": ["EPERM", "EINVAL"],
    "sched_setscheduler": ["EPERM"],
    "select": ["EINTR"],
    "sendmsg": ["EPIPE", "EPIPE+", "EINTR", "EAGAIN"],
    "sendto": ["EPIPE", "EPIPE+", "EINTR", "EAGAIN"],
    "set_robust_list": ["ENOSYS"],
    "setpriority": ["EPERM"],
    "setrlimit": ["EPERM"],
    "setsockopt": ["EINVAL"],
    "shmat": ["ENOMEM"],
    "shmctl": ["EPERM"],
    "shmdt": ["EINVAL"],
    "shmget": ["ENOSPC", "ENOSYS"],
    "shutdown": ["ENOTCONN"],
    "sigaltstack": ["ENOMEM"],
    "socket": ["EMFILE", "EMFILE+", "EAFNOSUPPORT+"],
    "socketpair": ["EMFILE"],
    "statfs": ["EIO"],
    "statx": ["ENOSYS", "EACCES"],
    "sysinfo": ["EPERM"],
    "tgkill": ["EPERM", "ESRCH"],
    "uname": ["EFAULT"],
    "unlink": ["EACCES"],
    "vfork": ["EAGAIN"],
    "wait4": ["EINTR"],
    "waitid": ["EINTR"],
    "write": ["EIO", "ENOSPC", "EPIPE", "EINTR", "EAGAIN", "0"],
    "writev": ["EPIPE", "EPIPE+", "EINTR", "EAGAIN"],
    # A wake-up never fails in a kernel, and strace can't choose the waits alone. So it is late instead.
    "futex": ["late"],
    "timer_create": ["EAGAIN", "ENOMEM"],
    "timer_settime": ["EINVAL"],
}


def trace_calls(runner, option):
    """The system calls that are made without a fault, in order, each with its thread, name and arguments. The fewest of
    some runs: on a busy machine threads may wait for each other in thousands of calls."""
    return min((trace_once(runner, option) for _ in range(5)), key=len)


def trace_once(runner, option):
    with tempfile.TemporaryDirectory(dir=runner.folder) as folder:
        log = os.path.join(folder, "log")
        result = runner.run(Case("", "", option, display=runner.display, prefix=["strace", "-f", "-o", log]))
        if not result.output:
            raise RuntimeError(f"{option} gives no document under strace: {result}")
        with open(log, errors="replace") as lines:
            return [call.groups() for call in (re.match(r"(\d+) +(\w+)\((.*)", line) for line in lines) if call]


@dataclass
class Place:
    """Where system calls are made to fail."""

    name: str  # How cases are called
    calls: list  # Of each thread, the calls without a fault, in order, each with its name and arguments
    traces_check: bool = False
    arguments: tuple = ()  # Of strace

    def count_calls(self):
        """How often each system call is made, by the thread that makes most of it: strace counts for each thread."""
        most = Counter()
        for calls in self.calls:
            most |= Counter(name for name, _ in calls)
        return most


def get_places(calls):
    """The tool's first process; of the check its first thread, and all of them, of which one calls with the others'
    count."""
    threads = {}
    for thread, name, arguments in calls:
        threads.setdefault(thread, []).append((name, arguments))
    tool, *check = threads.values()
    places = [Place("", [tool])]
    if check:
        places.append(Place(" in the check", check[:1], True))
    if check[1:]:
        places.append(Place(" in the check's threads", check[1:], True, ("-f",)))
    return places


def get_injection(name, error, place):
    if error == "late":
        return f"{name}:delay_enter=100000:when={place}"
    when = f"{place}+" if error.endswith("+") else place
    error = error.rstrip("+")
    return f"{name}:{'retval=0' if error == '0' else 'error=' + error}:when={when}"


def get_place_cases(runner, option, place):
    counts = place.count_calls()
    unknown = counts.keys() - ERRORS.keys() - INFALLIBLE
    if unknown:
        raise RuntimeError(f"No errors are listed for the system calls {', '.join(sorted(unknown))} of {option}.")
    for name in sorted(counts.keys() - INFALLIBLE):
        for error in ERRORS[name]:
            for number in range(1, counts[name] + 1):
                yield Case("system calls", f"{option} {name} {error} at {number}{place.name}", option,
                           fault=f"{name} {error}{place.name}", display=runner.display,
                           traces_check=place.traces_check,
                           trace=[*place.arguments, "-e", f"trace={name}",
                                  "-e", f"inject={get_injection(name, error, number)}"])


def get_cases(runner, options):
    for option in options:
        for place in get_places(trace_calls(runner, option)):
            yield from get_place_cases(runner, option, place)
