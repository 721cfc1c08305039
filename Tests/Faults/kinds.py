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
    (re.compile("Exception: The OpenGL driver gave no result\\."), "driver ended"),
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

    def is_of(self, case, fault, end):
        conditions = [(self.document, end.document), (self.end, end.end), (self.report, end.report),
                      (self.family, case.family), (self.option, case.option), (self.fault, fault),
                      (self.case, case.name)]
        return all(re.fullmatch(pattern, text, re.DOTALL) for pattern, text in conditions)


OPEN_GL = "-CheckOpenGL"
# The process of the check, and all of its threads.
CHECK = " in the check('s threads)?"
# Faults on which the X connection, which has a thread of its own, or loading a library or a driver depends.
CALLS = ("(brk|clone3|close|connect|fcntl|mmap|mprotect|newfstatat|openat|poll|pread64|read|recvfrom|recvmsg|sendmsg|"
         f"sendto|socket|write|writev) .*{CHECK}")
RESOURCES = "descriptors|memory|processes|stack"
BREAKS = "close|silence|killed|stopped|garbage|one wrong byte"
SERVERS = f"an ill server|slow|{BREAKS}"

# What may be printed before a library ends the process.
LIBRARIES = "(SIGABRT|SIGSEGV|X error|Xlib|driver|heap)"

# Signals: what becomes of a signal follows its name, where the tool has a handler for it at times.
REPORTED = ["SIGTERM", "SIGINT", "SIGSEGV", "SIGILL", "SIGFPE", "SIGABRT"]
ENDING = ["SIGHUP", "SIGQUIT", "SIGUSR1", "SIGALRM", "SIGKILL"]
IGNORED = ["SIGPIPE", "SIGXFSZ"]
HARMLESS = "(SIG(PIPE|XFSZ|CHLD|WINCH|CONT|STOP)|SIG[A-Z]+ ignored)"
HELD_BACK = f"({HARMLESS}|SIG(INT|TERM) blocked)"
# What the system gives to no process 1.
WITHHELD = f"({HARMLESS}|{'|'.join(ENDING)}|SIG[A-Z]+ without a handler)"


def among(signal):
    """Faults that are this signal, alone or with others, in the tool's first process."""
    return f"(.* and )?{signal}( blocked)?( and .*)?(?<!in the check)"


def in_check(signal):
    """Likewise, in the check's process. The driver blocks all signals at times, so that they come a little later."""
    return f"(.* and )?{signal}( blocked)?( and .*)?{CHECK}"


NO_EFFECT = "The fault changes nothing that callers see."
ENDED = ("The process of the check was ended by a library, or its message was lost. Xlib aborts at replies that fit no "
         "request, and Mesa frees memory wrongly where it lacks some.")
LOST_EARLY = "The connection broke before there was a window or context."
UNWRITTEN = "The output can't be written; the status tells the result."
NOT_STARTED = "The system's loader gave up before the program began; it says so, or crashes for lack of memory."
ASSERTED = "The signal came just before there was an application or after that, where the report to the log asserts."

# Instead of the kind's name where the fault was not met. Such a run must be right.
NOT_MET = "fault not met"
NOT_MET_REASON = "The run was over before the signal came, or its threads made fewer calls than before."

# The first that fits a run is its kind.
KINDS = [
    Kind("right", NO_EFFECT, "right", fault=""),
    Kind("right", NO_EFFECT, "right", family="(?!signals|process 1$|reports$).*"),
    Kind("right", NO_EFFECT, "right", family="signals.*", fault=f"{HARMLESS}( and {HARMLESS})*"),
    # The check's process begins with SIGINT and SIGTERM blocked, and ignores them then.
    Kind("right", NO_EFFECT, "right", family="signals.*", fault=f"{HELD_BACK}( and {HELD_BACK})*{CHECK}"),
    Kind("right", NO_EFFECT, "right", family="process 1", fault=f"{WITHHELD}( and {WITHHELD})*"),
    Kind("right, connection lost", "The connection broke after the document was out.", "right", report="loss",
         option=OPEN_GL, fault=f"{CALLS}|{BREAKS}"),
    Kind("right, driver warns", "Mesa has no folder for its cache of shaders.", "right", report="driver",
         option=OPEN_GL, fault=f"mkdir .*{CHECK}"),
    Kind("Failed", "The X server can't be reached or used, or its libraries can't be loaded.", "Failed",
         report="silent|Xlib", option=OPEN_GL, fault=f"{CALLS}|{RESOURCES}|{SERVERS}"),
    Kind("Failed, connection lost", LOST_EARLY, "Failed", report="loss", option=OPEN_GL, fault=f"{CALLS}|{SERVERS}"),
    Kind("Platform Unsupported", "The driver can't be loaded, or its context can't be made.", "Platform Unsupported",
         report="silent|(driver|X error)(, (driver|X error))*", option=OPEN_GL, fault=f"{CALLS}|{RESOURCES}"),
    Kind("Platform Unsupported, connection lost", LOST_EARLY, "Platform Unsupported", report="loss", option=OPEN_GL,
         fault=f"{CALLS}|{SERVERS}"),
    Kind("Platform Unsupported, check ended", ENDED, "Platform Unsupported",
         report=f"({LIBRARIES}, )*driver ended(, {LIBRARIES})*", option=OPEN_GL,
         fault=f"{CALLS}|memory|garbage|one wrong byte"),
    Kind("Platform Unsupported, thread ended", "The C library ends a process whose thread it can't set up.",
         "Platform Unsupported", report="SIGABRT, driver ended, loader", option=OPEN_GL, fault=f"rseq .*{CHECK}"),
    Kind("Platform Unsupported, message lost", "The message of the check's process can't be read.",
         "Platform Unsupported", report="driver ended", option=OPEN_GL, fault="read (EIO|EIO[+]|0)"),
    Kind("no document", UNWRITTEN, "none", fault="write (EIO|ENOSPC|EPIPE|0)|output closed|output refused"),
    Kind("no document", UNWRITTEN, "none|cut", fault="file size"),
    Kind("no streams", "A standard stream seems to be closed; the tool ends before something else takes its number.",
         "none", "status 1", fault="fcntl E[A-Z]+", case=".* fcntl E[A-Z]+ at [123]"),
    Kind("stack too small", "The system ends a process whose stack is used up.", "none", "SIGSEGV", fault="stack"),
    Kind("not started", NOT_STARTED, "none", "status 12[67]", "loader", "system calls|limits"),
    Kind("not started", NOT_STARTED, "none", "SIGSEGV", fault="mmap ENOMEM[+]?", case=".* at 1"),
    Kind("reported and asserted", ASSERTED, "none", "SIGSEGV", "SIGTERM, assertion", "reports"),
]


def get_kinds_of_reported(name):
    """What has to become of a signal for which the tool has a handler."""
    handled = "SIG(TERM|INT|SEGV|ILL|FPE|ABRT)"
    reported = f"({handled}, )*{name}(, {handled})*"
    unhandled = "It came before its handler was installed, or after that was removed."
    return [
        Kind("reported and aborted", "A signal is reported, and ends the process by SIGABRT.", "none|right", "SIGABRT",
             reported, "signals.*", fault=among(name)),
        Kind("reported and ended by a trap", "SIGABRT doesn't end process 1, so the C library ends it by a trap.",
             "none|right", "SIGSEGV", reported, "process 1", fault=among(name)),
        Kind("reported and asserted", ASSERTED, "none|right", "SIGSEGV", f"{name}(, assertion)?",
             "signals at system calls", fault=name, case=".* at (rt_sigaction|brk) .*"),
        Kind("reported and asserted", ASSERTED, "none|right", "SIGSEGV", f"{reported}(, assertion)?",
             "signals|process 1", fault=among(name)),
        Kind("ended by the signal", unhandled, "none|right", name, family="signals.*",
             fault=among(f"{name} without a handler")),
        Kind("reported, then ended by the signal", "A second signal came when its handler was removed already.",
             "none|right", name, f"{handled}(, {handled})*", "signals",
             fault=f"SIG[A-Z]+ and {name} without a handler"),
        Kind("check reported and aborted", "A signal is reported, and ends the check's process by SIGABRT.",
             "Platform Unsupported", report=f"{reported}, driver ended", family="signals.*", fault=in_check(name)),
        Kind("right, check reported", "A signal came after the check had sent its message.", "right", report=reported,
             family="signals.*", fault=in_check(name)),
    ]


for signal_name in REPORTED:
    KINDS += get_kinds_of_reported(signal_name)
for signal_name in ENDING:
    KINDS += [
        Kind("ended by the signal", "It is not handled, so the system ends the process.", "none|cut|right",
             signal_name, family="signals.*", fault=among(signal_name)),
        Kind("ended as the check", "The tool ends by the signal that someone sent to the check.", "none", signal_name,
             family="signals", fault=f"(.* and )?{signal_name}( and .*)?{CHECK}"),
        Kind("right, check ended", "A signal came after the check had sent its message.", "right", family="signals",
             fault=f"(.* and )?{signal_name}( and .*)?{CHECK}"),
    ]
for signal_name in IGNORED:
    KINDS.append(Kind("ended by the signal", "It came before the tool ignored it.", "none", signal_name,
                      family="signals.*", fault=among(signal_name)))


def find_kind(case, fault, end):
    return next((kind for kind in KINDS if kind.is_of(case, fault, end)), None)
