#!/usr/bin/python3 -B
"""Sees that a test guards each rule that is odd on purpose: check_quirks.py PROJECT BUILD [option ...] [ROOM ...].

In PROJECT/Source a comment that begins with "Intentional:" marks such a rule. PROJECT/Tests/Quirks/ROOM.toml has an
entry for it, with the change that would "repair" it and the test that guards it:

    [[quirk]]
    marks = ["Source/System/A/X.cpp: the first words of the comment"]   # several, if one rule has several comments
    file = "Source/System/A/X.cpp"      # where it is changed; by default the file of the first mark
    find = "count + 1"                  # stands there once; or a list of such texts, with one to put for each
    put = "count"
    sources = ["Tests/System/A/XTest.cpp"]  # what is compiled with a changed header; by default all that includes it
    test = "UnitTests XTest.CountsOneMore"  # the program and the test in it
    programs = ["ErrorHandlerChild"]    # what is linked with the change; by default the program of the test
    end = "crash"                       # if a signal ends the test's program, or "exception" if the test throws; by
                                        # default the test has to fail by an assertion

or, where no change can be seen, a `reason` instead of all but the marks. Marks, entries, texts to find and names of
tests are compared, and the counts in PROJECT/Documentation/Reliability.md; --write writes these. Then each guarding
test has to pass in the folder BUILD, and each change is compiled and linked beside it, and has to let its test fail.
The folder stays as it is: a changed program is mounted over the built one for its test alone, so this runs as root in a
mount namespace, see Scripts/isolated.

--marks makes no changes. --changed makes only those of entries that are new or other than in main, and those whose
marks, changed file or test are in a file that differs from main; on main itself, from its first parent. With --programs
it prints the programs that it needs for that instead, and with --parse nothing, if there is nothing wrong with its
arguments.
"""

import argparse
import concurrent.futures
import dataclasses
import fnmatch
import json
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import sys
import time
import tomllib

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "Support"))

import documents
from history import ask_git, find_start, get_changed

MARK = re.compile(r"^[ \t]*///?[ \t]*Intentional:", re.MULTILINE)
FOLDERS = ("Source", "Tests", "Benchmarks", "Examples", "Packaging")
BEGIN = "<!-- Scripts/check-quirks writes from here -->"
TEST = re.compile(r"^(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)", re.MULTILINE)
KEYS = {"marks", "file", "find", "put", "sources", "test", "programs", "end", "reason"}
SECONDS = 120


class EntryError(Exception):
    """An entry is wrong, so nothing is known about its rule."""


@dataclasses.dataclass
class Entry:
    """What is known of a rule that is odd on purpose."""

    room: str
    marks: list[str]
    file: str = ""
    find: list[str] = dataclasses.field(default_factory=list)
    put: list[str] = dataclasses.field(default_factory=list)
    sources: list[str] = dataclasses.field(default_factory=list)
    program: str = ""
    test: str = ""
    programs: list[str] = dataclasses.field(default_factory=list)
    end: str = "failure"
    reason: str = ""

    def __str__(self):
        return f"{self.room}: {self.marks[0]}"


def read_entry(room, table):
    marks = table.get("marks")
    if not isinstance(marks, list) or not marks or not all(isinstance(mark, str) for mark in marks):
        raise EntryError(f"{room}: an entry has no marks")
    entry = Entry(room, marks)
    unknown = set(table) - KEYS
    if unknown:
        raise EntryError(f"{entry}: unknown {', '.join(sorted(unknown))}")
    if "reason" in table:
        if set(table) != {"marks", "reason"} or not table["reason"]:
            raise EntryError(f"{entry}: a reason stands instead of a change")
        entry.reason = table["reason"]
        return entry
    missing = {"find", "put", "test"} - set(table)
    if missing:
        raise EntryError(f"{entry}: no {', '.join(sorted(missing))}")
    entry.file = table.get("file", marks[0].partition(": ")[0])
    entry.find, entry.put = ([text] if isinstance(text, str) else text for text in (table["find"], table["put"]))
    if not entry.find or len(entry.find) != len(entry.put) or not all(entry.find):
        raise EntryError(f"{entry}: there is a text to put for each text to find")
    if any(find == put for find, put in zip(entry.find, entry.put)):
        raise EntryError(f"{entry}: changes nothing")
    entry.sources = table.get("sources", [])
    entry.program, _, entry.test = table["test"].partition(" ")
    if not re.fullmatch(r"\w+", entry.program) or not re.fullmatch(r"[\w/]+\.[\w/]+(/\*)?", entry.test):
        raise EntryError(f"{entry}: a test is a program and the name of a test in it")
    entry.programs = table.get("programs", [entry.program])
    entry.end = table.get("end", "failure")
    if entry.end not in ("failure", "exception", "crash"):
        raise EntryError(f"{entry}: an end is a failure, an exception or a crash")
    return entry


def read_entries(folder, errors):
    entries = []
    for path in sorted(folder.glob("*.toml")):
        try:
            tables = tomllib.loads(path.read_text(encoding="utf-8"))
        except tomllib.TOMLDecodeError as error:
            errors.append(f"{path.name}: {error}")
            continue
        if set(tables) != {"quirk"}:
            errors.append(f"{path.name}: has something other than entries, or none")
            continue
        for table in tables["quirk"]:
            try:
                entries.append(read_entry(path.stem, table))
            except EntryError as error:
                errors.append(str(error))
    return entries


def read_mark(text, start):
    """The words of a comment from a mark on, however its lines are broken."""
    lines = []
    for line in text[start:].splitlines():
        comment = re.match(r"[ \t]*///?(.*)", line)
        if comment is None or lines and comment[1].lstrip().startswith("Intentional:"):
            break
        lines.append(comment[1])
    return " ".join(" ".join(lines).split()).removeprefix("Intentional:").strip()


def find_marks(project):
    """The marks of each source that has some."""
    marks = {}
    for path in sorted(path for folder in FOLDERS for path in (project / folder).rglob("*")):
        if path.suffix in (".h", ".cpp", ".mm"):
            text = path.read_text(encoding="utf-8")
            found = [read_mark(text, match.start()) for match in MARK.finditer(text)]
            if path.is_relative_to(project / "Source") and len(found) != text.count("Intentional:"):
                found.append("a mark that does not begin its line")
            if found:
                marks[str(path.relative_to(project))] = found
    return marks


def find_tests(project):
    """The source of each test, by its name there."""
    sources = {}
    for path in sorted((project / "Tests").rglob("*Test.cpp")):
        for match in TEST.findall(path.read_text(encoding="utf-8")):
            sources[".".join(match)] = str(path.relative_to(project))
    return sources


def get_source_name(test):
    """The name that a test has in its source: without instantiation, type and parameter."""
    suite, name = test.split(".", 1)
    parts = [part for part in suite.split("/") if not part.isdigit()]
    return f"{parts[-1]}.{name.partition('/')[0]}"


def change(project, entry):
    """The changed text of the entry's file."""
    path = project / entry.file
    if not path.is_file():
        raise EntryError(f"{entry}: there is no {entry.file}")
    text = path.read_text(encoding="utf-8")
    for find, put in zip(entry.find, entry.put):
        count = text.count(find)
        if count != 1:
            raise EntryError(f"{entry}: the text to find stands {count} times in {entry.file}:\n    {find}")
        text = text.replace(find, put)
    return text


def compare(project, entries, errors):
    """Compares entries with marks, texts and tests."""
    marks = find_marks(project)
    tests = find_tests(project)
    known = set()
    for entry in entries:
        for mark in entry.marks:
            file, _, words = mark.partition(": ")
            matches = [index for index, text in enumerate(marks.get(file, [])) if words and text.startswith(words)]
            if len(matches) != 1:
                errors.append(f"{entry.room}: the mark stands {len(matches)} times: {mark}")
            known.update((file, index) for index in matches)
        if entry.reason:
            continue
        try:
            change(project, entry)
        except EntryError as error:
            errors.append(str(error))
        if get_source_name(entry.test) not in tests:
            errors.append(f"{entry}: there is no test {entry.test}")
    for file, texts in marks.items():
        for index, text in enumerate(texts):
            if not file.startswith("Source/"):
                errors.append(f"the mark stands outside of Source: {file}: {text}")
            elif (file, index) not in known:
                errors.append(f"no entry has the mark {file}: {text}")
    return sum(len(texts) for texts in marks.values())


def write_table(marks, entries):
    """The counts of what the entries expect, in Markdown."""
    ends = [entry.end for entry in entries if not entry.reason]
    rows = [
        ("marks", marks),
        ("changes that would repair them", len(ends)),
        ("of these to be noticed by an assertion of the test", ends.count("failure")),
        ("of these to be noticed as the test throws", ends.count("exception")),
        ("of these to be noticed as a signal ends the test's program", ends.count("crash")),
        ("marks without a change", sum(len(entry.marks) for entry in entries if entry.reason)),
    ]
    return "| | |\n| --- | ---: |\n" + "".join(f"| {name} | {number} |\n" for name, number in rows)


def keep_table(project, table, is_written, errors):
    """Compares the counts in the document with a table, or writes that there."""
    path = project / "Documentation" / "Reliability.md"
    if is_written:
        documents.write(path, BEGIN, table)
    elif documents.read(path.read_text(encoding="utf-8"), BEGIN) != table.strip():
        errors.append(f"{path.relative_to(project)} has other counts: Scripts/check-quirks --marks --write")


def find_changed(project, entries):
    """The entries that a branch may have broken."""
    start = find_start(project)
    if start is None:
        return []
    files = set(get_changed(project, start))
    before = []
    for room in sorted({entry.room for entry in entries}):
        text = ask_git(project, "show", f"{start}:./Tests/Quirks/{room}.toml")
        try:
            before += [read_entry(room, table) for table in tomllib.loads(text or "").get("quirk", [])]
        except (EntryError, tomllib.TOMLDecodeError):
            pass  # All of the room count as new.
    tests = find_tests(project)

    def is_changed(entry):
        own = {entry.file, tests[get_source_name(entry.test)], *(mark.partition(": ")[0] for mark in entry.marks)}
        return entry not in before or not files.isdisjoint(own)

    return [entry for entry in entries if is_changed(entry)]


def describe(number, one, several=None):
    return f"{number} {one if number == 1 else several or one + 's'}"


class Build:
    """A build folder, from which single files and programs are built anew elsewhere."""

    def __init__(self, project, folder):
        self.project = project
        self.folder = folder
        with open(folder / "compile_commands.json", encoding="utf-8") as stream:
            commands = json.load(stream)
        # By object, as a file may be compiled for several targets.
        self.compilations = {}
        for command in commands:
            words = shlex.split(command["command"])
            self.compilations[words[words.index("-o") + 1]] = (command["file"], words)
        self.links = {}
        self.dependencies = self.read_dependencies()

    def get_link(self, program):
        """The words of the command that links a program."""
        if program not in self.links:
            result = subprocess.run(["ninja", "-C", self.folder, "-t", "commands", "-s", f"bin/{program}"],
                                    capture_output=True, text=True, check=False)
            steps = [step for step in result.stdout.split(" && ") if f"-o bin/{program}" in step]
            if result.returncode != 0 or len(steps) != 1:
                raise EntryError(f"the command that links {program} is not known: {result.stdout}{result.stderr}")
            self.links[program] = shlex.split(steps[0])
        return self.links[program]

    def get_objects(self, program, file, sources):
        """The objects of a program that depend on a file, or those of them that are compiled from the sources."""
        inputs = set(self.get_link(program))
        libraries = {os.path.basename(word) for word in inputs if word.endswith(".a")}
        path = str(self.project / file)
        wanted = {str(self.project / source) for source in sources}
        objects = []
        for name, (source, _) in self.compilations.items():
            target = re.match(r".*CMakeFiles/([^/]+)\.dir/", name)
            if name not in inputs and (target is None or f"lib{target[1]}.a" not in libraries):
                continue
            if (source == path or path in self.dependencies.get(name, ())) and (not wanted or source in wanted):
                objects.append(name)
        return objects

    def read_dependencies(self):
        """The files that each object depends on, from the last build."""
        output = subprocess.run(["ninja", "-C", self.folder, "-t", "deps"], capture_output=True, text=True,
                                check=True).stdout
        dependencies = {}
        for block in output.split("\n\n"):
            lines = block.splitlines()
            if lines:
                dependencies[lines[0].partition(": #deps")[0]] = {
                    os.path.normpath(self.folder / line.strip()) for line in lines[1:]}
        return dependencies

    def compile(self, name, overlay, output):
        """Compiles an object; the overlay puts another file in the place of a source or header."""
        words = list(self.compilations[name][1])
        words[words.index("-o") + 1] = str(output)
        # Warnings are no errors in a change.
        run_tool(words + ["-w", "-ivfsoverlay", str(overlay)], self.folder)

    def link(self, program, objects, output):
        """Links a program with changed objects in front of those that it is built from."""
        words = [word for word in self.get_link(program) if word not in objects]
        words[words.index("-o") + 1] = str(output)
        # The first definition of an inline function counts, and what is defined already is not taken from a library.
        first = next(index for index, word in enumerate(words) if word.endswith((".o", ".a")))
        words[first:first] = objects.values()
        run_tool(words + ["-Wl,--strip-debug"], self.folder)


def run_tool(words, folder):
    result = subprocess.run(words, cwd=folder, capture_output=True, text=True, check=False)
    if result.returncode != 0:
        raise EntryError(f"can't be built:\n{result.stderr[-3000:]}")


@dataclasses.dataclass
class Outcome:
    """How a program ended that ran tests, and which of them failed, with their messages."""

    end: str
    failures: dict[str, list[str]]
    passed: set[str]
    text: str


def run_tests(build, program, tests, folder, replacements):
    """Runs tests of a program, with replacements mounted over built programs."""
    report = folder / "report.json"
    report.unlink(missing_ok=True)
    mounts = "".join(f"mount --bind {shlex.quote(str(path))} {shlex.quote(str(build.folder / 'bin' / name))} && "
                     for name, path in replacements.items())
    words = ["unshare", "--mount", "--propagation", "private", "sh", "-c", f'{mounts}exec "$0" "$@"',
             str(build.folder / "bin" / program), f"--gtest_filter={':'.join(tests)}", f"--gtest_output=json:{report}"]
    process = subprocess.Popen(words, cwd=build.folder / "bin", stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, start_new_session=True)
    try:
        output, _ = process.communicate(timeout=SECONDS if len(tests) == 1 else 10 * SECONDS)
        end = "crash" if process.returncode < 0 else "exit" if report.exists() else f"status {process.returncode}"
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        output, _ = process.communicate()
        end = "time"
    outcome = Outcome(end, {}, set(), output.decode(errors="replace"))
    if end == "exit":
        for suite in json.loads(report.read_text(encoding="utf-8"))["testsuites"]:
            for case in suite["testsuite"]:
                name = f"{suite['name']}.{case['name']}"
                if case.get("failures"):
                    outcome.failures[name] = [failure["failure"] for failure in case["failures"]]
                elif case["result"] == "COMPLETED":
                    outcome.passed.add(name)
    return outcome


def check_guards(build, entries, folder):
    """Whether the guarding tests are there and pass; gives what is wrong, by program and test."""
    wrong = {}
    programs = {}
    for entry in entries:
        programs.setdefault(entry.program, set()).add(entry.test)
    for program, tests in sorted(programs.items()):
        outcome = run_tests(build, program, sorted(tests), folder, {})
        for test in tests:
            if outcome.end != "exit":
                wrong[program, test] = f"{program} does not end its tests without the change:\n{outcome.text[-2000:]}"
            elif any(fnmatch.fnmatchcase(name, test) for name in outcome.failures):
                wrong[program, test] = f"{test} fails without the change:\n{outcome.text[-2000:]}"
            elif not any(fnmatch.fnmatchcase(name, test) for name in outcome.passed):
                wrong[program, test] = f"{program} runs no test {test}"
    return wrong


def check_change(build, entry, folder):
    """Makes a change and runs its test. Gives what is wrong, or nothing."""
    folder.mkdir()
    changed = folder / "changed"
    changed.write_text(change(build.project, entry), encoding="utf-8")
    overlay = folder / "overlay.json"
    overlay.write_text(json.dumps({"version": 0, "use-external-names": False, "roots": [
        {"type": "file", "name": str(build.project / entry.file), "external-contents": str(changed)}]}))
    compiled = {}
    replacements = {}
    for program in entry.programs:
        objects = build.get_objects(program, entry.file, entry.sources)
        if not objects:
            raise EntryError(f"{program} has nothing of {entry.file}")
        for name in objects:
            if name not in compiled:
                compiled[name] = str(folder / f"{len(compiled)}.o")
                build.compile(name, overlay, compiled[name])
        replacements[program] = folder / program
        build.link(program, {name: compiled[name] for name in objects}, replacements[program])
    outcome = run_tests(build, entry.program, [entry.test], folder, replacements)
    if outcome.end == "time":
        return f"{entry.test} does not end within {SECONDS} s"
    if outcome.end != "exit":
        is_expected = outcome.end == entry.end
        return None if is_expected else f"{entry.test} ends its program by a {outcome.end}:\n{outcome.text[-2000:]}"
    if not outcome.failures:
        return f"{entry.test} does not notice the change"
    throws = all(re.match(r"unknown file\n(Unknown )?C\+\+ exception", message)
                 for messages in outcome.failures.values() for message in messages)
    end = "exception" if throws else "failure"
    return None if entry.end == end else f"{entry.test} ends by this {end}:\n{outcome.text[-2000:]}"


def check_entry(build, entry, number):
    folder = build.project / "build" / "quirks" / str(number)
    shutil.rmtree(folder, ignore_errors=True)
    try:
        return check_change(build, entry, folder)
    except EntryError as error:
        return str(error)
    finally:
        shutil.rmtree(folder, ignore_errors=True)


def check_changes(build, entries):
    """Makes all changes and prints what is wrong. Gives whether nothing is."""
    start = time.monotonic()
    folder = build.project / "build" / "quirks"
    folder.mkdir(parents=True, exist_ok=True)
    wrong = check_guards(build, entries, folder)

    def check(numbered):
        number, entry = numbered
        return wrong.get((entry.program, entry.test)) or check_entry(build, entry, number)

    noticed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as executor:
        for entry, error in zip(entries, executor.map(check, enumerate(entries))):
            if error is None:
                noticed += 1
            else:
                print(f"{entry}: {error}", file=sys.stderr, flush=True)
    shutil.rmtree(folder)
    seconds = time.monotonic() - start
    print(f"Noticed by their tests: {noticed} of {describe(len(entries), 'change')}, in {seconds:.0f} s.")
    return noticed == len(entries)


def parse():
    """The arguments; the script gives the first two."""
    parser = argparse.ArgumentParser(prog="Scripts/check-quirks", allow_abbrev=False,
                                     description="Makes each change that would repair a rule that is odd on purpose, "
                                     "and fails if the test that guards it doesn't.")
    parser.add_argument("project", type=pathlib.Path, help=argparse.SUPPRESS)
    parser.add_argument("build", type=pathlib.Path, help=argparse.SUPPRESS)
    parser.add_argument("--marks", action="store_true",
                        help="make no changes: only compare marks, entries, names of tests and counts")
    parser.add_argument("--changed", action="store_true",
                        help="make only the changes of entries that differ from main, or whose marks, changed file or "
                        "test are in a file that does; on main itself, from its first parent")
    parser.add_argument("--programs", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("--write", action="store_true", help="write the counts into Documentation/Reliability.md")
    parser.add_argument("--parse", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("rooms", nargs="*", metavar="room",
                        help="only this room: a file of Tests/Quirks, without .toml")
    options = parser.parse_intermixed_args()
    rooms = {path.stem for path in (options.project / "Tests" / "Quirks").glob("*.toml")}
    for room in options.rooms:
        if room not in rooms:
            parser.error(f"there is no room {room}")
    return options


def main():
    options = parse()
    if options.parse:
        return 0
    project = options.project.resolve()
    errors = []
    entries = read_entries(project / "Tests" / "Quirks", errors)
    marks = compare(project, entries, errors)
    if not errors:
        keep_table(project, write_table(marks, entries), options.write, errors)
    changes = [entry for entry in entries if not entry.reason]
    for error in errors:
        print(error, file=sys.stderr)
    reasons = describe(len(entries) - len(changes), "reason")
    if not options.programs:
        print(f"{describe(marks, 'mark')}, {describe(len(entries), 'entry', 'entries')}: "
              f"{describe(len(changes), 'change')}, and {reasons} for none.")
    if options.marks or errors:
        return 1 if errors else 0
    changes = [entry for entry in changes if not options.rooms or entry.room in options.rooms]
    if options.changed:
        changes = find_changed(project, changes)
    if options.programs:
        print(*sorted({program for entry in changes for program in (entry.program, *entry.programs)}))
        return 0
    if not changes:
        print("There is no change to make.")
        return 0
    return 0 if check_changes(Build(project, options.build.resolve()), changes) else 1


if __name__ == "__main__":
    sys.exit(main())
