#!/usr/bin/python3 -B
"""Runs a command and lets strace follow the first process that it forks, from the first system call of that on:
trace_check.py <strace arguments> -- <command>. Ends as the command does.

strace counts the calls of each process by itself, so following both would let the n-th call of each fail.
"""

import ctypes
import os
import signal
import subprocess
import sys
import time

# <sys/ptrace.h>
TRACEME, CONT, DETACH, SYSCALL, SETOPTIONS, GETEVENTMSG, SEIZE = 0, 7, 17, 24, 0x4200, 0x4201, 0x4206
EXIT_KILL, TRACE_SYSCALL, TRACE_FORK, TRACE_EXEC = 0x100000, 1, 2, 16
EVENT_FORK, EVENT_EXEC = 1, 4
SYSCALL_STOP = signal.SIGTRAP | 0x80
WALL = 0x40000000  # <linux/wait.h>

# Ends with this if strace can't follow; the tool never does.
NO_TRACE = 99

library = ctypes.CDLL(None, use_errno=True)
library.ptrace.argtypes = [ctypes.c_long, ctypes.c_long, ctypes.c_void_p, ctypes.c_void_p]
library.ptrace.restype = ctypes.c_long


def ptrace(request, process_id, data=None):
    """Raises ProcessLookupError where the process has ended."""
    if library.ptrace(request, process_id, None, data) < 0:
        raise OSError(ctypes.get_errno(), f"ptrace request {request}")


def seize(process_id):
    """Makes the calling thread the tracer of a process."""
    ptrace(SEIZE, process_id, TRACE_EXEC | TRACE_SYSCALL)


def stop_at(process_id, is_program, count):
    """Stops a process that this thread has seized, at the beginning or end of a system call, so many of which it has
    behind it since it executes the program of which `is_program()` is true. False if it ends before."""
    has_begun = False
    while True:
        status = os.waitpid(process_id, WALL)[1]
        if not os.WIFSTOPPED(status):
            return False
        number = os.WSTOPSIG(status)
        if status >> 16 == EVENT_EXEC:
            has_begun = is_program()
        count -= has_begun and number == SYSCALL_STOP
        if has_begun and count <= 0:
            # It stays stopped, although nobody traces it.
            os.kill(process_id, signal.SIGSTOP)
            ptrace(DETACH, process_id)
            return True
        ptrace(SYSCALL if has_begun else CONT, process_id, 0 if status >> 16 or number == SYSCALL_STOP else number)


def start(command):
    """Starts the command with this process as its tracer, stopped at its beginning."""
    process_id = os.fork()
    if process_id == 0:
        ptrace(TRACEME, 0)
        os.execvp(command[0], command)
    os.waitpid(process_id, 0)
    ptrace(SETOPTIONS, process_id, EXIT_KILL | TRACE_FORK | TRACE_EXEC)
    ptrace(CONT, process_id)
    return process_id


def wait_for_fork(process_id):
    """The id of the process that it forks, which is stopped, or None and its status if it ends before."""
    while True:
        status = os.waitpid(process_id, 0)[1]
        if not os.WIFSTOPPED(status):
            return None, status
        if status >> 16 == EVENT_FORK:
            child = ctypes.c_ulong()
            ptrace(GETEVENTMSG, process_id, ctypes.byref(child))
            os.waitpid(child.value, WALL)
            return child.value, None
        # A stop at an event, such as another program, is no signal.
        ptrace(CONT, process_id, 0 if status >> 16 else os.WSTOPSIG(status))


def get_state(process_id):
    """"T" if it is stopped, "t" if its tracer has stopped it (proc(5))."""
    with open(f"/proc/{process_id}/stat") as file:
        return file.read().rpartition(")")[2].split()[0]


def follow(process_id, arguments):
    """Lets strace follow a process that this one traces, and lets it go on."""
    # It stays stopped, although nobody traces it meanwhile.
    ptrace(DETACH, process_id, signal.SIGSTOP)
    while get_state(process_id) != "T":
        time.sleep(0.0005)
    strace = subprocess.Popen(["strace", "-q", *arguments, "-p", str(process_id)], stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL)
    # From here on it goes on only if strace lets it.
    while get_state(process_id) != "t":
        if strace.poll() is not None:
            os.kill(process_id, signal.SIGKILL)
            sys.exit(NO_TRACE)
        time.sleep(0.0005)
    os.kill(process_id, signal.SIGCONT)
    return strace


def main():
    separator = sys.argv.index("--")
    command = start(sys.argv[separator + 1:])
    child, status = wait_for_fork(command)
    if child is not None:
        strace = follow(child, sys.argv[1:separator])
        ptrace(DETACH, command)
        status = os.waitpid(command, 0)[1]
        strace.wait()
    if os.WIFSIGNALED(status):
        signal.signal(os.WTERMSIG(status), signal.SIG_DFL)
        os.kill(os.getpid(), os.WTERMSIG(status))
    sys.exit(os.WEXITSTATUS(status))


if __name__ == "__main__":
    main()
