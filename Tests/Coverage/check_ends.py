#!/usr/bin/python3 -B
"""Checks that a line counts however its process ends: check_ends.py <probe> <twin> <folder>.

Each run of the probe has to add one to the count of the line that ends it, and those of the twin none. Their profiles
are in the folder.
"""

import os
import re
import resource
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))

import measure

PROBE, TWIN, FOLDER = (Path(argument).resolve() for argument in sys.argv[1:])
SOURCE = Path(__file__).resolve().with_name("Probe.cpp")


def count():
    """How often each end was reached."""
    account, _ = measure.make_accounts([PROBE, TWIN], FOLDER / "Profiles", SOURCE.parent)
    segments = next(file["segments"] for file in account["data"][0]["files"] if file["filename"].endswith("Probe.cpp"))
    lines = measure.read_lines(segments)
    marks = [re.search(r"/\* end (\w+) \*/", line) for line in SOURCE.read_text(encoding="utf-8").splitlines()]
    return {mark[1]: lines[number] for number, mark in enumerate(marks, 1) if mark}


def become_nobody():
    if os.geteuid() == 0:
        os.setgroups([])
        os.setgid(65534)
        os.setuid(65534)


def limit_files():
    resource.setrlimit(resource.RLIMIT_FSIZE, (0, 0))


def run(way, program=PROBE, prepare=None, **variables):
    subprocess.run([program, way], env=variables, preexec_fn=prepare, check=False)


def main():
    subprocess.run([SOURCE.with_name("prepare"), FOLDER], check=True)
    # The first one makes the file, to which the others add.
    run("exit", prepare=lambda: os.umask(0o077))
    for way in ("exit", "kill", "abort", "fault", "child", "return"):
        run(way)
    run("return", TOVRA_END_EARLY="1")
    run("exit", prepare=become_nobody)
    run("kill", prepare=limit_files)
    with tempfile.TemporaryDirectory() as folder:
        run("abort", program=shutil.copy(PROBE, Path(folder) / "Another name"))
    run("twin", program=TWIN)
    expected = {"early": 1, "twin": 0, "exit": 3, "kill": 2, "abort": 2, "fault": 1, "child": 1, "return": 2}
    if count() != expected:
        sys.exit(f"check_ends.py: the ends were counted {count()} times, and happened {expected} times")


if __name__ == "__main__":
    main()
