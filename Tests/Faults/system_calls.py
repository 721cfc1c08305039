"""Lets each system call of the tool fail, at each place where it is made, and be interrupted by signals."""

import os
import re
import subprocess
import tempfile
from collections import Counter

from runs import Case

# What can't fail, by its manual page, and the start of the tool itself.
INFALLIBLE = {"getpid", "gettid", "getuid", "geteuid", "getgid", "getegid", "exit", "exit_group", "set_tid_address",
              "execve", "rt_sigreturn", "restart_syscall", "sched_yield"}
# The errors that are injected, by their manual pages. "+" makes the call fail from that place on; "0" stands for a
# result of 0, which is the end of a file for `read` and a refusal for `brk`.
ERRORS = {
    "access": ["EACCES", "ENOENT"],
    "arch_prctl": ["EPERM"],
    "brk": ["0", "0+"],
    "clone3": ["EAGAIN", "EAGAIN+", "ENOSYS"],
    "close": ["EIO", "EINTR"],
    "connect": ["ECONNREFUSED", "ECONNREFUSED+", "EAGAIN", "EACCES", "ENOENT"],
    "dup2": ["EMFILE", "EINTR"],
    "faccessat": ["EACCES"],
    "faccessat2": ["EACCES"],
    "fcntl": ["EINVAL", "EMFILE"],
    "fstat": ["EIO"],
    "getdents64": ["EIO", "ENOENT"],
    "getpeername": ["ENOTCONN"],
    "getrandom": ["ENOSYS", "EINTR"],
    "kill": ["EPERM", "ESRCH"],
    "lseek": ["ESPIPE"],
    "madvise": ["ENOMEM"],
    "mkdir": ["EACCES", "EROFS", "ENOSPC", "EEXIST"],
    "mmap": ["ENOMEM", "ENOMEM+"],
    "mprotect": ["ENOMEM", "ENOMEM+"],
    "munmap": ["ENOMEM"],
    "newfstatat": ["EACCES", "EACCES+", "ENOENT", "EIO"],
    "openat": ["ENOENT", "EACCES", "EMFILE", "EMFILE+", "EINTR"],
    "poll": ["EINTR", "ENOMEM", "ENOMEM+"],
    "prctl": ["EINVAL"],
    "pread64": ["EIO"],
    "prlimit64": ["EPERM"],
    "read": ["EIO", "EIO+", "EINTR", "0"],
    "readlink": ["EACCES", "EACCES+", "ENOENT"],
    "recvfrom": ["ECONNRESET", "ECONNRESET+", "EINTR", "EAGAIN", "0"],
    "recvmsg": ["ECONNRESET", "ECONNRESET+", "EINTR", "EAGAIN", "0"],
    "rseq": ["ENOSYS"],
    "rt_sigaction": ["EINVAL"],
    "rt_sigprocmask": ["EINVAL"],
    "sched_getaffinity": ["EPERM"],
    "sched_setaffinity": ["EPERM", "EINVAL"],
    "sched_setscheduler": ["EPERM"],
    "sendmsg": ["EPIPE", "EPIPE+", "EINTR", "EAGAIN"],
    "sendto": ["EPIPE", "EPIPE+", "EINTR", "EAGAIN"],
    "set_robust_list": ["ENOSYS"],
    "setpriority": ["EPERM"],
    "shmat": ["ENOMEM"],
    "shmctl": ["EPERM"],
    "shmdt": ["EINVAL"],
    "shmget": ["ENOSPC", "ENOSYS"],
    "socket": ["EMFILE", "EMFILE+", "EAFNOSUPPORT+"],
    "tgkill": ["EPERM", "ESRCH"],
    "uname": ["EFAULT"],
    "write": ["EIO", "ENOSPC", "EPIPE", "EINTR", "EAGAIN", "0"],
    "writev": ["EPIPE", "EPIPE+", "EINTR", "EAGAIN"],
    # A wake-up never fails in a kernel, and strace can't choose the waits alone. So it is late instead.
    "futex": ["late"],
}


def count_calls(runner, option):
    """How often each system call is made without a fault, by the thread that makes most of it."""
    with tempfile.TemporaryDirectory(dir=runner.folder) as folder:
        log = os.path.join(folder, "log")
        case = Case("", "", option, display=runner.display, prefix=["strace", "-f", "-o", log])
        runner.run(case)
        counts = Counter()
        with open(log, errors="replace") as lines:
            for line in lines:
                call = re.match(r"(\d+) +(\w+)\(", line)
                if call:
                    counts[call.groups()] += 1
        most = {}
        for (_, name), count in counts.items():
            most[name] = max(most.get(name, 0), count)
        return most


def get_injection(name, error, place):
    if error == "late":
        return f"{name}:delay_enter=100000:when={place}"
    when = f"{place}+" if error.endswith("+") else place
    error = error.rstrip("+")
    return f"{name}:{'retval=0' if error == '0' else 'error=' + error}:when={when}"


def get_cases(runner, options):
    for option in options:
        counts = count_calls(runner, option)
        unknown = counts.keys() - ERRORS.keys() - INFALLIBLE
        if unknown:
            raise RuntimeError(f"No errors are listed for the system calls {', '.join(sorted(unknown))} of {option}.")
        for name in sorted(counts.keys() - INFALLIBLE):
            for error in ERRORS[name]:
                for place in range(1, counts[name] + 1):
                    yield Case("system calls", f"{option} {name} {error} at {place}", option, fault=f"{name} {error}",
                               display=runner.display,
                               trace=["-e", f"trace={name}", "-e", f"inject={get_injection(name, error, place)}"])
