#!/usr/bin/env python3
"""What a branch is compared with, by the checks of only what it changed, and what it changed.

As a program it prints the paths of all files that differ, new ones included, a NUL byte after each:
history.py [PATTERN ...], in git's patterns. Where there is nothing to compare with, all files count as new."""

import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]


def ask_git(root, *words):
    """What git prints; nothing if it fails."""
    result = subprocess.run(["git", "-C", root, *words], capture_output=True, text=True, check=False)
    return result.stdout if result.returncode == 0 else None


def find_start(root, base="main"):
    """The commit that files are compared with: the point where the branch left the base, or the first parent of HEAD,
    where HEAD is the base itself or no base is known. None where HEAD has no parent, as in a clone without its
    history."""
    def ask(*words):
        answer = ask_git(root, *words)
        return answer.strip() if answer is not None else None

    for candidate in (base, f"origin/{base}"):
        commit = ask("rev-parse", "--verify", "--quiet", f"{candidate}^{{commit}}")
        if commit is not None and commit == ask("rev-parse", "HEAD"):
            break
        start = ask("merge-base", "HEAD", candidate) if commit is not None else None
        if start is not None:
            return start
    return ask("rev-parse", "--verify", "--quiet", "HEAD^1")


def list_files(root, *words):
    """The paths that git prints. Raises if it fails, as nothing would be taken for no difference."""
    printed = ask_git(root, *words)
    if printed is None:
        raise RuntimeError(f"git {words[0]} fails in {root}.")
    return set(printed.split("\0")) - {""}


def get_changed(root, start, *patterns):
    """The files below the root that differ from a commit, those that git doesn't know included, and those that are gone
    left out; all of them, if the commit is None."""
    new = list_files(root, "ls-files", "--others", "--exclude-standard", "-z", "--", *patterns)
    if start is None:
        known = list_files(root, "ls-files", "-z", "--", *patterns)
        return sorted(new | known - list_files(root, "ls-files", "--deleted", "-z", "--", *patterns))
    return sorted(new | list_files(root, "diff", "--name-only", "--relative", "--diff-filter=d", "-z", start, "--",
                                   *patterns))


def main():
    try:
        names = get_changed(ROOT, find_start(ROOT), *sys.argv[1:])
    except RuntimeError as error:
        sys.exit(f"history.py: {error}")
    sys.stdout.write("".join(f"{name}\0" for name in names))


if __name__ == "__main__":
    main()
