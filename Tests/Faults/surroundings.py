"""Surroundings that a machine or its user can give the tool: limits, homes, schemas, folders, streams, users."""

import itertools

from runs import Case

WITHOUT_DEVICES = "mount -t tmpfs none /dev"

LIMITS = {
    "descriptors": [["prlimit", f"--nofile={count}"] for count in [*range(0, 24), 32, 64]],
    "memory": [["prlimit", f"--as={size * 1024 * 1024}"] for size in [*range(4, 64, 2), *range(64, 400, 8)]],
    "file size": [["prlimit", f"--fsize={size}"] for size in [0, 1, 50, 98, 500, 4096]],
    "stack": [["prlimit", f"--stack={size * 1024}"] for size in [4, 8, 16, 32, 64, 128, 256, 1024]],
    "locked memory": [["prlimit", "--memlock=0"]],
    "signals in a queue": [["prlimit", "--sigpending=0"]],
    "one processor": [["taskset", "--cpu-list", "0"]],
}

# Shell lines that make the home folder "$home/h" what it is called here.
HOMES = {
    "missing": ":",
    "a file": 'echo text >"$home/h"',
    "without rights": 'mkdir -m 0 "$home/h"',
    "read-only": 'mkdir "$home/h"; mount -t tmpfs -o ro none "$home/h"',
    "full": 'mkdir "$home/h"; mount -t tmpfs -o size=4k,nr_inodes=1 none "$home/h"',
    "full but for a folder": 'mkdir "$home/h"; mount -t tmpfs -o size=4k,nr_inodes=2 none "$home/h"',
    "a FIFO": 'mkfifo "$home/h"',
    "a link": 'mkdir "$home/real"; ln -s real "$home/h"',
    "a link to nothing": 'ln -s nothing "$home/h"',
    "a link to itself": 'ln -s h "$home/h"',
    "a device": 'ln -s /dev/zero "$home/h"',
    "a folder of the kernel": 'ln -s /proc/self "$home/h"',
    "with a file as .tovra": 'mkdir "$home/h"; : >"$home/h/.tovra"',
    "with a FIFO as .tovra": 'mkdir "$home/h"; mkfifo "$home/h/.tovra"',
    "with a link to nothing as .tovra": 'mkdir "$home/h"; ln -s nothing "$home/h/.tovra"',
    "with a link to itself as .tovra": 'mkdir "$home/h"; ln -s .tovra "$home/h/.tovra"',
    "without rights to .tovra": 'mkdir -p "$home/h/.tovra"; chmod 0 "$home/h/.tovra"',
    "with a file as Logs": 'mkdir -p "$home/h/.tovra"; : >"$home/h/.tovra/Logs"',
    "with a FIFO as Logs": 'mkdir -p "$home/h/.tovra"; mkfifo "$home/h/.tovra/Logs"',
    "with a link to nothing as Logs": 'mkdir -p "$home/h/.tovra"; ln -s nothing "$home/h/.tovra/Logs"',
    "with a link to / as Logs": 'mkdir -p "$home/h/.tovra"; ln -s / "$home/h/.tovra/Logs"',
    "without rights to Logs": 'mkdir -p "$home/h/.tovra/Logs"; chmod 0 "$home/h/.tovra/Logs"',
    "with a full Logs": 'mkdir -p "$home/h/.tovra/Logs"; mount -t tmpfs -o ro,size=4k none "$home/h/.tovra/Logs"',
}

# Values of HOME.
HOME_VALUES = {"unset": "$unset", "empty": "", "relative": "here", "of the kernel": "/proc", "a blank": "$home/a b",
               "letters beyond ASCII": "$home/Größe", "quotes": "$home/it's \"quoted\"", "a line end": "$home/a\nb",
               "no UTF-8": "$home/\udcff\udcfe", "a percent sign": "$home/%s%n", "dots": "$home/..",
               "a slash": "$home/", "long": "$home/" + "x" * 255, "too long": "$home/" + "x" * 5000,
               "very long": "/" + "x" * 100000}

# Shell lines that spoil the only schema, "$schema", of which there is a copy for each run.
SCHEMAS = {
    "missing": 'rm "$schema"',
    "missing with its folder": 'rm -r "${schema%/*}"',
    "empty": ': >"$schema"',
    "no JSON": 'echo "{" >"$schema"',
    "cut": 'truncate --size=2000 "$schema"',
    "random": 'python3 -c "import random, sys; sys.stdout.buffer.write(random.Random(sys.argv[1]).randbytes(100000))" '
              '"$seed" >"$schema"',
    "of zeros": 'truncate --size=100000 "$schema"; truncate --size=0 "$schema"; truncate --size=100000 "$schema"',
    "huge": 'truncate --size=4G "$schema"',
    "huge and valid at first": 'truncate --size=0 "$schema"; for i in 1 2 3 4 5 6 7 8; do head -c 1000000 /dev/zero | '
                               'tr "\\0" " " >>"$schema"; done; echo "{}" >>"$schema"',
    "deep": 'head -c 200000 /dev/zero | tr "\\0" "[" >"$schema"',
    "deep in objects": 'for i in $(seq 9000); do printf \'{"not":\'; done >"$schema"',
    "that applies itself": 'echo \'{"$ref": "#"}\' >"$schema"',
    "of a dear pattern": 'echo \'{"pattern": "(a*)*(b|a{9999}){9999}"}\' >"$schema"',
    "no object": 'echo "[1, null]" >"$schema"',
    "no UTF-8": 'printf \'{"title": "\\377\\376"}\' >"$schema"',
    "with a byte-order mark": 'printf \'\\357\\273\\277{}\' >"$schema"',
    "a folder": 'rm "$schema"; mkdir "$schema"',
    "a FIFO": 'rm "$schema"; mkfifo "$schema"',
    "a FIFO that is written to": 'rm "$schema"; mkfifo "$schema"; (cat /dev/zero >"$schema" 2>/dev/null &)',
    "a link to itself": 'ln -sf "${schema##*/}" "$schema"',
    "a link to a device without end": 'ln -sf /dev/zero "$schema"',
    "a link to a silent terminal": 'ln -sf /dev/ptmx "$schema"',
    "a link to a file of the kernel": 'ln -sf /proc/self/maps "$schema"',
    "a link to a memory of the kernel": 'ln -sf /proc/self/mem "$schema"',
    "without rights": 'chmod 0 "$schema"',
    "a socket": 'rm "$schema"; python3 -c "import socket, sys; socket.socket(socket.AF_UNIX).bind(sys.argv[1])" '
                '"$schema" 2>/dev/null || rm -f "$schema"',
}

FOLDERS = {"a blank": "a b", "letters beyond ASCII": "Größe 日本", "quotes": "it's \"quoted\"", "a line end": "a\nb",
           "no UTF-8": "\udcff\udcfe", "a percent sign": "%s%n%d", "a backslash": "a\\b", "a dash": "-rf",
           "a star": "*", "a variable": "$(exit)", "deleted": "a (deleted)", "a colon": "a:b", "dots": "...",
           "an escape": "\x1b[31m", "long": "/".join(["x" * 200] * 15)}


def get_schema_prelude(lines):
    return 'schema=$(ls -d "${tool%/*}/Schemas/"*.json)\n' + lines


def get_limit_cases(options, rights):
    for option in options:
        for name, commands in LIMITS.items():
            for command in commands:
                yield option, Case("limits", f"{option}: {name}, {command[-1]}", option, fault=name, prefix=command)
        yield option, Case("limits", f"{option}: processes", option, fault="processes",
                           prefix=[*rights.get_unprivileged(), "prlimit", "--nproc=1"],
                           prelude=rights.get_handover())


def get_stream_cases(options):
    for option, streams in itertools.product(options, itertools.product(["", "<&-"], ["", ">&-"], ["", "2>&-"])):
        redirections = " ".join(streams)
        fault = "output closed" if ">&-" in streams else "streams closed"
        yield option, Case("streams", f"{option} {redirections}", option, fault=fault, redirections=redirections)
        yield option, Case("streams", f"{option} {redirections} without devices", option, fault=fault,
                           prelude=WITHOUT_DEVICES, redirections=redirections)
    for option in options:
        for target in ["/dev/full", "/proc/self/mem", "/proc/self/comm"]:
            yield option, Case("streams", f"{option} >{target}", option, fault="output refused",
                               redirections=f">{target}")


def get_home_cases(options, rights):
    for option in options:
        for name, lines in HOMES.items():
            yield option, Case("homes", f"{option}: {name}", option, prelude=lines, home="$home/h", fault="home")
            yield option, Case("homes", f"{option}: {name}, without rights", option, fault="home",
                               prelude=f"{rights.get_handover()}\n{lines}", home="$home/h",
                               prefix=rights.get_unprivileged())
        for name, value in HOME_VALUES.items():
            yield option, Case("homes", f"{option}: {name}", option, environment={"HOME": value}, fault="home")


def get_schema_cases(options, rights, seed):
    for option in options:
        for name, lines in SCHEMAS.items():
            yield option, Case("schemas", f"{option}: {name}", option, folder="bin", fault="schema",
                               prelude=get_schema_prelude(lines), environment={"seed": str(seed)})
        yield option, Case("schemas", f"{option}: without rights, as a user", option, folder="bin", fault="schema",
                           prelude=rights.get_handover() + "\n" + get_schema_prelude('chmod 0 "$schema"'),
                           prefix=rights.get_unprivileged())


def get_folder_cases(options):
    for option in options:
        for name, folder in FOLDERS.items():
            yield option, Case("folders", f"{option}: {name}", option, folder=folder, fault="folder")
        yield option, Case("folders", f"{option}: removed after the start", option, folder="bin", fault="folder",
                           prelude='mkdir "$home/gone"; cd "$home/gone"; rmdir "$home/gone"')


def get_user_cases(options, rights):
    for option in options:
        yield option, Case("users", f"{option}: without rights", option, fault="user", prelude=rights.get_handover(),
                           prefix=rights.get_unprivileged())
        yield option, Case("users", f"{option}: as process 1", option, fault="process 1", is_process_one=True)
        yield option, Case("users", f"{option}: without rights, as process 1", option, fault="process 1",
                           is_process_one=True, prelude=rights.get_handover(), prefix=rights.get_unprivileged())


def get_cases(runner, seed, options, rights):
    for option, case in itertools.chain(
            get_limit_cases(options, rights), get_stream_cases(options), get_home_cases(options, rights),
            get_schema_cases(options, rights, seed), get_folder_cases(options), get_user_cases(options, rights)):
        case.display = runner.display if option == "-CheckOpenGL" else ""
        yield case
