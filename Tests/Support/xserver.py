#!/usr/bin/env python3
"""Private X servers for checks. As a program it runs a command on one, and ends as that does: xserver.py COMMAND…"""

import contextlib
import os
import signal
import subprocess
import sys


class XServer:
    """A headless X server on a free display number, which ends with the block."""

    def __init__(self, *options):
        read_end, write_end = os.pipe()
        self.process = subprocess.Popen(
            # On an abstract socket too, so that a number which another server has there is not taken.
            ["Xvfb", "-displayfd", str(write_end), "-nolisten", "tcp", *options],
            pass_fds=[write_end], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write_end)
        with os.fdopen(read_end) as numbers:
            number = numbers.readline().strip()
        if not number:
            self.process.wait()
            raise RuntimeError("Xvfb did not start.")
        self.display = ":" + number

    def __enter__(self):
        return self

    def __exit__(self, *_):
        # One that was stopped gets the signal only when it goes on.
        self.process.terminate()
        self.process.send_signal(signal.SIGCONT)
        self.process.wait()
        # What a server leaves that was killed; others may have taken its number meanwhile.
        lock = f"/tmp/.X{self.display[1:]}-lock"
        with contextlib.suppress(FileNotFoundError), open(lock, encoding="ascii") as file:
            if int(file.read()) == self.process.pid:
                os.unlink(lock)
                os.unlink(f"/tmp/.X11-unix/X{self.display[1:]}")


@contextlib.contextmanager
def start_server(folder):
    """Gives the environment of its clients: its display and, in a file of the folder, its key."""
    authority = folder / "authority of the server"
    cookie = subprocess.run(["mcookie"], stdout=subprocess.PIPE, text=True, check=True).stdout.strip()
    add_key = ["xauth", "-q", "-f", authority, "add"]
    subprocess.run([*add_key, ":0", ".", cookie], check=True, stderr=subprocess.DEVNULL)
    with XServer("-noreset", "-auth", authority) as server:
        # The server takes the key whatever its number is; clients look it up by that number.
        subprocess.run([*add_key, server.display, ".", cookie], check=True)
        yield {"DISPLAY": server.display, "XAUTHORITY": str(authority)}


def main():
    with XServer("-noreset") as server:
        sys.exit(subprocess.run(sys.argv[1:], env={**os.environ, "DISPLAY": server.display}, check=False).returncode)


if __name__ == "__main__":
    main()
