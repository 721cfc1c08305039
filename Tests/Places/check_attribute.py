#!/usr/bin/env python3
"""Runs Examples/Management/report-results against the tool: check_attribute.py PROJECT TOOL FOLDER.

To be started by Scripts/isolated, as the tool ends other processes of its name.
"""

import subprocess
import sys
from pathlib import Path

from xserver import start_server

PROJECT, TOOL, FOLDER = Path(sys.argv[1]).resolve(), sys.argv[2], Path(sys.argv[3])
SCRIPT = (PROJECT / "Examples/Management/report-results").read_text()
UNSUPPORTED = "CheckBackgroundAutomation: Platform Unsupported (false); CheckHidOverUsb: Platform Unsupported (false)"
# What the script starts on a Mac: the console's user is `person`, and each program notes that it was there.
MAC = {
    "uname": "echo Darwin",
    "stat": '[ "$*" = "-f %Su /dev/console" ] && echo "$PERSON"',
    "id": 'case $* in -u) echo "${CALLER:-0}" ;; "-u person") echo 501 ;; *) exit 1 ;; esac',
    "launchctl": '[ "$1 $2" = "asuser 501" ] && shift 2 && echo launchctl >>"$JOURNAL" && exec "$@"',
    "sudo": '[ "$1 $2" = "-u person" ] && shift 2 && echo sudo >>"$JOURNAL" && exec "$@"',
    "plutil": '[ "$1 $3 $4 $5 $6" = "-extract raw -o - -" ] && jq -er ".$2 | tostring"',
}


def expect(condition, text):
    if not condition:
        sys.exit(f"check_attribute.py: {text}")


def write_program(path, text):
    path.write_text(f"#!/bin/sh\n{text}\n")
    path.chmod(0o755)
    return path


def report(tool=TOOL, programs=None, **environment):
    """What the script prints; with a folder of programs, those are found first."""
    script = FOLDER / "script"
    script.write_text(SCRIPT if programs is None else SCRIPT.replace("PATH=", f"PATH={programs}:", 1))
    result = subprocess.run(
        ["sh", script],
        env={"HOME": str(FOLDER), "TOVRA_TOOL": str(tool), **environment},
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
        check=False,
    )
    text = result.stdout
    expect(result.returncode == 0 and result.stderr == "", f"status {result.returncode}, errors {result.stderr}")
    expect(text.startswith("<result>") and text.endswith("</result>\n") and text.count("\n") == 1, f"printed {text}")
    return text[len("<result>") : -len("</result>\n")]


def check(display):
    good = report(**display)
    expect(good.startswith("CheckOpenGL: Success (4.") and good.endswith(f"); {UNSUPPORTED}"), good)
    expect(report(DISPLAY=":7777") == f"CheckOpenGL: Failed (false); {UNSUPPORTED}", "without a display")
    expect(report(FOLDER / "nothing") == "Not installed", "without the tool")
    killed = write_program(FOLDER / "killed", "kill -9 $$")
    expect(report(killed).startswith("CheckOpenGL: no result, status 137; "), "of a tool that is killed")
    odd = write_program(FOLDER / "odd", r"""printf %s '{"name": "<&>", "data": {"version": "a\nb", "value": true}}'""")
    expect(report(odd).startswith("CheckOpenGL: &lt;&amp;&gt; (a b); CheckBackground"), report(odd))

    mac = FOLDER / "mac"
    mac.mkdir()
    for name, text in MAC.items():
        write_program(mac / name, text)
    journal = FOLDER / "journal"
    surroundings = {**display, "programs": mac, "JOURNAL": str(journal), "PERSON": "person"}
    expect(report(**surroundings) == good, f"on a Mac: {report(**surroundings)}")
    expect(journal.read_text().split() == ["launchctl", "sudo"] * 6, "each check is made as the console's user")
    journal.unlink()
    expect(report(**surroundings, CALLER="501") == good, "on a Mac, as that user")
    expect(not journal.exists(), "a user's own start needs nobody's rights")
    expect(report(**{**surroundings, "PERSON": "root"}) == "Nobody is logged in", "on a Mac where nobody is logged in")


def main():
    FOLDER.mkdir()
    with start_server(FOLDER) as display:
        check(display)


main()
