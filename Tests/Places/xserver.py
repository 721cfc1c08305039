"""A private X server for a check."""

import contextlib
import os
import subprocess


@contextlib.contextmanager
def start_server(folder):
    """Gives the environment of its clients: its display and, in a file of the folder, its key."""
    authority = folder / "authority of the server"
    cookie = subprocess.run(["mcookie"], stdout=subprocess.PIPE, text=True, check=True).stdout.strip()
    add_key = ["xauth", "-q", "-f", authority, "add"]
    subprocess.run([*add_key, ":0", ".", cookie], check=True, stderr=subprocess.DEVNULL)
    read, write = os.pipe()
    server = subprocess.Popen(
        # On an abstract socket too, so that a number which another server has there is not taken.
        ["Xvfb", "-displayfd", str(write), "-auth", authority, "-nolisten", "tcp", "-noreset"],
        pass_fds=[write],
        stderr=subprocess.DEVNULL,
    )
    os.close(write)
    try:
        with os.fdopen(read) as numbers:
            display = ":" + numbers.readline().strip()
        # The server takes the key whatever its number is; clients look it up by that number.
        subprocess.run([*add_key, display, ".", cookie], check=True)
        yield {"DISPLAY": display, "XAUTHORITY": str(authority)}
    finally:
        server.terminate()
        server.wait()
