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


def complete_in_bash(word):
    script = 'source "$1"; COMP_WORDS=(x "$2"); COMP_CWORD=1; "$3"; printf "%s\\n" "${COMPREPLY[@]}"'
    command = ["bash", "-c", script, "bash", SHARE / "bash-completion/completions" / TOOL, word, "_" + TOOL]
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout.split()


def complete_in_zsh(word, expected):
    """Types the word and the tab key into a terminal; true once it shows what is expected."""
    child, terminal = pty.fork()
    if child == 0:
        os.execvpe("zsh", ["zsh", "-f", "-i"], {"PATH": os.environ["PATH"], "TERM": "dumb", "HOME": "/nonexistent"})
    folder = next((SHARE / "zsh").iterdir())
    os.write(terminal, f"fpath=('{folder}' $fpath); autoload -Uz compinit; compinit -uD; print READY$((1+1))\n".encode())
    shown = ""
    typed = False
    deadline = time.monotonic() + 60
    while time.monotonic() < deadline and expected not in shown.replace(f"{TOOL} {word}", ""):
        if select.select([terminal], [], [], 1)[0]:
            shown += os.read(terminal, 4096).decode(errors="replace")
        if not typed and "READY2" in shown:
            typed = True
            shown = ""
            os.write(terminal, f"{TOOL} {word}\t".encode())
    os.close(terminal)
    os.waitpid(child, 0)
    return expected in shown


def expect(condition, text):
    if not condition:
        sys.exit(f"check_completions.py: {text}")


every = complete_in_bash("-")
expect(len(every) == 28 and "-Help" in every and "-h" in every, f"bash offers {every}")
expect(complete_in_bash("-CheckO") == ["-CheckOpenGL"], "bash completes -CheckO")
expect(complete_in_bash("--CheckO") == ["--CheckOpenGL"], "bash completes --CheckO")
expect(complete_in_bash("-x") == [], "bash offers nothing for -x")
expect(complete_in_zsh("-CheckO", "penGL"), "zsh completes -CheckO")
