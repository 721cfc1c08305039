#!/usr/bin/python3 -B
"""Runs Examples/Management/report-results against the tool: check_attribute.py PROJECT TOOL FOLDER.

To be started by Scripts/isolated, as the tool ends other processes of its name.
"""

import re
import subprocess
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "Support"))
from xserver import start_server

PROJECT, TOOL, FOLDER = Path(sys.argv[1]).resolve(), sys.argv[2], Path(sys.argv[3])
SCRIPT = (PROJECT / "Examples/Management/report-results").read_text()
UNSUPPORTED = "CheckBackgroundAutomation: Platform Unsupported (false); CheckHidOverUsb: Platform Unsupported (false)"
# By default the caller is no root here; `person` is a user.
IDENTITIES = 'case $* in -u) echo "${CALLER:-501}" ;; "-u person") echo 501 ;; "-u toor") echo 0 ;; *) exit 1 ;; esac'
# What the script starts on Linux. Each program that takes rights away notes that it was there.
LINUX = {
    "id": IDENTITIES,
    "getent": 'case $* in "passwd person") echo "person:x:501:501::$FOLDER:/bin/sh" ;; *) exit 2 ;; esac',
    "runuser": '[ "$1 $2 $3" = "-u person --" ] && shift 3 && echo runuser >>"$JOURNAL" && exec "$@"',
}
# The same on a Mac, where the console's user is PERSON.
MAC = {
    "uname": "echo Darwin",
    "stat": '[ "$*" = "-f %Su /dev/console" ] && echo "$PERSON"',
    "id": IDENTITIES,
    "launchctl": '[ "$1 $2" = "asuser 501" ] && shift 2 && echo launchctl >>"$JOURNAL" && exec "$@"',
    # Without -H it keeps the caller's HOME there.
    "sudo": """[ "$1" = -H ] && shift && HOME=$FOLDER
[ "$1 $2" = "-u person" ] && shift 2 && echo sudo >>"$JOURNAL" && exec "$@\"""",
    "plutil": '[ "$1 $3 $4 $5 $6" = "-extract raw -o - -" ] && jq -er ".$2 | tostring"',
}


def expect(condition, text):
    if not condition:
        sys.exit(f"check_attribute.py: {text}")


def write_program(path, text):
    path.write_text(f"#!/bin/sh\n{text}\n")
    path.chmod(0o755)
    return path


def report(tool=TOOL, system="linux", **environment):
    """What the script prints on that system, by the folder of its programs, which are found first."""
    script = FOLDER / "script"
    script.write_text(re.sub("^PATH=", f"PATH={FOLDER / system}:", SCRIPT, count=1, flags=re.MULTILINE))
    result = subprocess.run(
        ["sh", script],
        env={"HOME": str(FOLDER), "FOLDER": str(FOLDER), "TOVRA_TOOL": str(tool), **environment},
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
    for system, programs in {"linux": LINUX, "mac": MAC}.items():
        (FOLDER / system).mkdir()
        for name, text in programs.items():
            write_program(FOLDER / system / name, text)
    good = report(**display)
    expect(good.startswith("CheckOpenGL: Success (4.") and good.endswith(f"); {UNSUPPORTED}"), good)
    expect(report(DISPLAY=":7777") == f"CheckOpenGL: Failed (false); {UNSUPPORTED}", "without a display")
    expect(report(FOLDER / "nothing") == "Not installed", "without the tool")
    killed = write_program(FOLDER / "killed", "kill -9 $$")
    expect(report(killed).startswith("CheckOpenGL: no result, status 137; "), "of a tool that is killed")
    odd = write_program(FOLDER / "odd", r"""printf %s '{"name": "<&>", "data": {"version": "a\nb", "value": true}}'""")
    expect(report(odd).startswith("CheckOpenGL: &lt;&amp;&gt; (a b); CheckBackground"), report(odd))

    journal = FOLDER / "journal"
    for system, programs in {"linux": ["runuser"], "mac": ["launchctl", "sudo"]}.items():
        people = {"PERSON": "person", "TOVRA_USER": "person"}
        surroundings = {**display, **people, "system": system, "JOURNAL": str(journal)}
        expect(report(**surroundings) == good, f"{system}, as a user")
        expect(not journal.exists(), f"{system}: a user's own start needs nobody's rights")
        printed = report(**surroundings, CALLER="0")
        expect(printed == good, f"{system}, as root: {printed}")
        expect(journal.read_text().split() == programs * 3, f"{system}: each check is made as the user")
        journal.unlink()
    root = {**display, "JOURNAL": str(journal), "CALLER": "0"}
    home = write_program(FOLDER / "home", """printf '{"name": "%s"}' "$HOME" """)
    for system in ("linux", "mac"):
        printed = report(home, system, **root, TOVRA_USER="person", PERSON="person", HOME="/root")
        expect(printed.startswith(f"CheckOpenGL: {FOLDER} "), f"{system}, as root for a user with a home: {printed}")
        journal.unlink()
    for person in ("root", "loginwindow", "_mbsetupuser", ""):
        printed = report(**root, system="mac", PERSON=person)
        expect(printed == "Nobody is logged in", f"on a Mac where the console is {person}'s: {printed}")
    for user, text in {"": "TOVRA_USER is not set", "other": "other is no user", "toor": "toor is root"}.items():
        printed = report(**root, TOVRA_USER=user)
        expect(printed == text, f"as root for {user}: {printed}")
    expect(not journal.exists(), "a check is made as root")


def check_document():
    """The line in Documentation/Places.md is one that the script prints, but for the driver's version."""
    text = (PROJECT / "Documentation/Places.md").read_text()
    lines = re.findall("^<result>(.*)</result>$", text, re.MULTILINE)
    pattern = r"CheckOpenGL: Success \(4\.[^)]*\); " + re.escape(UNSUPPORTED)
    expect(len(lines) == 1 and re.fullmatch(pattern, lines[0]), f"Places.md has {lines}")


def main():
    FOLDER.mkdir()
    check_document()
    with start_server(FOLDER) as display:
        check(display)


main()
