"""Starts the tool in a process and mount namespace and a home folder of its own, and takes down how it ended."""

import os
import re
import shutil
import signal
import subprocess
import tempfile
import threading
import time
from dataclasses import dataclass, field
from typing import Callable, Optional

from trace_check import seize, stop_at

OPTIONS = ["-Help", "-ShowReturnCodes", "-cba", "-CheckOpenGL"]
# A run takes longest at a silent X server, 35 seconds, and then where an exception ends it, some seconds; a machine
# that is busy may need much longer.
TIME_LIMIT = 120

# Mounts stay private to them.
NAMESPACES = ["unshare", "--pid", "--fork", "--kill-child", "--mount-proc"]
# Ends with this if the surroundings of a run can't be made; the tool never does. trace_check.py ends so too.
NO_SURROUNDINGS = 99
TRACE_CHECK = os.path.join(os.path.dirname(os.path.realpath(__file__)), "trace_check.py")
# A FIFO on which a run waits for who watches it.
GATE = "gate"


@dataclass
class Case:
    """One start of the tool with one fault."""

    family: str
    name: str
    option: str
    fault: str = ""  # What the tables of kinds go by; the name by default.
    display: str = ""
    environment: dict = field(default_factory=dict)
    prelude: str = ""  # Lines of a shell that has all rights in the namespaces, with $home and $tool.
    redirections: str = ""  # Of the tool, in the shell's words.
    prefix: list = field(default_factory=list)  # Commands that execute the tool.
    trace: list = field(default_factory=list)  # Arguments of strace, whose output tells whether the fault was met.
    traces_check: bool = False  # Whether strace follows the process of the check instead of the tool's first one.
    folder: Optional[str] = None  # Where the tool lies, below a folder of its own.
    home: Optional[str] = None  # HOME, if it is not the folder of the run; with $home.
    is_process_one: bool = False
    kept_file: str = ""  # In the folder of the run; it contains "text", and has to afterwards.
    # Given the tool's process id, and an event that is its end. Gives what the fault was, or "" if it was not met.
    during: Optional[Callable] = None
    # The tool is stopped before that, with so many beginnings and ends of system calls behind it.
    stop_at: Optional[int] = None
    around: Optional[Callable] = None  # A context manager for the run, which gives the display.

    def __post_init__(self):
        self.fault = self.fault or self.name or "none"


@dataclass
class Result:
    output: bytes
    errors: str
    status: int = -1  # -1 if a signal ended it
    signal: int = 0
    hangs: bool = False
    is_met: bool = True  # Whether the fault was met.
    fault: str = ""  # "" if it was not met.
    is_file_kept: bool = True
    seconds: float = 0


class Runner:
    """Runs cases of one program; usable by several threads."""

    def __init__(self, program, folder, limit=TIME_LIMIT):
        self.folder = folder
        self.limit = limit
        self.display = ""
        self.trace_check = [TRACE_CHECK]
        self.program = program
        # A user without rights may not get to it where it was built.
        self.program = self._copy(os.path.join(folder, "bin"))

    def run(self, case):
        home = tempfile.mkdtemp(dir=self.folder)
        # A user without rights must get to it.
        os.chmod(home, 0o755)
        try:
            if case.around is None:
                return self._run(case, home, case.display)
            with case.around(self) as display:
                return self._run(case, home, display)
        finally:
            remove(home)

    def _run(self, case, home, display):
        tool = self.program if case.folder is None else self._copy(os.path.join(home, case.folder))
        log = os.path.join(home, "strace")
        inner = list(case.prefix) + [tool, case.option]
        if case.during is not None:
            os.mkfifo(os.path.join(home, GATE))
            inner = ["sh", "-c", f'read _ <"$home/{GATE}"; exec "$@"', "sh", *inner]
        if case.trace:
            inner = [*(self.trace_check if case.traces_check else ["strace"]), "-o", log, *case.trace,
                     *(["--"] if case.traces_check else []), *inner]
        command = NAMESPACES + ["sh", "-c", self._get_script(case), "sh", *inner]
        environment = {"PATH": "/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin", "LC_ALL": "C", "home": home,
                       "tool": tool,
                       # By default Mesa caches shaders in the home folder of the user database.
                       "XDG_CACHE_HOME": os.path.join(home, "cache"),
                       "HOME": home if case.home is None else case.home.replace("$home", home)}
        if display:
            environment["DISPLAY"] = display
        # A program under sanitizers obeys them.
        environment.update({name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")})
        environment.update({name: value.replace("$home", home) for name, value in case.environment.items()})
        environment = {name: value for name, value in environment.items() if value != "$unset"}
        result = self._start(case, command, environment, home)
        if case.trace:
            result.is_met = os.path.exists(log) and is_injected(log, case.trace)
        if case.during is None:
            result.fault = case.fault if result.is_met else ""
        if case.kept_file:
            with open(os.path.join(home, case.kept_file), "rb") as file:
                result.is_file_kept = file.read() == b"text\n"
        return result

    def _copy(self, folder):
        """The program and what belongs to it, in another folder."""
        os.makedirs(folder)
        shutil.copy2(self.program, folder)
        shutil.copytree(os.path.join(os.path.dirname(self.program), "Schemas"), os.path.join(folder, "Schemas"))
        return os.path.join(folder, os.path.basename(self.program))

    @staticmethod
    def _get_script(case):
        script = "ulimit -c 0\n"
        if case.prelude:
            script += f"{{ set -e\n{case.prelude}\nset +e; }} || exit {NO_SURROUNDINGS}\n"
        if case.is_process_one:
            return f'{script}exec "$@" {case.redirections}'
        # Process 1 is a shell, which must stay silent about the tool's end.
        return f'{script}exec 3>&2 2>/dev/null\n(exec "$@" 2>&3 3>&- {case.redirections})\nexit $?'

    def _start(self, case, command, environment, home):
        start = time.monotonic()
        end = threading.Event()
        with open(os.path.join(home, "standard output"), "w+b") as output, \
                open(os.path.join(home, "standard error"), "w+b") as errors:
            process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=errors, cwd=home,
                                       env=environment, start_new_session=True)
            helper = None
            faults = []
            if case.during is not None:
                helper = threading.Thread(target=lambda: faults.append(self._assist(case, process, home, end)))
                helper.start()
            hangs = False
            try:
                status = process.wait(self.limit)
            except subprocess.TimeoutExpired:
                hangs = True
                process.kill()
                status = process.wait()
            seconds = time.monotonic() - start
            end.set()
            if helper is not None:
                helper.join()
            for stream in output, errors:
                stream.seek(0)
            result = Result(output.read(), errors.read().decode("utf-8", "replace"), hangs=hangs, seconds=seconds)
        if status == NO_SURROUNDINGS:
            raise RuntimeError(f"The surroundings of '{case.name}' could not be made: {result.errors}")
        if helper is not None:
            if not faults:
                raise RuntimeError(f"The signals of '{case.name}' could not be sent.")
            result.fault = faults[0]
            result.is_met = result.fault != ""
        # The shell tells a signal by adding 128.
        result.signal = -status if status < 0 else status - 128 if 128 < status < 160 else 0
        result.status = -1 if result.signal else status
        return result

    def _assist(self, case, process, home, end):
        """Opens the gate before the tool, so that its process id is known when it starts. Gives what `during` gives."""
        while not end.is_set():
            try:
                gate = os.open(os.path.join(home, GATE), os.O_WRONLY | os.O_NONBLOCK)
            except OSError:
                time.sleep(0.0002)  # No one waits there yet.
                continue
            process_id = get_last_descendant(process.pid)
            if case.stop_at is not None:
                seize(process_id)
            os.write(gate, b"\n")
            os.close(gate)
            name = os.path.basename(self.program)
            if case.stop_at is None:
                is_running = wait_for_program(process_id, name, end)
            else:
                is_running = stop_at(process_id, lambda: get_program(process_id) == name, case.stop_at)
            return case.during(process_id, end) if is_running else ""
        return ""


def get_children(process_id):
    try:
        with open(f"/proc/{process_id}/task/{process_id}/children") as children:
            return [int(child) for child in children.read().split()]
    except (FileNotFoundError, ProcessLookupError):
        return []


def get_last_descendant(process_id):
    while children := get_children(process_id):
        process_id = children[0]
    return process_id


def get_program(process_id):
    """The name of the program that it executes; "" if it has ended."""
    try:
        return os.path.basename(os.readlink(f"/proc/{process_id}/exe"))
    except OSError:
        return ""


def wait_for_program(process_id, name, end):
    """Waits until the process executes that program; false if it ends before."""
    while not end.is_set():
        program = get_program(process_id)
        if program in ("", name):
            return program == name
    return False


def is_injected(log, arguments):
    """Whether strace, with these arguments, has injected something. Signals are not marked, but in its output."""
    sent = re.search(r"signal=(\w+)", " ".join(arguments))
    mark = f"--- {sent[1]} " if sent else r"\((INJECTED|DELAYED)\)"
    with open(log, errors="replace") as lines:
        return any(re.search(mark, line) for line in lines)


def remove(folder):
    """Removes it whatever the rights in it are."""
    for path, names, _ in os.walk(folder):
        for name in names:
            inner = os.path.join(path, name)
            if not os.path.islink(inner):
                os.chmod(inner, 0o700)
    shutil.rmtree(folder, ignore_errors=True)


def get_signal_name(number):
    try:
        return signal.Signals(number).name
    except ValueError:
        return f"signal {number}"
