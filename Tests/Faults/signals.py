"""Sends the tool signals: at each system call, and at random moments, one or two of them."""

import os
import signal
import statistics
import time

from runs import Case
from system_calls import count_calls, trace_calls

# Each is reported and ends the process by SIGABRT.
REPORTED = [signal.SIGTERM, signal.SIGINT, signal.SIGSEGV, signal.SIGILL, signal.SIGFPE, signal.SIGABRT]
# Each ends the process in silence, by the system's default.
ENDING = [signal.SIGHUP, signal.SIGQUIT, signal.SIGUSR1, signal.SIGALRM, signal.SIGKILL]
# `main` ignores them.
IGNORED = [signal.SIGPIPE, signal.SIGXFSZ]
# By the system's default they do nothing, or stop the process until SIGCONT comes.
HARMLESS = [signal.SIGCHLD, signal.SIGWINCH, signal.SIGCONT, signal.SIGSTOP]

RANDOM_RUNS = 300  # Of each option.


# What lies where the report of an assertion goes, "$report". "$home/other" must keep its text.
REPORT_FILES = {
    "a file": ': >"$report"',
    "a file without rights": ': >"$report"; chmod 0 "$report"',
    "a FIFO": 'mkfifo "$report"',
    "a folder": 'mkdir "$report"',
    "a link to another file": 'ln -s "$home/other" "$report"',
    "another name of another file": 'ln "$home/other" "$report"',
    "a link to a link": 'ln -s "$home/nothing" "$report"; ln -sf other "$home/nothing"',
    "a link to a full device": 'ln -s /dev/full "$report"',
    "a link to a terminal": 'ln -s /dev/ptmx "$report"',
}


def lay_reports(lines):
    """A shell's lines that let `lines` lay "$report" for the next minute, in the working folder and in that of logs."""
    return (f'logs=$home/.tovra/Logs; mkdir -p "$logs"; for second in $(seq 0 60); do\n'
            f'time=$(date -d "+$second seconds" +%FT%H-%M-%S)\n'
            f'for report in "$home/ERROR_$time.log" "$logs/TovraFieldhostSetupTool_ERROR_$time.log"; do\n'
            f'{lines}\ndone\ndone')


# Without a file for its report an assertion looks for a million of them, which takes a minute under strace.
LAY_REPORTS = lay_reports(REPORT_FILES["a file"])


def send(process_id, number):
    try:
        os.kill(process_id, number)
        if number == signal.SIGSTOP:
            time.sleep(0.02)
            os.kill(process_id, signal.SIGCONT)
    except ProcessLookupError:
        pass


def wait(seconds, end):
    """Waits precisely, as the tool may be done in a few milliseconds; false if it ends before."""
    until = time.monotonic() + seconds
    while time.monotonic() < until:
        if end.wait(max(until - time.monotonic() - 0.005, 0)):
            return False
    return True


def send_at(moments):
    """What sends signals to a process, each so many seconds after the one before."""

    def during(process_id, end):
        for delay, number in moments:
            if not wait(delay, end):
                return
            send(process_id, number)

    return during


def measure(runner, option):
    """For how many seconds the tool runs."""
    seconds = []

    def during(process_id, end):
        start = time.monotonic()
        while wait(0, end) and os.path.exists(f"/proc/{process_id}/exe"):
            pass
        seconds.append(time.monotonic() - start)

    for _ in range(5):
        runner.run(Case("", "", option, display=runner.display, during=during))
    return statistics.median(seconds) if seconds else 0.01


class Calls:
    """The system calls of an option without a fault, and the time in which the tool has handlers."""

    def __init__(self, runner, option):
        self.calls = trace_calls(runner, option)
        main = self.calls[0][0]
        self.main_calls = [(name, arguments) for thread, name, arguments in self.calls if thread == main]

    def find_handler(self, number):
        """The indices of the calls of the main thread that install and remove the handler."""
        installed = [index for index, (name, arguments) in enumerate(self.main_calls)
                     if name == "rt_sigaction" and arguments.startswith(f"{number.name}, {{sa_handler=0x")]
        removed = [index for index, (name, arguments) in enumerate(self.main_calls)
                   if name == "rt_sigaction" and arguments.startswith(f"{number.name}, {{sa_handler=SIG_DFL")]
        return installed[0], removed[-1] if removed and removed[-1] > installed[0] else len(self.main_calls)

    def is_handled(self, number, name, place):
        """Whether that call of the main thread lies between the two."""
        installed, removed = self.find_handler(number)
        indices = [index for index, (other, _) in enumerate(self.main_calls) if other == name]
        return place > len(indices) or installed < indices[place - 1] < removed


def get_cases_at_calls(runner, option, numbers):
    calls = Calls(runner, option)
    for name, count in sorted(count_calls(calls.calls).items()):
        # There strace has not begun to follow it.
        if name == "execve":
            continue
        for place in range(1, count + 1):
            for number in numbers:
                is_handled = number in REPORTED and calls.is_handled(number, name, place)
                # With --seccomp-bpf strace would send none.
                yield Case("signals at system calls", f"{option} {number.name} at {name} {place}", option,
                           fault=number.name + ("" if is_handled else " without a handler"), display=runner.display,
                           prelude=LAY_REPORTS if name == "rt_sigaction" else "",
                           trace=["-e", f"trace={name}",
                                  "-e", f"inject={name}:signal={number.name}:when={place}"])


def get_random_cases(runner, random, option, family="signals", is_process_one=False, count=RANDOM_RUNS):
    seconds = measure(runner, option) * 1.2
    # unshare can't pass on that process 1 was killed.
    ending = [number for number in ENDING if not is_process_one or number != signal.SIGKILL]
    for index in range(count):
        numbers = [random.choice(random.choice([REPORTED, REPORTED, ending, IGNORED, HARMLESS]))]
        if random.random() < 0.3:
            numbers.append(random.choice(REPORTED))
        moments = [(random.uniform(0, seconds) / len(numbers), number) for number in numbers]
        text = ", ".join(f"{number.name} after {delay * 1000:.1f} ms" for delay, number in moments)
        yield Case(family, f"{option} {index}: {text}", option, fault=" ".join(number.name for number in numbers),
                   display=runner.display, is_process_one=is_process_one, during=send_at(moments))


# What is sent at each system call. The options that are missing make the same calls as -cba.
AT_CALLS = {"-cba": [signal.SIGTERM, signal.SIGSEGV, signal.SIGHUP], "-CheckOpenGL": [signal.SIGTERM]}


def get_report_cases(runner, option):
    """A signal that comes before there is an application is an assertion, which is reported in the working folder."""
    calls = [arguments for _, name, arguments in trace_calls(runner, option) if name == "rt_sigaction"]
    # At the call after the one that installs the handler.
    place = next(index for index, arguments in enumerate(calls) if arguments.startswith("SIGTERM, {sa_handler=0x")) + 2
    for name, lines in REPORT_FILES.items():
        prelude = f'echo text >"$home/other"\n{lay_reports(lines)}'
        yield Case("reports", f"{option}: {name}", option, display=runner.display, prelude=prelude, kept_file="other",
                   trace=["-e", "trace=rt_sigaction", "-e", f"inject=rt_sigaction:signal=SIGTERM:when={place}"])


def get_cases(runner, random, options):
    for option in options:
        yield from get_report_cases(runner, option)
    for option in options:
        if option in AT_CALLS:
            yield from get_cases_at_calls(runner, option, AT_CALLS[option])
    for option in options:
        yield from get_random_cases(runner, random, option)
    for option in options:
        yield from get_random_cases(runner, random, option, "process 1", True, RANDOM_RUNS // 5)
