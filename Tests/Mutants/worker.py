#!/usr/bin/python3 -B
"""Runs tests in process and mount namespaces of its own, as their first process, so that a changed program ends no
process outside and leaves nothing behind: a request in JSON a line, an answer a line."""

import json
import os
import pathlib
import resource
import shutil
import signal
import subprocess
import sys
import time

TEMPORARY = pathlib.Path(sys.argv[1])
LIMITS = {
    resource.RLIMIT_CORE: 0,
    resource.RLIMIT_DATA: 4 << 30,
}


def limit():
    for kind, most in LIMITS.items():
        resource.setrlimit(kind, (most, most))


def clean():
    for path in TEMPORARY.iterdir():
        if path.is_dir() and not path.is_symlink():
            shutil.rmtree(path, ignore_errors=True)
        else:
            path.unlink(missing_ok=True)
    # X servers and their clients look for these.
    for name in (".X11-unix", ".ICE-unix", "home"):
        folder = TEMPORARY / name
        folder.mkdir(exist_ok=True)
        folder.chmod(0o1777)


def end_all():
    """Ends what a test has left behind; this is the first process, which the signal spares."""
    try:
        os.kill(-1, signal.SIGKILL)
    except ProcessLookupError:
        pass
    while True:
        try:
            os.waitpid(-1, 0)
        except ChildProcessError:
            return


def run(request):
    clean()
    environment = dict(os.environ) | request["environment"]
    environment |= {"HOME": str(TEMPORARY / "home"), "TMPDIR": str(TEMPORARY)}
    environment.pop("DISPLAY", None)
    output = TEMPORARY.parent / f"{TEMPORARY.name}.log" if TEMPORARY != pathlib.Path("/tmp") else TEMPORARY / "output.log"
    begin = time.monotonic()
    with open(output, "wb") as file:
        process = subprocess.Popen(request["command"], stdin=subprocess.DEVNULL, stdout=file, stderr=file,
                                   cwd=request["folder"], env=environment, start_new_session=True, preexec_fn=limit)
        try:
            status = process.wait(request["limit"])
        except subprocess.TimeoutExpired:
            status = None
    seconds = time.monotonic() - begin
    end_all()
    process.returncode = 0 if process.returncode is None else process.returncode
    with open(output, "rb") as file:
        text = file.read(1 << 20)
        file.seek(0, os.SEEK_END)
        file.seek(max(len(text), file.tell() - 4000))
        text += file.read()
    return {"status": status, "seconds": seconds, "output": text.decode(errors="replace")}


def main():
    for line in sys.stdin:
        print(json.dumps(run(json.loads(line))), flush=True)


if os.getpid() != 1:
    sys.exit("This has to be the first process of a namespace: it ends all others.")
main()
