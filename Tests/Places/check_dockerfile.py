#!/usr/bin/python3 -B
"""Builds and runs the Dockerfile without a container engine: check_dockerfile.py PROJECT FOLDER [PACKAGES].

Each stage is a folder of FOLDER, begun by debootstrap from the mirror of this machine's own Debian, in which the steps
are run by chroot in namespaces of their own. debootstrap wants a path without blanks. With PACKAGES, a folder with the
project's packages, the stage that builds them installs and compiles nothing: apt-get only simulates, and CMake and
CPack are replaced by scripts that leave those packages. Needs root. Unknown instructions are errors. In one more such
folder the role of Examples/Ansible installs the Debian package.
"""

import argparse
import contextlib
import glob
import json
import os
import re
import shlex
import shutil
import socket
import subprocess
import sys
from dataclasses import dataclass, field, replace
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "Support"))
from xserver import start_server

PROJECT, FOLDER = Path(sys.argv[1]), Path(sys.argv[2])
PACKAGES = Path(sys.argv[3]) if len(sys.argv) > 3 else None
SUITES = {"debian:12-slim": "bookworm"}
# What the builder's steps start if packages were given, in a folder that comes first in PATH. apt-get resolves the
# packages' names, but installs none.
STAND_INS = {
    "apt-get": """
case $1 in
    install) exec /usr/bin/apt-get --simulate --quiet=2 "$@" ;;
    *) exec /usr/bin/apt-get "$@" ;;
esac""",
    "dpkg-parsechangelog": '[ "$*" = "--file Packaging/Debian/changelog --show-field Timestamp" ] && '
    '[ -f "$2" ] && echo 1700000000',
    "cmake": """
case $* in
    "--preset package -B build/package") mkdir -p build/package ;;
    "--build build/package") [ -f CMakeLists.txt ] ;;
    *) exit 1 ;;
esac""",
    "cpack": '[ "$*" = "-B packages" ] && [ "$SOURCE_DATE_EPOCH" = 1700000000 ] && cp -r /given packages',
}
# As engines do: processes, mounts, host name and shared memory are the container's own, and its first process is the
# command. The first argument is the root, the second what to mount, each as `source:target` or `source:target:ro`.
CONTAINER = """
set -e
root=$1
mount -t proc proc "$root/proc"
mount -t tmpfs tmpfs "$root/dev/shm"
hostname container
for pair in $2; do
    target=$root${pair#*:}
    mount --bind "${pair%%:*}" "${target%:ro}"
    case $pair in *:ro) mount -o remount,bind,ro "${target%:ro}" ;; esac
done
shift 2
exec chroot "$@"
"""


# What the document's commands start: it asks the check for the container, by a socket.
DOCKER = f"#!{sys.executable} -IS" + """
import json, os, socket, sys
connection = socket.socket(socket.AF_UNIX)
connection.connect(os.environ["ENGINE"])
stream = connection.makefile("rw")
print(json.dumps([sys.argv[1:], dict(os.environ)]), file=stream, flush=True)
sys.exit(json.loads(stream.readline()))
"""


@dataclass
class Stage:
    root: Path
    folder: str = "/"
    user: str = "root"
    entry: list = field(default_factory=list)
    command: list = field(default_factory=list)
    environment: dict = field(
        default_factory=lambda: {"PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"}
    )


def expect(condition, text):
    if not condition:
        sys.exit(f"check_dockerfile.py: {text}")


def say(text):
    print(f"check_dockerfile.py: {text}", flush=True)


def run_in(stage, command, mounts=(), environment=None, network=True, **options):
    """Runs a command in a stage as an engine would."""
    namespaces = ["unshare", "--pid", "--fork", "--kill-child", "--mount", "--uts", "--ipc"]
    if not network:
        namespaces.append("--net")
    homes = {"root": "/root"}
    variables = {**stage.environment, "HOME": homes.get(stage.user, f"/home/{stage.user}"), **(environment or {})}
    return subprocess.run(
        [*namespaces, "sh", "-c", CONTAINER, "sh", stage.root, " ".join(mounts)]
        + [f"--userspec={stage.user}", stage.root, "env", "--ignore-environment", f"--chdir={stage.folder}"]
        + [f"{name}={value}" for name, value in variables.items()]
        + command,
        text=True,
        check=False,
        stdin=subprocess.DEVNULL,
        **options,
    )


def make_base(image):
    """A root like the image's, with the sources of Debian that this machine is configured with."""
    expect(image in SUITES, f"{image} is not known")
    suite = SUITES[image]
    base = FOLDER / suite
    if base.exists():
        return base
    targets = subprocess.run(
        ["apt-get", "indextargets", "--format", "$(REPO_URI) $(CODENAME) $(COMPONENT) $(ORIGIN)"]
        + ["Created-By: Packages"],
        stdout=subprocess.PIPE,
        text=True,
        check=True,
    ).stdout
    sources = sorted({tuple(line.split()[:3]) for line in targets.splitlines() if line.endswith(" Debian")})
    mirrors = [address for address, name, component in sources if (name, component) == (suite, "main")]
    expect(mirrors, f"this machine has no source of packages for {suite}")
    say(f"debootstrap of {suite}")
    with open(FOLDER / "debootstrap.log", "w+", encoding="utf-8") as log:
        command = ["debootstrap", "--variant=minbase", suite, base, mirrors[0]]
        if subprocess.run(command, stdout=log, stderr=log, check=False).returncode != 0:
            log.seek(0)
            sys.exit(log.read())
    lines = [f"deb {address} {name} {component}\n" for address, name, component in sources if name.startswith(suite)]
    (base / "etc/apt/sources.list").write_text("".join(lines))
    shutil.copy("/etc/resolv.conf", base / "etc/resolv.conf")
    # As in the image, no lists of packages are there before `apt-get update`, and no packages that are installed.
    shutil.rmtree(base / "var/lib/apt/lists")
    for package in (base / "var/cache/apt/archives").glob("*.deb"):
        package.unlink()
    return base


def copy(source, patterns, stage, target):
    """COPY: files go into the target, and what a folder contains too."""
    ignored = [] if source != PROJECT else (PROJECT / ".dockerignore").read_text().split()
    expect(not any(set(name) & set("*?!/") for name in ignored), ".dockerignore has more than names")
    destination = stage.root / os.path.join(stage.folder, target).lstrip("/")
    destination.mkdir(parents=True, exist_ok=True)
    for pattern in patterns:
        found = [Path(path) for path in glob.glob(str(source / pattern.lstrip("/")))]
        expect(found, f"COPY finds no {pattern}")
        for path in found:
            if path.is_dir():
                exclude = [f"--exclude=./{name}" for name in ignored]
                read = subprocess.Popen(["tar", "--create", *exclude, "--directory", path, "."], stdout=subprocess.PIPE)
                write = ["tar", "--extract", "--no-same-owner", "--directory", destination]
                subprocess.run(write, stdin=read.stdout, check=True)
                expect(read.wait() == 0, f"{path} can't be read")
            else:
                shutil.copy(path, destination)


def read_steps():
    text = re.sub(r"^\s*#.*\n", "", (PROJECT / "Dockerfile").read_text(), flags=re.MULTILINE).replace("\\\n", " ")
    return [line.split(maxsplit=1) for line in text.splitlines() if line.strip()]


def add_stand_ins(stage):
    folder = stage.root / "stand-ins"
    folder.mkdir()
    for name, text in STAND_INS.items():
        (folder / name).write_text(f"#!/bin/sh\n{text}\n")
        (folder / name).chmod(0o755)
    stage.environment["PATH"] = "/stand-ins:" + stage.environment["PATH"]
    shutil.copytree(PACKAGES, stage.root / "given")


def build():
    """Carries out each step; the stages by their names."""
    stages = {}
    stage = None
    for instruction, arguments in read_steps():
        if instruction == "FROM":
            image, name = re.fullmatch(r"(\S+) AS (\S+)", arguments).groups()
            base = make_base(image)
            stage = stages[name] = Stage(FOLDER / f"stage {name}")
            subprocess.run(["cp", "--archive", base, stage.root], check=True)
            if name == "builder" and PACKAGES is not None:
                say(f"packages were given: stage {name} with stand-ins for installing and compiling")
                add_stand_ins(stage)
            continue
        say(f"{instruction} {' '.join(arguments.split())}")
        if instruction == "WORKDIR":
            stage.folder = arguments
            (stage.root / arguments.lstrip("/")).mkdir(parents=True, exist_ok=True)
        elif instruction == "COPY":
            origin = re.match(r"--from=(\S+) ", arguments)
            *patterns, target = shlex.split(arguments[origin.end() :] if origin else arguments)
            copy(stages[origin[1]].root if origin else PROJECT, patterns, stage, target)
        elif instruction == "ARG":
            expect(re.fullmatch(r"\w+", arguments), f"ARG {arguments} is not known")
            if arguments in os.environ:
                stage.environment[arguments] = os.environ[arguments]
        elif instruction == "RUN":
            result = run_in(stage, ["sh", "-c", arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            expect(result.returncode == 0, f"RUN ended with {result.returncode}:\n{result.stdout[-4000:]}")
        elif instruction == "USER":
            stage.user = arguments
        elif instruction == "ENTRYPOINT":
            stage.entry = json.loads(arguments)
        elif instruction == "CMD":
            stage.command = json.loads(arguments)
        else:
            sys.exit(f"check_dockerfile.py: {instruction} is not known")
    return stages


def start(image, arguments=(), mounts=(), environment=None):
    """What `docker run` does: status and output."""
    command = image.entry + (list(arguments) or image.command)
    result = run_in(
        image, command, mounts, environment, network=False, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=300
    )
    say(f"docker run … {' '.join(arguments)}: status {result.returncode}, {' '.join(result.stdout.split())[:120]}")
    return result.returncode, json.loads(result.stdout or "null"), result.stderr


def check_builder(builder):
    folder = builder.root / "tovra"
    expect((folder / "CMakeLists.txt").exists(), "the builder has no sources")
    expect(not (folder / ".git").exists(), "the builder has the project's history")
    builds = [path.name for path in (folder / "build").iterdir()]
    expect(builds == ["package"], "the builder has builds of this machine")


def get_size(root):
    command = ["du", "--summarize", "--block-size=M", root]
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout.split()[0]


def check_image(image):
    query = ["dpkg-query", "--show", "--showformat", "${Package}\n"]
    packages = run_in(image, query, stdout=subprocess.PIPE).stdout.split()
    expect("tovra-fieldhost-setup-tool" in packages and "libgl1-mesa-dri" in packages, f"the image has {packages}")
    builders = {"libtovra-dev", "clang-19", "cmake", "python3", "xvfb", "lintian"}
    expect(not builders & set(packages), f"the image has {builders & set(packages)}")
    for path in ("tovra", "package"):
        expect(not (image.root / path).exists(), f"the image has /{path}")
    expect(not any((image.root / "var/lib/apt/lists").glob("*Packages*")), "the image has lists of packages")
    say(f"the base has {get_size(make_base('debian:12-slim'))}, the image {get_size(image.root)}")

    status, document, errors = start(image)
    expect(status == 1 and document["name"] == "Failed", f"without a display: {document}, {errors}")
    logs = image.root / "home/tovra/.tovra/Logs"
    expect(logs.stat().st_uid != 0, "the tool ran as root")


@dataclass
class Run:
    """What one `docker run` of the document says, and what came of it."""

    image: str
    arguments: list
    mounts: list
    environment: dict
    status: int = 0
    answer: object = None
    errors: str = ""


class Engine:
    """Runs commands of Documentation/Places.md, in which `docker` is this class, with these images."""

    def __init__(self, stages):
        self.stages = stages
        self.images = {}
        self.runs = []
        self.temporary = FOLDER / "temporary"
        self.temporary.mkdir()
        self.programs = FOLDER / "programs"
        self.programs.mkdir()
        (self.programs / "docker").write_text(DOCKER)
        (self.programs / "docker").chmod(0o755)

    def start(self, run):
        image = self.images[run.image]
        for mount in run.mounts:
            source, target = mount.split(":")[:2]
            # As engines do, where the image has nothing.
            (image.root / target.lstrip("/")).parent.mkdir(parents=True, exist_ok=True)
            if Path(source).is_dir():
                (image.root / target.lstrip("/")).mkdir(exist_ok=True)
            else:
                self.check_secret(Path(source))
                (image.root / target.lstrip("/")).touch()
        run.status, run.answer, run.errors = start(image, run.arguments, run.mounts, run.environment)

    def check_secret(self, path):
        """A file that a container gets is open to its user, but to no other user of this machine."""
        expect(self.temporary in path.parents, f"{path} is not where temporary files are")
        folders = [folder for folder in path.parents if self.temporary in folder.parents]
        expect(any(not folder.stat().st_mode & 0o077 for folder in folders), f"every user can read {path}")

    def serve(self, arguments, environment):
        """What a `docker` with these arguments ends with."""
        parser = argparse.ArgumentParser("docker", allow_abbrev=False)
        commands = parser.add_subparsers(dest="command", required=True)
        build_command = commands.add_parser("build", allow_abbrev=False)
        build_command.add_argument("--tag", required=True)
        build_command.add_argument("folder", choices=["."])
        run_command = commands.add_parser("run", allow_abbrev=False)
        run_command.add_argument("--rm", action="store_true", required=True)
        run_command.add_argument("--env", action="append", default=[])
        run_command.add_argument("--volume", action="append", default=[])
        run_command.add_argument("image")
        run_command.add_argument("arguments", nargs=argparse.REMAINDER)
        call = parser.parse_args(arguments)
        if call.command == "build":
            # The last stage is what is built.
            self.images[call.tag] = list(self.stages.values())[-1]
            return 0
        expect(call.image in self.images, f"no image is called {call.image}")
        given = {}
        for variable in call.env:
            name, equals, value = variable.partition("=")
            # One without a value is the caller's own.
            given.update({name: value} if equals else {name: environment[name]} if name in environment else {})
        run = Run(call.image, call.arguments, call.volume, given)
        self.start(run)
        self.runs.append(run)
        return run.status

    def carry_out(self, commands, environment):
        """The runs that the commands make."""
        first = len(self.runs)
        address = FOLDER / "engine"
        with contextlib.closing(socket.socket(socket.AF_UNIX)) as listener:
            listener.bind(str(address))
            listener.listen()
            listener.settimeout(0.1)
            surroundings = {
                **environment,
                "PATH": f"{self.programs}:{os.environ['PATH']}",
                "TMPDIR": str(self.temporary),
                "ENGINE": str(address),
            }
            shell = ["sh", "-euc", commands]
            errors = FOLDER / "errors"
            with errors.open("w") as stderr, subprocess.Popen(shell, env=surroundings, stderr=stderr) as process:
                while process.poll() is None:
                    with contextlib.suppress(TimeoutError):
                        connection = listener.accept()[0]
                        connection.setblocking(True)
                        with connection, connection.makefile("rw") as stream:
                            print(json.dumps(self.serve(*json.loads(stream.readline()))), file=stream, flush=True)
        address.unlink()
        printed = errors.read_text()
        status = process.returncode
        expect(status == 0 and not printed, f"status {status}, {printed} of the commands\n{commands}")
        expect(not list(self.temporary.iterdir()), f"the commands leave {list(self.temporary.iterdir())}")
        return self.runs[first:]


def check_document(stages):
    """The commands in Documentation/Places.md, word for word: without a display, and with a server outside."""
    document = (PROJECT / "Documentation/Places.md").read_text()
    section = document.partition("## In a container\n")[2].partition("\n## ")[0]
    blocks = re.findall(r"^```sh\n(.*?)^```$", section, re.MULTILINE | re.DOTALL)
    expect(len(blocks) == 2, f"Places.md has {len(blocks)} blocks of commands for containers")
    engine = Engine(stages)
    for run in engine.carry_out(blocks[0], {}):
        expect(run.arguments == ["-ShowReturnCodes"] and run.answer["parameters"][0]["name"] == "None", f"{run}")
    with start_server(FOLDER) as server:
        (run,) = engine.carry_out(blocks[1], server)
        expect(run.answer["name"] == "Success", f"with a display: {run}")
        # The cookie is needed, and is what the document gives.
        keyless = {name: value for name, value in run.environment.items() if name != "XAUTHORITY"}
        sockets = [mount for mount in run.mounts if mount.startswith("/tmp/.X11-unix:")]
        run = replace(run, mounts=sockets, environment=keyless)
        engine.start(run)
        expect(run.status == 1 and run.answer["name"] == "Failed", f"without the cookie: {run}")


def check_role(package):
    """The role of Examples/Ansible installs the Debian package, in a root of its own: the machine is its own host."""
    host = Stage(FOLDER / "host")
    subprocess.run(["cp", "--archive", make_base("debian:12-slim"), host.root], check=True)
    shutil.copytree(PROJECT / "Examples/Ansible", host.root / "fleet")
    shutil.copy(package, host.root / "fleet/tool.deb")
    variables = {
        "ansible_connection": "local",
        "tovra_fieldhost_package": "tool.deb",
        # There is no display.
        "tovra_fieldhost_checks": {"CheckOpenGL": ["Failed"], "CheckHidOverUsb": ["Platform Unsupported"]},
    }
    (host.root / "fleet/inventory.json").write_text(json.dumps({"all": {"hosts": {"machine": {}}, "vars": variables}}))
    steps = """set -e
apt-get update
apt-get install --yes --no-install-recommends ansible-core python3-apt
cd /fleet
ansible-playbook --inventory inventory.json --extra-vars '{"tovra_fieldhost_become": false}' fleet.yml
ansible-playbook --inventory inventory.json --extra-vars '{"tovra_fieldhost_become": false}' fleet.yml | tee again
grep --quiet 'machine .* changed=0 .* failed=0' again
dpkg-query --show tovra-fieldhost-setup-tool libgl1-mesa-dri libxtst6
"""
    say("a host that the role installs the package on")
    streams = {"stdout": subprocess.PIPE, "stderr": subprocess.STDOUT}
    result = run_in(host, ["sh", "-c", steps], environment={"LC_ALL": "C.UTF-8"}, **streams)
    expect(result.returncode == 0, f"the role ended with {result.returncode}:\n{result.stdout[-6000:]}")
    document = json.loads((host.root / "fleet/documents/machine/CheckOpenGL.json").read_text())
    expect(document["name"] == "Failed", f"the machine's document: {document}")


def main():
    expect(os.geteuid() == 0, "only root may make the roots of containers")
    FOLDER.mkdir()
    stages = build()
    check_builder(stages["builder"])
    check_image(stages["runtime"])
    check_document(stages)
    check_role(*(stages["builder"].root / "tovra/build/package/packages").glob("tovra-fieldhost-setup-tool_*.deb"))


main()
