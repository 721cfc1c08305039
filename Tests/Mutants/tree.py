"""The tree that is built: a copy of this one, with rewritten sources."""

import concurrent.futures
import fcntl
import hashlib
import json
import os
import pathlib
import pickle
import re
import shlex
import shutil
import signal
import subprocess
import time
import weakref

import clang.cindex

import changes
import rewriting

ROOT = pathlib.Path(__file__).resolve().parents[2]
HERE = pathlib.Path(__file__).resolve().parent
# Numbers for the changes of one file. A file keeps its own, so that a change to another one compiles nothing anew.
NUMBERS = 4096


class OutOfTime(Exception):
    pass


class Busy(Exception):
    pass


class Tree:
    # What stands in front of a rewritten source.
    prefix = b""

    def __init__(self, folder, deadline=None):
        self.folder = folder
        self.sources = folder / "tree"
        self.build = folder / "build"
        self.deadline = deadline
        # The sources whose changes are not known, as nothing includes them.
        self.unread = []
        folder.mkdir(parents=True, exist_ok=True)
        # Two runs would choose changes for each other's programs.
        lock = os.open(folder / "lock", os.O_WRONLY | os.O_CREAT)
        self.free = weakref.finalize(self, os.close, lock)
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError as error:
            raise Busy(folder) from error

    def get_ctest(self):
        return ["ctest", "--test-dir", self.build]

    def load(self, name, default):
        path = self.folder / name
        return json.loads(path.read_text()) if path.exists() else default

    def save(self, name, value):
        path = self.folder / name
        temporary = path.with_suffix(".new")
        temporary.write_text(json.dumps(value))
        temporary.replace(path)

    def run(self, command, log):
        """Runs a command whose output goes to a file of the folder; gives that and the status."""
        with open(self.folder / log, "wb") as output:
            process = subprocess.Popen(command, stdout=output, stderr=subprocess.STDOUT, start_new_session=True)
            try:
                status = process.wait(None if self.deadline is None else max(0.1, self.deadline - time.time()))
            except subprocess.TimeoutExpired as error:
                end(process)
                raise OutOfTime(log) from error
            except BaseException:
                end(process)
                raise
        return status, (self.folder / log).read_text(errors="replace")

    def copy(self, rewritten):
        """Brings the copy up to date, but for the sources whose names are in `rewritten`."""
        names = subprocess.run(["git", "-C", ROOT, "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                               check=True, capture_output=True).stdout.decode().split("\0")
        kept = set()
        for name in names:
            source = ROOT / name
            if not name or not source.is_file():
                continue
            kept.add(name)
            if name in rewritten:
                continue
            target = self.sources / name
            content = source.read_bytes()
            if name == "cmake/Compiling.cmake":
                # What is rewritten looks odd to a compiler.
                content = content.replace(b" -Werror\n", b" -Werror -Wno-everything -Werror=vla-extension\n")
            write(target, content)
            shutil.copymode(source, target)
        for path in sorted(self.sources.rglob("*"), reverse=True):
            if path.is_file() and str(path.relative_to(self.sources)) not in kept:
                path.unlink()

    def make_chooser(self):
        chooser = self.folder / "libMutation.a"
        if is_older(chooser, HERE / "Mutation.c"):
            compiled = self.folder / "Mutation.o"
            subprocess.run(["clang-19", "-O2", "-fPIC", "-std=c17", "-Wall", "-Werror", "-D_GNU_SOURCE",
                            f'-DTOVRA_MUTANT_FILE="{self.folder / "chosen"}"', "-c", HERE / "Mutation.c",
                            "-o", compiled], check=True)
            chooser.unlink(missing_ok=True)
            subprocess.run(["llvm-ar-19" if shutil.which("llvm-ar-19") else "ar", "rc", chooser, compiled], check=True)
        header = self.folder / "Mutation.h"
        write(header, (HERE / "Mutation.h").read_bytes())
        return chooser, header

    def configure(self):
        chooser, header = self.make_chooser()
        if (self.build / "build.ninja").exists():
            return
        flags = f'-include "{header}"'
        status, output = self.run(
            ["cmake", "-S", self.sources, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
             f"-DCMAKE_CXX_FLAGS={flags}", f"-DCMAKE_OBJCXX_FLAGS={flags}", "-DCMAKE_CXX_FLAGS_DEBUG=-O0",
             "-DCMAKE_OBJCXX_FLAGS_DEBUG=-O0", "-DTOVRA_BENCHMARKS=OFF", "-DTOVRA_INSTALL=OFF", "-DTOVRA_TESTS=ON",
             "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", f"-DCMAKE_CXX_STANDARD_LIBRARIES=\"{chooser}\""], "configure.log")
        if status != 0:
            raise SystemExit(output)

    def get_commands(self):
        """The compiler's arguments for each source, for the sources of this tree."""
        commands = {}
        for entry in json.loads((self.build / "compile_commands.json").read_text()):
            name = os.path.relpath(entry["file"], self.sources)
            if name in commands:
                continue
            commands[name] = (get_arguments(entry["command"], str(self.sources)), entry["directory"])
        return commands

    def find_changes(self, names, jobs):
        """The changes of each source that is named."""
        version = hashlib.sha1((HERE / "changes.py").read_bytes()).hexdigest()
        cache = self.folder / "changes"
        cache.mkdir(exist_ok=True)
        found, wanted = {}, []
        for name in names:
            path = cache / hashlib.sha1((version + name).encode() + (ROOT / name).read_bytes()).hexdigest()
            if path.exists():
                found[name] = pickle.loads(path.read_bytes())
            else:
                wanted.append((name, path))
        if not wanted:
            return found
        # The precompiled headers are read by the library, too.
        status, output = self.run(["cmake", "--build", self.build, "--target", "TovraStandardHeaders",
                                   "TovraTestHeaders"], "headers.log")
        if status != 0:
            raise SystemExit(output)
        commands = self.get_commands()
        units = {}
        includers = [name for name in commands if name.startswith(("Source/", "Tests/MacOS/AppKit/PanelOf"))]
        for name, path in wanted:
            if name in commands:
                units.setdefault(name, []).append((name, path))
                continue
            unit = find_includer(name, includers)
            if unit is None:
                print(f"{name}: no source includes it, so its changes are not known.")
                self.unread.append(name)
                continue
            units.setdefault(unit, []).append((name, path))
        # One translation unit that includes several headers finds the changes of all.
        with concurrent.futures.ProcessPoolExecutor(jobs) as pool:
            for results in pool.map(find_in_unit, [(unit, *commands[unit], parts) for unit, parts in units.items()]):
                for name, source in results:
                    found[name] = source
        return found

    def number(self, found, known):
        """Numbers for the changes of all files."""
        bases = self.load("numbers.json", {})
        for name in sorted(known):
            bases.setdefault(name, len(bases) + 1)
        self.save("numbers.json", bases)
        numbered = {}
        for name, source in found.items():
            ordered = sorted(source.changes, key=lambda one: (one.start, one.end, one.kind, one.text))
            if len(ordered) >= NUMBERS:
                raise SystemExit(f"{name} has {len(ordered)} changes, more than there are numbers for.")
            numbered[name] = [(bases[name] * NUMBERS + index, change) for index, change in enumerate(ordered)]
        return numbered

    def write_sources(self, found, numbered, dropped):
        """Writes the rewritten sources, and gives where in them which change stands."""
        arms = {}
        skipped = len(self.prefix)
        for name, source in found.items():
            kept = [(number, change) for number, change in numbered[name] if change.identity not in dropped]
            text, places, left_out = rewriting.rewrite(source, kept)
            arms[name] = [(start + skipped, end + skipped, numbers) for start, end, numbers in places]
            dropped.update(change.identity for number, change in kept if number in left_out)
            write(self.sources / name, self.prefix + text)
        return arms

    def compile(self, found, numbered, targets, jobs):
        """Builds the targets without those changes that do not compile; gives the identities of these. Once its
        function has changed, such a change is tried anew."""
        dropped = set(self.load("dropped.json", []))
        while True:
            arms = self.write_sources(found, numbered, dropped)
            status, output = self.run(["cmake", "--build", self.build, "--parallel", str(jobs), "--target", *targets,
                                       "--", "-k", "0"], "build.log")
            if status == 0:
                self.save("dropped.json", sorted(dropped))
                return dropped
            before = len(dropped)
            identities = {number: change.identity for parts in numbered.values() for number, change in parts}
            for name, line, column in find_errors(output, self.sources, self.build):
                if name not in arms:
                    continue
                text = (self.sources / name).read_bytes()
                offset = len(self.prefix) + find_offset(text[len(self.prefix):], line, column)
                around = [arm for arm in arms[name] if arm[0] <= offset < arm[1]]
                if around:
                    smallest = min(around, key=lambda arm: arm[1] - arm[0])
                    dropped.update(identities[number] for number in smallest[2])
            self.save("dropped.json", sorted(dropped))
            if len(dropped) == before:
                raise SystemExit(f"{output[-6000:]}\n"
                                 "The rewritten sources do not compile, and no change is the reason.")
            print(f"{len(dropped) - before} changes do not compile; building again without them.", flush=True)


    def forget_reached(self):
        for path in self.folder.glob("reached-*.json"):
            path.unlink()


class InPlace(Tree):
    """The tree itself and what has been built of it last, in a mount namespace in which nothing that is written lasts.
    So only what is rewritten is compiled."""

    def __init__(self, root, folder, deadline):
        super().__init__(get_folder(folder), deadline)
        self.sources = root
        self.build = find_build(root)

    def get_ctest(self):
        # A preset leaves out what its build cannot run.
        return ["ctest", "--preset", self.build.name]

    def prepare(self):
        """Brings the build's rules up to date and links the chooser into all programs."""
        chooser, header = self.make_chooser()
        self.prefix = (f'#include "{header}"\n#pragma clang diagnostic ignored "-Weverything"\n'
                       '#pragma clang diagnostic error "-Wvla-extension"\n#line 1\n').encode()
        status, output = self.run(["cmake", "--build", self.build, "--target", "build.ninja"], "configure.log")
        if status != 0:
            raise SystemExit(output)
        rules = self.build / "build.ninja"
        path = str(chooser).replace(" ", "$ ")
        text = rules.read_text()
        if path not in text:
            rules.write_text(re.sub(r"^(  LINK_LIBRARIES = .*)$", lambda match: f'{match.group(1)} "{path}"', text,
                                    flags=re.MULTILINE))


def get_folder(folder):
    return folder.with_name(folder.name + "-changed")


def find_build(root):
    """The build folder with the tests that was built last; none if there is none."""
    built = [root / "build" / preset for preset in ("debug", "asan")]
    built = [folder for folder in built if (folder / "bin" / "UnitTests").exists() and (folder / ".ninja_log").exists()]
    return max(built, key=lambda folder: (folder / ".ninja_log").stat().st_mtime, default=None)


def run_inside(root, folder, arguments, deadline):
    """Runs Scripts/check-mutants in a namespace where the tree is covered: what is written there is gone afterwards."""
    folder = get_folder(folder)
    space = folder / "space"
    space.mkdir(parents=True, exist_ok=True)
    if find_build(root) is None:
        print("Nothing is built yet: building the preset debug first.", flush=True)
        # It lasts, so that the next time has it.
        status, output = Tree(folder, deadline).run([root / "Scripts/build", "debug"], "build.log")
        if status != 0:
            raise SystemExit(output)
    unshare = ["unshare", "--mount", "--propagation", "private"]
    if subprocess.run([*unshare, "true"], stderr=subprocess.DEVNULL).returncode != 0:
        unshare.append("--map-root-user")
    # Relative paths, as a path may contain what separates the options.
    script = ('mount -t tmpfs -o size=8g,mode=755 tmpfs "$1" && mkdir "$1/upper" "$1/work" && '
              'mount -t overlay -o "lowerdir=.,upperdir=$1/upper,workdir=$1/work" overlay "$PWD" && cd "$PWD" && '
              'shift && exec "$0" "$@"')
    return subprocess.run([*unshare, "sh", "-c", script, HERE / "check_mutants.py", space.relative_to(root),
                           *arguments], cwd=root).returncode


def end(process):
    """Ends a process and all that it has started."""
    os.killpg(process.pid, signal.SIGTERM)
    process.wait()


def is_older(path, than):
    return not path.exists() or path.stat().st_mtime < than.stat().st_mtime


def write(path, content):
    if path.exists() and path.read_bytes() == content:
        return
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(content)


def get_arguments(command, sources):
    arguments, result = shlex.split(command), []
    while not arguments[0].endswith(("clang++-19", "clang++", "c++", "clang-19")):
        arguments.pop(0)
    position = 1
    while position < len(arguments):
        argument = arguments[position]
        if argument in ("-o", "-c", "-MF", "-MT"):
            position += 2 if argument != "-c" else 1
            continue
        if argument == "-Winvalid-pch" or argument.startswith("-M"):
            position += 1
            continue
        result.append(argument.replace(sources + "/", str(ROOT) + "/"))
        position += 1
    return [argument for argument in result[:-1] if argument != "--"]


def find_includer(name, includers):
    """A translation unit that includes the header, if only through others."""
    stem = os.path.splitext(name)[0]
    for candidate in (f"{stem}.cpp", f"{stem}_Linux.cpp", f"{stem}_Host.cpp", f"{stem}_MacOS.cpp"):
        if candidate in includers:
            return candidate
    if name == "Source/System/Desktop/Window_MacOS.mm":
        return "Tests/MacOS/AppKit/PanelOfWindow.mm"
    seen, wanted = set(), [name]
    while wanted:
        header = wanted.pop(0)
        line = f"#include <{header.removeprefix('Source/')}>"
        for path in sorted((ROOT / "Source").rglob("*")):
            other = str(path.relative_to(ROOT))
            if path.suffix not in (".h", ".cpp", ".mm") or other in seen or line not in path.read_text():
                continue
            if other in includers:
                return other
            seen.add(other)
            wanted.append(other)
    return None


def find_in_unit(work):
    unit, arguments, directory, parts = work
    sources = [changes.Source(str(ROOT / name), name) for name, _ in parts]
    os.chdir(directory)
    index = clang.cindex.Index.create()
    parsed = index.parse(str(ROOT / unit), args=arguments + ["-Wno-everything"])
    errors = [str(one) for one in parsed.diagnostics if one.severity >= clang.cindex.Diagnostic.Error]
    if errors:
        # What the compiler finds in spite of an error is not all that there is.
        raise SystemExit(f"{unit} has an error, so that its changes are not known: {errors[0]}")
    changes.Finder(sources).find(parsed)
    results = []
    for source, (name, path) in zip(sources, parts):
        source.finish()
        path.write_bytes(pickle.dumps(source))
        results.append((name, source))
    return results


def find_errors(output, sources, build):
    """Where the compiler's errors are in the sources: each with the first place that is in them."""
    pattern = re.compile(r"^(.*?):(\d+):(\d+): (fatal error|error|note|warning): ")
    open_error = False
    for line in output.splitlines():
        match = pattern.match(line)
        if not match:
            continue
        path, row, column, kind = match.groups()
        if "error" in kind:
            open_error = True
        if not open_error:
            continue
        path = os.path.relpath(os.path.join(build, path), sources)
        if path.startswith("Source/"):
            open_error = False
            yield path, int(row), int(column)


def find_offset(text, line, column):
    position = 0
    for _ in range(line - 1):
        position = text.index(b"\n", position) + 1
    return position + column - 1
