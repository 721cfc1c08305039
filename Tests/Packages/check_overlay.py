#!/usr/bin/python3 -B
"""Runs the installed example Overlay on a display: check_overlay.py PROGRAM CONFIGURATION FOLDER.

On a private X server with a window manager and a clock, the log names the clock, and SIGTERM ends the program.
"""

import contextlib
import os
import signal
import subprocess
import sys
import time
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "Support"))
from xserver import start_server

PROGRAM, CONFIGURATION, FOLDER = (Path(argument).resolve() for argument in sys.argv[1:])
PATIENCE = 60


@contextlib.contextmanager
def start(command, environment, **options):
    process = subprocess.Popen(command, env=environment, stderr=subprocess.DEVNULL, **options)
    try:
        yield process
    finally:
        process.kill()
        process.wait()


def expect(condition, text):
    if not condition:
        sys.exit(f"check_overlay.py: {text}")


def wait_for(command, text, environment):
    """Waits until a program prints that text."""
    deadline = time.monotonic() + PATIENCE
    while True:
        result = subprocess.run(
            command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False
        )
        if text in result.stdout:
            return
        expect(time.monotonic() < deadline, f"{command} prints {result.stdout}")
        time.sleep(0.1)


def main():
    FOLDER.mkdir()
    with contextlib.ExitStack() as stack:
        display = stack.enter_context(start_server(FOLDER))
        environment = {"PATH": os.environ["PATH"], "HOME": str(FOLDER), **display}
        stack.enter_context(start(["openbox"], environment, stdout=subprocess.DEVNULL))
        wait_for(["xprop", "-root", "_NET_CLIENT_LIST"], "window id", environment)
        # Under the pointer, which is at the middle of the screen.
        stack.enter_context(start(["xclock", "-name", "clock", "-geometry", "1200x1000+20+10"], environment))
        wait_for(["xwininfo", "-name", "clock"], "IsViewable", environment)
        wait_for(["xprop", "-root", "_NET_CLIENT_LIST"], "0x", environment)
        output = FOLDER / "output"
        with output.open("wb") as stream:
            program = stack.enter_context(start([PROGRAM, "-Configuration", CONFIGURATION], environment, stdout=stream))
            deadline = time.monotonic() + PATIENCE
            log = ""
            while "clock" not in log and program.poll() is None and time.monotonic() < deadline:
                time.sleep(0.1)
                logs = [path.read_text(errors="replace") for path in (FOLDER / ".tovra").rglob("*.log")]
                log = output.read_text(errors="replace") + "".join(logs)
            expect("clock" in log, f"the window under the pointer is not named, status {program.poll()}: {log}")
            program.send_signal(signal.SIGTERM)
            expect(program.wait(PATIENCE) == 0, f"SIGTERM ends it with {program.returncode}")


main()
