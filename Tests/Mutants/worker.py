#!/usr/bin/python3 -B
"""Runs tests in process and mount namespaces of its own, as their first process, so that a changed program ends no
process outside and leaves nothing behind, and in a network of its own: a request in JSON a line, an answer a line."""

import ctypes
import fcntl
import glob
import json
import os
import pathlib
import resource
import shutil
import signal
import socket
import struct
import subprocess
import sys
import time

TEMPORARY = pathlib.Path(sys.argv[1])
# What a program of tests writes before each.
RUNNING = b"[ RUN      ] "
MEMORY = 4 << 30

# sched.h, linux/sockios.h and linux/if.h
CLONE_NEWNET = 0x40000000
SIOCSIFFLAGS = 0x8914
IFF_UP = 1


def leave_network():
    """Gives the tests a network with nothing but its loopback: X servers of several workers would otherwise have the
    same numbers, and so ports and abstract sockets, as each of them looks for a free one in a /tmp of its own. A
    caller without the right to set one up stays where it is."""
    library = ctypes.CDLL(None)
    before = os.open("/proc/self/ns/net", os.O_RDONLY | os.O_CLOEXEC)
    if library.unshare(CLONE_NEWNET) == 0:
        try:
            with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
                fcntl.ioctl(any_socket, SIOCSIFFLAGS, struct.pack("16sh14x", b"lo", IFF_UP))
        except PermissionError:
            if library.setns(before, CLONE_NEWNET) != 0:
                sys.exit("The network without a loopback can't be left again.")
    os.close(before)


def prepare():
    # A caller in the background ignores some signals, and what it starts would, too.
    for number in signal.valid_signals() - {signal.SIGKILL, signal.SIGSTOP}:
        signal.signal(number, signal.SIG_DFL)
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    # A sanitizer reserves far more than it uses, and has a limit of its own.
    if "hard_rss_limit_mb" not in os.environ.get("ASAN_OPTIONS", ""):
        resource.setrlimit(resource.RLIMIT_DATA, (MEMORY, MEMORY))


def clean():
    for path in TEMPORARY.iterdir():
        if path.is_dir() and not path.is_symlink():
            shutil.rmtree(path, ignore_errors=True)
        else:
            path.unlink(missing_ok=True)
    # X servers and their clients look for these.
    for name in (".X11-unix", ".ICE-unix", "home"):
        folder = TEMPORARY / name
        folder.mkdir(exist_ok=True)
        folder.chmod(0o1777)


def end_all():
    """Ends what a test has left behind; this is the first process, which the signal spares."""
    try:
        os.kill(-1, signal.SIGKILL)
    except ProcessLookupError:
        pass
    while True:
        try:
            os.waitpid(-1, 0)
        except ChildProcessError:
            return


class Clock:
    """Measures the time that tests take, without the time in which their processes wait for a core: a machine with much
    else to do makes no test slow."""

    def __init__(self):
        self.elapsed, self.last, self.known = 0.0, time.monotonic(), {}

    def restart(self):
        self.elapsed = 0.0

    def tick(self):
        """Adds the time since the last call; gives the whole."""
        now = time.monotonic()
        passed, self.last = now - self.last, now
        ran = waited = 0.0
        known = {}
        # For each thread of this namespace: how long it has run, and waited to run.
        for path in glob.glob("/proc/[0-9]*/task/[0-9]*/schedstat"):
            try:
                with open(path, encoding="ascii") as file:
                    times = [int(one) / 1e9 for one in file.read().split()[:2]]
            except OSError:
                continue # It has ended meanwhile.
            if path.startswith("/proc/1/") or len(times) < 2:
                continue
            before = self.known.get(path, (0.0, 0.0))
            known[path] = times
            ran, waited = ran + times[0] - before[0], waited + times[1] - before[1]
        self.known = known
        self.elapsed += max(0.0, passed - max(0.0, waited), min(passed, ran))
        return self.elapsed


def wait(process, request, output):
    """Waits for the end of the tests; gives their status, or none, the seconds that they took, and the limit. A test
    that takes longer than it may is not waited for; one that stands still not as long as all tests of the request
    together may take."""
    clock, whole = Clock(), 0.0
    test, position, line = "", 0, b""
    while True:
        limit = request["limits"].get(test, request["limit"])
        try:
            status = process.wait(0.1)
            return status, whole + clock.tick(), limit
        except subprocess.TimeoutExpired:
            pass
        elapsed = clock.tick()
        if is_over(request):
            return None, whole + elapsed, limit
        with open(output, "rb") as file:
            file.seek(position)
            text = line + file.read()
            position = file.tell()
        lines = text.split(b"\n")
        line = lines.pop()
        for begin in (one for one in lines if one.startswith(RUNNING)):
            test = begin[len(RUNNING):].decode(errors="replace")
            whole, elapsed = whole + elapsed, 0.0
            clock.restart()
        if elapsed > request["limits"].get(test, request["limit"]):
            return None, whole + elapsed, limit


def is_over(request):
    return request["until"] is not None and time.time() > request["until"]


def run(request):
    clean()
    environment = dict(os.environ) | request["environment"]
    environment |= {"HOME": str(TEMPORARY / "home"), "TMPDIR": str(TEMPORARY)}
    environment.pop("DISPLAY", None)
    output = TEMPORARY / "output.log"
    if TEMPORARY != pathlib.Path("/tmp"):
        output = TEMPORARY.parent / f"{TEMPORARY.name}.log"
    with open(output, "wb") as file:
        process = subprocess.Popen(request["command"], stdin=subprocess.DEVNULL, stdout=file, stderr=file,
                                   cwd=request["folder"], env=environment, start_new_session=True, preexec_fn=prepare)
        status, seconds, limit = wait(process, request, output)
    end_all()
    process.returncode = 0 if process.returncode is None else process.returncode
    with open(output, "rb") as file:
        text = file.read(1 << 20)
        file.seek(0, os.SEEK_END)
        file.seek(max(len(text), file.tell() - 4000))
        text += file.read()
    return {"status": status, "seconds": seconds, "limit": limit, "output": text.decode(errors="replace"),
            "is_over": status is None and is_over(request)}


def main():
    for line in sys.stdin:
        print(json.dumps(run(json.loads(line))), flush=True)


if os.getpid() != 1:
    sys.exit("This has to be the first process of a namespace: it ends all others.")
leave_network()
main()
