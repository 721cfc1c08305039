"""Which ends of a run there are, and which of them are allowed under which faults, each with its reason."""

import re
from dataclasses import dataclass

from runs import get_signal_name

# What the tool itself prints to the standard error stream, byte for byte.
LOSS = "Exception: The connection to the X server is lost."
SIGNALS = {
    "Signal 'SIGINT' was raised (most likely by an user, script, etc.) to initiate an interruption of program "
    "execution.": "SIGINT",
    "Signal 'SIGILL' was raised to due to an invalid instruction. Executable may be invalid.": "SIGILL",
    "Signal 'SIGABRT' was raised due to an unknown abnormal condition.": "SIGABRT",
    "Signal 'SIGFPE' was raised to due to an erronouse arithmetic operation such as a divide by zero.": "SIGFPE",
    "Signal 'SIGSEGV' was raised due to an invalid memory access (segmentation fault).": "SIGSEGV",
    "Signal 'SIGTERM' was raised to terminate the program due to an unknown reason.": "SIGTERM",
}
# The line of a report, and what it is called; the first that matches. The rest is printed by libraries.
REPORTS = [
    (re.compile("Exception: The OpenGL driver has ended the check\\."), "driver ended"),
    (re.compile("Exception: .*"), "X error"),
    (re.compile("libGL error: .*|MESA.*: .*|Failed to create .* for shader cache .*"), "driver"),
    (re.compile("Assertion: .*|\tMessage: .*|Callstack:|\t\\[0\\]: .*"), "assertion"),
    # What the C library says before it aborts.
    (re.compile(r"(double free or corruption|free\(\): |malloc\(\): |munmap_chunk\(\): |realloc\(\): ).*"), "heap"),
    # Of a server that refuses the client, Xlib prints the reason that it gives.
    (re.compile(r"Xlib: .*|refused|why\0|\[xcb\] .*|.*/xcb_io\.c:\d+: .* failed\."), "Xlib"),
    (re.compile(".*(error while loading shared libraries: |cannot set %fs base address|Fatal glibc error: |"
                "cannot allocate TLS data structures).*|prlimit: failed to execute .*"), "loader"),
]
FAILED = b'{\n    "name": "Failed",\n    "code": 1,\n    "data": {\n        "version": false\n    }\n}\n'
UNSUPPORTED = re.compile(rb'{\n    "name": "Platform Unsupported",\n    "code": -1,\n    "data": {\n'
                         rb'        "version": "[^"\n]*"\n    }\n}\n')


@dataclass(frozen=True)
class End:
    """What can be seen of a run, in words."""

    document: str  # "right", "Failed", "Platform Unsupported", "none", "cut" or "wrong"
    end: str  # "its status", "status N", the name of a signal, or "hang"
    report: str  # What the lines of the standard error stream are, in alphabetical order; "silent" without any

    def __str__(self):
        return f"document: {self.document}; end: {self.end}; report: {self.report}"


def describe(result, right, option):
    """The end of a run; `right` is the result of the same option without a fault."""
    document = get_document(result.output, right.output, option)
    status = {"Failed": 1, "Platform Unsupported": 255}.get(document, right.status)
    if result.hangs:
        end = "hang"
    elif result.signal:
        end = get_signal_name(result.signal)
    else:
        end = "its status" if result.status == status else f"status {result.status}"
    return End(document, end, get_report(result.errors) if result.is_file_kept else "another file is changed")


def get_document(output, right, option):
    if output == right:
        return "right"
    if option == "-CheckOpenGL" and output == FAILED:
        return "Failed"
    if option == "-CheckOpenGL" and UNSUPPORTED.fullmatch(output):
        return "Platform Unsupported"
    if not output:
        return "none"
    return "cut" if right.startswith(output) else "wrong"


def name_line(line):
    if line == LOSS:
        return "loss"
    if line in SIGNALS:
        return SIGNALS[line]
    return next((name for pattern, name in REPORTS if pattern.fullmatch(line)), "other")


def get_report(errors):
    # strace tells when it loses its place with threads.
    lines = [line for line in errors.split("\n") if line and not line.startswith("strace: ")]
    names = [name_line(line) for line in lines]
    if names.count("loss") > 1:
        return "loss reported twice"
    return ", ".join(sorted(set(names))) or "silent"


@dataclass(frozen=True)
class Kind:
    """A kind of end that is allowed. Each condition is a regular expression for the whole of what it is about."""

    name: str
    reason: str
    document: str
    end: str = "its status"
    report: str = "silent"
    family: str = ".*"
    option: str = ".*"
    fault: str = ".*"
    case: str = ".*"

    def is_of(self, case, end):
        conditions = [(self.document, end.document), (self.end, end.end), (self.report, end.report),
                      (self.family, case.family), (self.option, case.option), (self.fault, case.fault),
                      (self.case, case.name)]
        return all(re.fullmatch(pattern, text, re.DOTALL) for pattern, text in conditions)


OPEN_GL = "-CheckOpenGL"
# Faults on which the X connection, which has a thread of its own, or loading a library or a driver depends.
CALLS = ("(brk|clone3|close|connect|fcntl|mmap|mprotect|newfstatat|openat|poll|pread64|read|recvfrom|recvmsg|sendmsg|"
         "sendto|socket|write|writev) .*")
RESOURCES = "descriptors|memory|processes|stack"
BREAKS = "close|silence|killed|stopped|garbage|one wrong byte"
SERVERS = f"an ill server|slow|{BREAKS}"

# What may be printed before a library ends the process.
LIBRARIES = "(SIGABRT|SIGSEGV|X error|Xlib|driver|heap)"

ENDED = ("The process of the check was ended by a library, or its message was lost. Xlib aborts at replies that fit no "
         "request, and Mesa frees memory wrongly where it lacks some.")
LOST_EARLY = "The connection broke before there was a window or context."
UNWRITTEN = "The output can't be written; the status tells the result."
NOT_STARTED = "The system's loader gave up before the program began; it says so, or crashes for lack of memory."
ASSERTED = "The signal came before there was an application, on which the report to the log asserts."

# The first that fits a run is its kind.
KINDS = [
    Kind("right", "The fault changes nothing that callers see.", "right"),
    Kind("right, connection lost", "The connection broke after the document was out.", "right", report="loss",
         option=OPEN_GL, fault=f"{CALLS}|{BREAKS}"),
    Kind("right, driver warns", "Mesa has no folder for its cache of shaders.", "right", report="driver",
         option=OPEN_GL, fault="mkdir .*"),
    Kind("Failed", "The X server is out of reach or not to be used, or its libraries can't be loaded.", "Failed",
         report="silent|Xlib", option=OPEN_GL, fault=f"{CALLS}|{RESOURCES}|{SERVERS}"),
    Kind("Failed, connection lost", LOST_EARLY, "Failed", report="loss", option=OPEN_GL, fault=f"{CALLS}|{SERVERS}"),
    Kind("Platform Unsupported", "The driver can't be loaded, or its context can't be made.", "Platform Unsupported",
         report="silent|(driver|X error)(, (driver|X error))*", option=OPEN_GL, fault=f"{CALLS}|{RESOURCES}"),
    Kind("Platform Unsupported, connection lost", LOST_EARLY, "Platform Unsupported", report="loss", option=OPEN_GL,
         fault=f"{CALLS}|{SERVERS}"),
    Kind("Platform Unsupported, check ended", ENDED, "Platform Unsupported",
         report=f"({LIBRARIES}, )*driver ended(, {LIBRARIES})*", option=OPEN_GL,
         fault=f"{CALLS}|memory|garbage|one wrong byte"),
    Kind("no document", UNWRITTEN, "none", fault="write (EIO|ENOSPC|EPIPE|0)|output closed|output refused"),
    # In -CheckOpenGL the second write of each process fails, so that of the check's message too.
    Kind("no document", UNWRITTEN, "none", "status 255", "driver ended", option=OPEN_GL,
         fault="write (EIO|ENOSPC|EPIPE|0)", case=".* at 2"),
    Kind("no document", UNWRITTEN, "none|cut", fault="file size"),
    # In -CheckOpenGL the first call of each thread fails, so that of the connection too.
    Kind("no document", UNWRITTEN, "none", "its status|status 1", fault="fcntl .*", case=".* at 1"),
    Kind("stack too small", "The system ends a process whose stack is used up.", "none", "SIGSEGV", fault="stack"),
    Kind("not started", NOT_STARTED, "none", "status 12[67]", "loader", "system calls|limits"),
    Kind("not started", NOT_STARTED, "none", "SIGSEGV", fault="mmap ENOMEM[+]?", case=".* at 1"),
    Kind("reported and asserted", ASSERTED, "none", "SIGSEGV", "SIGTERM, assertion", "reports"),
]


def get_kinds_of_reported(name):
    """What has to become of a signal for which the tool has a handler."""
    handled = "SIG(TERM|INT|SEGV|ILL|FPE|ABRT)"
    sent = f"(.* )?{name}( .*)?"
    reported = f"{name}(, {handled})*|({handled}, )+{name}(, {handled})*"
    unhandled = "It came before its handler was installed, or after that was removed."
    return [
        Kind("reported and aborted", "A signal is reported, and ends the process by SIGABRT.", "none|right", "SIGABRT",
             reported, "signals.*", fault=sent),
        Kind("reported and ended by a trap", "SIGABRT doesn't end process 1, so the C library ends it by a trap.",
             "none|right", "SIGSEGV", reported, "process 1", fault=sent),
        Kind("reported and asserted", ASSERTED, "none", "SIGSEGV", f"{name}(, assertion)?", "signals at system calls",
             fault=sent, case=".* at rt_sigaction .*"),
        Kind("ended by the signal", unhandled, "none|right", name, family="signals", fault=sent),
        Kind("ended by the signal", unhandled, "none|right", name, family="signals at system calls",
             fault=f"{name} without a handler"),
    ]


for signal_name in ["SIGTERM", "SIGINT", "SIGSEGV", "SIGILL", "SIGFPE", "SIGABRT"]:
    KINDS += get_kinds_of_reported(signal_name)
for signal_name in ["SIGHUP", "SIGQUIT", "SIGUSR1", "SIGALRM", "SIGKILL"]:
    KINDS.append(Kind("ended by the signal", "It is not handled, so the system ends the process.", "none|cut|right",
                      signal_name, family="signals.*|process 1", fault=f"(.* )?{signal_name}( .*)?"))
for signal_name in ["SIGPIPE", "SIGXFSZ"]:
    KINDS.append(Kind("ended by the signal", "It came before the tool ignored it.", "none", signal_name,
                      family="signals.*", fault=f"(.* )?{signal_name}( .*)?"))


def find_kind(case, end):
    return next((kind for kind in KINDS if kind.is_of(case, end)), None)
