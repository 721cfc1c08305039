"""What a branch is compared with, by the checks of only what it changed."""

import subprocess


def ask_git(root, *words):
    """What git prints; nothing if it fails."""
    result = subprocess.run(["git", "-C", root, *words], capture_output=True, text=True, check=False)
    return result.stdout if result.returncode == 0 else None


def find_start(root, base="main"):
    """The commit that files are compared with: the point where the branch left the base, or the first parent of HEAD, where
    HEAD is the base itself or no base is known. None where HEAD has no parent, as in a clone without its history."""
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
