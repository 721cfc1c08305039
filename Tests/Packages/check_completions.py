#!/usr/bin/env python3
"""Tries the installed completions in their shells: check_completions.py PREFIX."""

import os
import pty
import select
import subprocess
import sys
import time
from pathlib import Path

SHARE = Path(sys.argv[1]) / "share"
TOOL = "TovraFieldhostSetupTool"
DIAGNOSE = "TovraFieldhostDiagnose"


def complete_in_bash(program, *words):
    """What is offered for the last of the words, by the function that is registered for the program."""
    # As in the bash of macOS, 3.2, these are missing.
    script = """
enable -n mapfile readarray
source "$1"
registered=$(complete -p "$2") || exit
[[ $registered =~ ^complete\\ -F\\ ([A-Za-z_]+)\\  ]] || exit
function=${BASH_REMATCH[1]}
COMP_WORDS=("${@:2}")
COMP_CWORD=$(($# - 2))
"$function" "$2"
printf '%s\\n' "${COMPREPLY[@]}"
"""
    command = ["bash", "-c", script, "bash", SHARE / "bash-completion/completions" / program, program, *words]
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout.split()


def complete_in_zsh(program, word, expected):
    """Types the program, the word and the tab key into a terminal; true once it shows what is expected."""
    child, terminal = pty.fork()
    if child == 0:
        os.execvpe("zsh", ["zsh", "-f", "-i"], {"PATH": os.environ["PATH"], "TERM": "dumb", "HOME": "/nonexistent"})
    folder = next((SHARE / "zsh").iterdir())
    commands = f"fpath=('{folder}' $fpath); autoload -Uz compinit; compinit -uD; print READY$((1+1))\n"
    os.write(terminal, commands.encode())
    shown = ""
    typed = False
    deadline = time.monotonic() + 60
    while time.monotonic() < deadline and expected not in shown.replace(f"{program} {word}", ""):
        if select.select([terminal], [], [], 1)[0]:
            shown += os.read(terminal, 4096).decode(errors="replace")
        if not typed and "READY2" in shown:
            typed = True
            shown = ""
            os.write(terminal, f"{program} {word}\t".encode())
    os.close(terminal)
    os.waitpid(child, 0)
    return expected in shown


def expect(condition, text):
    if not condition:
        sys.exit(f"check_completions.py: {text}")


every = complete_in_bash(TOOL, "-")
expect(len(every) == 28 and "-Help" in every and "-h" in every, f"bash offers {every}")
expect(complete_in_bash(TOOL, "-CheckO") == ["-CheckOpenGL"], "bash completes -CheckO")
expect(complete_in_bash(TOOL, "--CheckO") == ["--CheckOpenGL"], "bash completes --CheckO")
expect(complete_in_bash(TOOL, "-x") == [], "bash offers nothing for -x")
expect(complete_in_bash(TOOL, "-Help", "-CheckO") == ["-CheckOpenGL"], "bash completes a second option")
expect(complete_in_zsh(TOOL, "-CheckO", "penGL"), "zsh completes -CheckO")
expect(complete_in_zsh(TOOL, "--CheckO", "penGL"), "zsh completes --CheckO")

every = complete_in_bash(DIAGNOSE, "-")
expect(every == ["-text", "-t", "-patience", "-p", "-help", "-h"], f"bash offers {every}")
expect(complete_in_bash(DIAGNOSE, "--pa") == ["--patience"], "bash completes --pa")
expect(complete_in_bash(DIAGNOSE, "-text", "-pa") == ["-patience"], "bash completes -pa behind -text")
for patience in ("-patience", "--patience", "-p", "--p"):
    expect(complete_in_bash(DIAGNOSE, patience, "") == [], f"bash offers nothing behind {patience}")
expect(complete_in_zsh(DIAGNOSE, "-pat", "ience"), "zsh completes -pat")
expect(complete_in_zsh(DIAGNOSE, "--pat", "ience"), "zsh completes --pat")
expect(complete_in_zsh(DIAGNOSE, "-text -pat", "ience"), "zsh completes -pat behind -text")
