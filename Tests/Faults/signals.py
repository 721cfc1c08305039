"""Sends the tool signals: at each system call, and at random moments, one or two of them."""

import itertools
import math
import os
import random
import signal
import time
from contextlib import suppress

from runs import Case, get_children
from system_calls import get_places, trace_calls

# Each is reported and ends the process by SIGABRT.
REPORTED = [signal.SIGTERM, signal.SIGINT, signal.SIGSEGV, signal.SIGILL, signal.SIGFPE, signal.SIGABRT]
# Each ends the process in silence, by the system's default.
ENDING = [signal.SIGHUP, signal.SIGQUIT, signal.SIGUSR1, signal.SIGALRM, signal.SIGKILL]
# `main` ignores them.
IGNORED = [signal.SIGPIPE, signal.SIGXFSZ]
# By the system's default they do nothing, or stop the process until SIGCONT comes.
HARMLESS = [signal.SIGCHLD, signal.SIGWINCH, signal.SIGCONT, signal.SIGSTOP]

RANDOM_RUNS = 300  # Of each option.
# An option of a few milliseconds would be over before a signal comes from a busy machine. It is stopped at the
# beginning or end of one of its system calls, and gets the signal there, or so many seconds after it goes on.
MOMENTS_AFTER_STOP = (0.000001, 0.0005)
# Between how many seconds after the start of a process signals come to the others. The seed alone chooses the moments,
# so that it repeats them; the lower ones are as many as the higher ones, as machines are fast and slow.
MOMENTS = {"-CheckOpenGL": (0.0001, 0.3)}


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
    """A shell's lines that let `lines` lay "$report" for the next minutes, in the working folder and in that of
    logs."""
    return ('logs=$home/.tovra/Logs; mkdir -p "$logs"; now=$(date +%s)\n'
            'seq -f @%.0f "$now" "$((now + 150))" | date -f - +%FT%H-%M-%S | while read -r time; do\n'
            'for report in "$home/ERROR_$time.log" "$logs/TovraFieldhostSetupTool_ERROR_$time.log"; do\n'
            f'{lines}\ndone\ndone')


# Without a file for its report an assertion looks for a million of them, which takes a minute under strace.
LAY_REPORTS = lay_reports(REPORT_FILES["a file"])


def stop(process_id):
    """Stops the process, and waits until all of its threads are; false if it has ended."""
    os.kill(process_id, signal.SIGSTOP)
    while True:
        states = set()
        for thread in os.listdir(f"/proc/{process_id}/task"):
            with open(f"/proc/{process_id}/task/{thread}/stat") as file:
                states.add(file.read().rpartition(")")[2].split()[0])
        if states <= {"Z", "X"}:
            return False
        if states == {"T"}:
            return True
        time.sleep(0.0002)


def get_disposition(process_id, number):
    """What becomes of a signal (proc(5))."""
    with open(f"/proc/{process_id}/status") as file:
        sets = dict(line.split(":\t") for line in file.read().splitlines() if line.startswith("Sig"))
    has = {name: int(signals, 16) >> (number - 1) & 1 for name, signals in sets.items() if name != "SigQ"}
    if has["SigIgn"]:
        return " ignored"
    return (" blocked" if has["SigBlk"] else "") if has["SigCgt"] else " without a handler"


def send(process_id, number):
    """Sends a signal, and gives its name and what becomes of it; "" if the process has ended."""
    try:
        # While it is stopped it can't install or remove handlers.
        if not stop(process_id):
            return ""
        name = number.name + (get_disposition(process_id, number) if number in REPORTED else "")
        if number != signal.SIGSTOP:
            os.kill(process_id, number)
    except (FileNotFoundError, ProcessLookupError):
        return ""
    # After SIGKILL it may be gone already.
    resume(process_id)
    return name


def resume(process_id):
    with suppress(ProcessLookupError):
        os.kill(process_id, signal.SIGCONT)


def wait(seconds, end):
    """Waits precisely, as the tool may be done in a few milliseconds; false if it ends before."""
    until = time.monotonic() + seconds
    while time.monotonic() < until:
        if end.wait(max(until - time.monotonic() - 0.005, 0)):
            return False
    return True


def wait_for_child(process_id, end):
    """The process that the tool forks for its check; none if the tool ends before."""
    while not end.is_set() and os.path.exists(f"/proc/{process_id}/exe"):
        children = get_children(process_id)
        if children:
            return children[0]
        time.sleep(0.0002)
    return None


def send_at(moments, is_for_check):
    """What sends signals to a process, each so many seconds after the one before."""

    def during(process_id, end):
        target = wait_for_child(process_id, end) if is_for_check else process_id
        sent = []
        for delay, number in moments if target else []:
            if delay > 0:
                resume(target)
            if not wait(delay, end):
                break
            sent.append(send(target, number))
        if target:
            resume(target)
        return " and ".join(filter(None, sent))

    return during


def find_handler(calls, number):
    """The indices of the calls that install and remove the handler."""
    def find(handler):
        return [index for index, (name, arguments) in enumerate(calls)
                if name == "rt_sigaction" and arguments.startswith(f"{number.name}, {{sa_handler={handler}")]

    installed = find("0x")
    removed = find("SIG_DFL")
    return installed[0], removed[-1] if removed and removed[-1] > installed[0] else len(calls)


def is_handled(calls, number, name, place):
    """Whether a signal at that call, which comes when the call is done, finds the handler."""
    installed, removed = find_handler(calls, number)
    indices = [index for index, (other, _) in enumerate(calls) if other == name]
    return place > len(indices) or installed <= indices[place - 1] < removed


def get_place_cases(runner, option, place, numbers):
    for name, count in sorted(place.count_calls().items()):
        # At the start strace has not begun to follow it, and at the end no signal comes. libX11 and the driver ask for
        # the check's process id hundreds of times.
        if name in ("execve", "exit_group") or (place.traces_check and name == "getpid"):
            continue
        for number, index in itertools.product(numbers, range(1, count + 1)):
            # The check's process has the handlers of the tool's from its start.
            is_unhandled = (number in REPORTED and not place.traces_check and
                            not is_handled(place.calls[0], number, name, index))
            yield Case("signals at system calls", f"{option} {number.name} at {name} {index}{place.name}", option,
                       fault=number.name + (" without a handler" if is_unhandled else "") + place.name,
                       display=runner.display, traces_check=place.traces_check,
                       prelude=LAY_REPORTS if name in ("rt_sigaction", "brk") else "",
                       trace=[*place.arguments, "-e", f"trace={name}",
                              "-e", f"inject={name}:signal={number.name}:when={index}"])


def get_random_cases(runner, seed, option, family="signals", count=RANDOM_RUNS, is_for_check=False):
    is_process_one = family == "process 1"
    place = " in the check" if is_for_check else ""
    generator = random.Random(f"{seed} {family} {option}{place}")
    # unshare can't pass on that process 1 was killed.
    ending = [number for number in ENDING if not is_process_one or number != signal.SIGKILL]
    low, high = MOMENTS.get(option, MOMENTS_AFTER_STOP)
    stops = None if option in MOMENTS else 2 * len(trace_calls(runner, option))
    for index in range(count):
        numbers = [generator.choice(generator.choice([REPORTED, REPORTED, ending, IGNORED, HARMLESS]))]
        if generator.random() < 0.3:
            numbers.append(generator.choice(REPORTED))
        moments = [(math.exp(generator.uniform(math.log(low), math.log(high))), number) for number in numbers]
        # A share of them, so that the seed repeats the others where there is a call more.
        stop_place = None if stops is None else int(generator.random() * stops)
        if stop_place is not None and generator.random() < 0.5:
            moments[0] = (0, moments[0][1])
        text = ", ".join(f"{number.name} after {delay * 1000:.3f} ms" for delay, number in moments)
        text += "" if stop_place is None else f" at stop {stop_place}"
        during = send_at(moments, is_for_check)
        yield Case(family, f"{option} {index}: {text}{place}", option, display=runner.display,
                   is_process_one=is_process_one, stop_at=stop_place,
                   during=lambda process_id, end, during=during: add(during(process_id, end), place))


def add(fault, place):
    return fault and fault + place


# What is sent at each system call of the tool's first process, and of the check's. The options that are missing make
# the same calls as -cba.
AT_CALLS = {"-cba": [signal.SIGTERM, signal.SIGSEGV, signal.SIGHUP], "-CheckOpenGL": [signal.SIGTERM]}
AT_CALLS_OF_CHECK = [signal.SIGSEGV]


def get_report_cases(runner, option):
    """A signal that comes before there is an application is an assertion, which is reported in the working folder."""
    calls = [arguments for _, name, arguments in trace_calls(runner, option) if name == "rt_sigaction"]
    # At the call after the one that installs the handler.
    place = next(index for index, arguments in enumerate(calls) if arguments.startswith("SIGTERM, {sa_handler=0x")) + 2
    for name, lines in REPORT_FILES.items():
        prelude = f'echo text >"$home/other"\n{lay_reports(lines)}'
        yield Case("reports", f"{option}: {name}", option, display=runner.display, prelude=prelude, kept_file="other",
                   trace=["-e", "trace=rt_sigaction", "-e", f"inject=rt_sigaction:signal=SIGTERM:when={place}"])


def get_cases(runner, seed, options):
    for option in options:
        yield from get_report_cases(runner, option)
    for option in options:
        places = get_places(trace_calls(runner, option)) if option in AT_CALLS else []
        for place in places:
            yield from get_place_cases(runner, option, place,
                                       AT_CALLS_OF_CHECK if place.traces_check else AT_CALLS[option])
    for option in options:
        yield from get_random_cases(runner, seed, option)
    if "-CheckOpenGL" in options:
        yield from get_random_cases(runner, seed, "-CheckOpenGL", is_for_check=True)
    for option in options:
        yield from get_random_cases(runner, seed, option, "process 1", RANDOM_RUNS // 5)
