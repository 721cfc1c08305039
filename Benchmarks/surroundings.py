"""What benchmarks run in: X servers, a window manager, monitors, processes. Each ends with its block."""

import contextlib
import os
import shlex
import subprocess
import time

QUIET = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}

XORG_CONFIGURATION = """Section "ServerFlags"
Option "AutoAddDevices" "false"
EndSection
Section "Device"
Identifier "device"
Driver "dummy"
VideoRam 64000
EndSection
Section "Screen"
Identifier "screen"
Device "device"
DefaultDepth 24
EndSection
"""


@contextlib.contextmanager
def run(command, **options):
    with subprocess.Popen(command, **{**QUIET, **options}) as process:
        try:
            yield process
        finally:
            process.terminate()


@contextlib.contextmanager
def start_server(folder, command):
    """The environment of the clients of an X server on a free display, which gets its number and key by options."""
    # Without -noreset the server would reset after its last client and keep the next one waiting.
    options = ["-noreset", "-nolisten", "tcp"]
    authority = folder / "authority"
    cookie = subprocess.run(["mcookie"], stdout=subprocess.PIPE, text=True, check=True).stdout.strip()
    add_key = ["xauth", "-q", "-f", authority, "add"]
    subprocess.run([*add_key, ":0", ".", cookie], check=True, **QUIET)
    read_end, write_end = os.pipe()
    with run([*command, "-displayfd", str(write_end), "-auth", authority, *options], pass_fds=[write_end]):
        os.close(write_end)
        with os.fdopen(read_end) as numbers:
            number = numbers.readline().strip()
        if not number:
            raise RuntimeError(f"{command[0]} did not start.")
        subprocess.run([*add_key, f":{number}", ".", cookie], check=True)
        yield {**os.environ, "DISPLAY": f":{number}", "XAUTHORITY": str(authority)}


def start_screen(folder):
    return start_server(folder, ["Xvfb", "-screen", "0", "1280x1024x24"])


@contextlib.contextmanager
def start_monitors(folder):
    """A display with three monitors side by side."""
    configuration = folder / "xorg.conf"
    configuration.write_text(XORG_CONFIGURATION)
    command = ["Xorg", "-config", configuration, "-logfile", folder / "log", "-novtswitch", "-sharevts"]
    with start_server(folder, command) as environment:
        for monitor in (1, 2):
            name = f"DUMMY{monitor}"
            for arguments in (["--addmode", name, "1024x768"],
                              ["--output", name, "--mode", "1024x768", "--pos", f"{monitor * 1024}x0"]):
                subprocess.run(["xrandr", *arguments], env=environment, check=True)
        yield environment


@contextlib.contextmanager
def start_desktop(folder):
    """A display with a window manager."""
    started = folder / "started"
    started.unlink(missing_ok=True)
    with start_screen(folder) as environment:
        startup = f"touch {shlex.quote(str(started))}"
        with run(["openbox", "--sm-disable", "--startup", startup], env=environment) as manager:
            wait_for_file(started, manager)
            yield environment


def wait_for_file(path, process):
    """Waits until a process has a file made."""
    while not path.exists():
        if process.poll() is not None:
            raise RuntimeError(f"{process.args[0]} did not start.")
        time.sleep(0.01)


@contextlib.contextmanager
def start_processes(program, count):
    """That many processes that sleep."""
    with subprocess.Popen([program, str(count)], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as sleepers:
        if not sleepers.stdout.readline():
            raise RuntimeError(f"There can't be {count} processes.")
        yield
        sleepers.stdin.close()
