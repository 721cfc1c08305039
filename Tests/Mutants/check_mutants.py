#!/usr/bin/python3 -B
"""Changes the sources in one place at a time and looks whether a test notices: Scripts/check-mutants [option ...].

Prints each change that no test notices, with file and line, and fails if one of them has no reason in
Tests/Mutants/reasons.toml. What is known of a change is kept in build/mutants, so that a run can be stopped and taken
up again.

Status: 0 if each change that was asked for is noticed or has a reason, 1 if one survives without a reason, or a reason
fits no change or one that is noticed, 2 if nothing fits what is asked for, 3 if changes are left to be tried, or it was
stopped, or another run is at work. With --table, 1 stands for too many survivors in a room, or for such a reason;
--list and --prepare judge nothing. What --changed has no time for, or finds no commit or change for, is said and fails
nothing; of the sources of tests that differ fails what no test notices any more.
"""

import argparse
import concurrent.futures
import copy
import dataclasses
import itertools
import json
import os
import pathlib
import queue
import re
import signal
import subprocess
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "Support"))

import reasons
import runs
import tree
import documents
from history import find_start, get_changed, list_files

ROOT = tree.ROOT
BEGIN, END = "<!-- Scripts/check-mutants writes from here -->", "<!-- to here -->"

# What may become of a change. What the fast programs do not notice is put to the others, unless --fast is given.
NOTICED, SURVIVED, NOT_BY_FAST, UNTRIED = "noticed", "survived", "not noticed by fast tests", "not tried"

FOUND, NOTHING, UNFINISHED = 1, 2, 3
# How many of 100 changes of a room whose fate is final may survive without a reason.
ALLOWED = 3
# What the table says of that.
KEPT, OVER, OPEN = "yes", "**no**", "open"
# What --changed may take, with a rest for what is under way then.
CHANGED_SECONDS = 285

LIBRARIES = ["TovraSystem", "TovraHost", "TovraErrorHandler", "TovraDevelopmentErrorHandler", "TovraSetupTool",
             "TovraMacHost", "TovraMacPanels"]


def parse():
    parser = argparse.ArgumentParser(prog="Scripts/check-mutants", description=__doc__.split("\n\n")[1],
                                     epilog=__doc__.split("\n\n")[2])
    parser.add_argument("--room", action="append", default=[], help="only this room, such as System/Log; repeatable")
    parser.add_argument("--file", action="append", default=[], help="only files whose path contains this; repeatable")
    parser.add_argument("--function", help="only functions whose name contains this")
    parser.add_argument("--changed", nargs="?", const="main", metavar="BASE",
                        help="only functions whose text differs from where the branch left BASE (main), or from the "
                        "first parent of HEAD, if that is BASE itself or BASE is not known, and then the sources of "
                        "tests that differ; for 5 minutes at most, with all that goes before")
    parser.add_argument("--fast", action="store_true",
                        help=f"ask only {' and '.join(runs.FAST)}, which are built alone; what they do not notice is "
                        "kept as that, and put to the other tests by a later run")
    parser.add_argument("--again", choices=("all", "survivors"), help="try again what is known already")
    parser.add_argument("--jobs", type=int, default=1, help="changes that are tried at a time, each with a core (1)")
    parser.add_argument("--list", action="store_true", help="print the changes and what is known of them; try none")
    parser.add_argument("--table", action="store_true",
                        help="write the table by room into Documentation/Reliability.md and judge it: 1 if a room has "
                        "too many survivors without a reason, 3 if one is not finished")
    parser.add_argument("--prepare", action="store_true", help="build and record only")
    parser.add_argument("--folder", type=pathlib.Path, default=ROOT / "build" / "mutants", help=argparse.SUPPRESS)
    # The time at which the command began, and whether the sources may be rewritten where they are.
    parser.add_argument("--since", type=float, default=time.time(), help=argparse.SUPPRESS)
    parser.add_argument("--inside", action="store_true", help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.table and (options.file or options.function):
        parser.error("--table is made of whole rooms")
    if options.table and options.list:
        parser.error("--table and --list are two answers")
    return options


def say(text):
    print(text, flush=True)


def get_all_names(root=ROOT):
    return sorted(str(path.relative_to(root)) for path in (root / "Source").rglob("*")
                  if path.suffix in (".h", ".cpp", ".mm"))


def get_changed_names(start, root=ROOT):
    """The sources that differ from a commit."""
    wanted = set(get_changed(root, start, "Source"))
    return [name for name in get_all_names(root) if name in wanted]


def get_other_names(start, folder, root=ROOT):
    """The files of a folder that a commit has and that differ from it, or are gone."""
    return sorted(list_files(root, "diff", "--name-only", "-z", "--relative", "--no-renames", "--diff-filter=MD", start,
                             "--", folder))


def get_changed_tests(start, root=ROOT):
    """The files of tests that a commit has and that differ from it, or are gone. A new one makes no other weaker."""
    return [name for name in get_other_names(start, "Tests", root) if name.endswith("Test.cpp")]


def get_tested_names(tests, names):
    """The sources that files of tests are made for, by their names: HostFooTest.cpp tests Foo.h and Foo_Linux.cpp."""
    tested = set()
    for test in tests:
        stem = pathlib.Path(test).name.removesuffix("Test.cpp")
        tested |= {stem, *(stem.removeprefix(place) for place in ("Host", "Mac", "Tool", "Fieldhost"))}
    return [name for name in names if pathlib.Path(name).stem.partition("_")[0] in tested]


def get_text(start, name, root=ROOT):
    """A file as it was at a commit."""
    return subprocess.run(["git", "-C", root, "show", f"{start}:./{name}"], check=True, capture_output=True).stdout


def get_old_text(start, root=ROOT):
    """The text, as it was at a commit, of all sources that differ from it."""
    return "\n".join(get_text(start, name, root).decode() for name in get_other_names(start, "Source", root))


def get_programs(names):
    """The programs that test these files, for a check that has little time: rules are tested by the fast ones."""
    programs = set(runs.FAST)
    for name in names:
        if name.endswith("_MacOS.mm"):
            programs.add("AppKitTests")
        if name.endswith(("_Linux.cpp", "_Linux.h", "_Host.cpp")) or runs.get_room(name) == "System/X11":
            programs |= {"HostTests", "WindowTests"}
        if runs.get_room(name) == "System/Error":
            programs.add("ErrorHandlerTests")
        if runs.get_room(name) == "Fieldhost/Tools":
            programs.add("ToolTests")
    return [program for program in runs.PROGRAMS if program in programs]


class Results:
    """What is known of each change, in a file that is only ever added to."""

    def __init__(self, path):
        self.path = path
        self.known = {}
        self.lock = threading.Lock()
        if path.exists():
            for line in path.read_text().splitlines():
                try:
                    entry = json.loads(line)
                except ValueError:
                    continue # The run was stopped while it wrote.
                self.known[entry["key"], entry["body"]] = entry

    def get(self, change):
        return self.known.get((change.key, change.body))

    def get_fate(self, change, signatures):
        """What became of a change: NOTICED, SURVIVED, NOT_BY_FAST, or UNTRIED. What was noticed is not known any more
        once the file of the test that noticed it has changed, and what no test had a name for was not always
        confirmed."""
        entry = self.get(change)
        if entry is None or entry["result"] == NOTICED and not entry["test"] and not entry.get("confirmed"):
            return UNTRIED
        if entry["result"] == NOTICED and entry["made"] != signatures.get_own(entry["test"]):
            return UNTRIED
        return entry["result"]

    def has_survived(self, change, again, which, tests):
        """Whether a change has survived these tests already: `which` is "fast" or "slow", `tests` the digest of those
        that reach it."""
        entry = self.get(change)
        return entry is not None and again is None and entry.get(which) == tests

    def is_told(self, change):
        """Whether what is known of a change says how many tests were asked, as once it did not."""
        return not re.fullmatch(r"\d+ tests? reach(es)? it", self.get(change)["why"])

    def add_noticed(self, name, change, signatures, program, test, how):
        self.add(name, change, NOTICED, f"{program} {test} {how}".replace("  ", " "), test=test,
                 made=signatures.get_own(test), **({} if test else {"confirmed": True}))

    def add(self, name, change, result, why, **more):
        entry = {"key": change.key, "body": change.body, "file": name, "line": change.line, "function": change.function,
                 "kind": change.kind, "before": change.before, "after": change.after, "result": result,
                 "why": why} | more
        with self.lock:
            self.known[change.key, change.body] = entry
            with open(self.path, "a", encoding="utf-8") as file:
                file.write(json.dumps(entry) + "\n")


def describe(name, change):
    after = change.after if change.after else "left out"
    return f"{name}:{change.line}: {change.kind}: {change.before}  ->  {after}"


def quote(text):
    return json.dumps(text, ensure_ascii=False)


def get_entry(name, change):
    lines = ["[[survivor]]", f"file = {quote(name)}", f"function = {quote(change.function)}",
             f"kind = {quote(change.kind)}", f"line = {quote(change.source_line)}", f"before = {quote(change.before)}",
             f"after = {quote(change.after)}"]
    if change.alike > 1:
        lines.append(f"occurrences = [{change.occurrence}]")
    return "\n".join([*lines, 'reason = ""'])


@dataclasses.dataclass
class Counts:
    """How many changes there are, and what became of them; only the first three are final."""

    noticed: int = 0
    explained: int = 0
    unexplained: int = 0
    # Not noticed by the fast programs, and the others have not been asked.
    unsettled: int = 0
    untried: int = 0

    def __add__(self, other):
        return Counts(*(one + two for one, two in zip(dataclasses.astuple(self), dataclasses.astuple(other))))

    @property
    def all(self):
        return sum(dataclasses.astuple(self))

    @property
    def share(self):
        """How many of 100 survive without a reason, of those whose fate is final; open as long as what the fast
        programs did not notice is, among which the survivors are."""
        final = self.noticed + self.explained + self.unexplained
        return f"{100 * self.unexplained / final:.1f}" if final and not self.unsettled else "–"

    @property
    def verdict(self):
        """Whether few enough survive; open as long as not all has been tried."""
        if self.unsettled or self.untried:
            return OPEN
        return KEPT if 100 * self.unexplained <= ALLOWED * self.all else OVER


# What stands in the table but for the last column is read again.
HEAD = ["room", "changes", "noticed", "survived with a reason", "without a reason", "without, of 100 final",
        "only fast tests asked", "not tried", f"at most {ALLOWED} of 100"]


def write_table(rooms, path):
    """Writes the rooms' rows into the document's table, and leaves those of other rooms as they are. Gives all rows."""
    all_rooms = read_table(documents.read(path.read_text(encoding="utf-8"), BEGIN)) | rooms
    lines = [f"| {' | '.join(HEAD)} |", f"| --- |{' ---: |' * (len(HEAD) - 1)}"]
    lines += [get_row(room, all_rooms[room]) for room in sorted(all_rooms)]
    lines.append(get_row("all", sum(all_rooms.values(), Counts())))
    documents.write(path, BEGIN, "\n".join(lines))
    return all_rooms


def judge_table(rooms, wrong, left):
    """The status for a table: not every survivor counts here, only too many in a room."""
    verdicts = {room: counts.verdict for room, counts in sorted(rooms.items())}
    over = [room for room, verdict in verdicts.items() if verdict == OVER]
    for room in over:
        say(f"{room}: {rooms[room].share} of 100 changes survive without a reason, and at most {ALLOWED} may.")
    return get_status(over + wrong, left + [room for room, verdict in verdicts.items() if verdict == OPEN])


def read_table(table):
    lines = [line.strip("|") for line in table.splitlines() if line.startswith("|")]
    rows = [[cell.strip() for cell in line.split("|")] for line in lines]
    if not rows or rows[0][:-1] not in (HEAD[:-1], HEAD[:-2]):
        return {}
    return {row[0]: Counts(*(int(row[index]) for index in (2, 3, 4, 6, 7))) for row in rows[2:] if row[0] != "all"}


def get_row(room, counts):
    cells = [counts.all, counts.noticed, counts.explained, counts.unexplained, counts.share, counts.unsettled,
             counts.untried, counts.verdict]
    return f"| {' | '.join([room, *map(str, cells)])} |"


def main():
    options = parse()
    deadline = options.since + CHANGED_SECONDS if options.changed else None
    names = get_all_names()
    try:
        if options.inside:
            return check_changed(options, names, deadline)
        asked = choose(options, names)
        # Before all that takes long, and also of sources that are gone, at which nothing else looks.
        for entry in reasons.Reasons(tree.HERE / "reasons.toml").find_gone(ROOT):
            say(f"Tests/Mutants/reasons.toml: {entry} names a line or function that is gone.")
        if options.changed:
            start = find_start(ROOT, options.changed)
            if start is None:
                say(f"HEAD has no parent, and {options.changed} is no other commit: there is nothing to compare with.")
                return 0
            if not set(asked) & {*get_changed_names(start), *get_tested_names(get_changed_tests(start), names)}:
                say(f"No source, and no test of one, differs from {start[:12]}.")
                return 0
            return tree.run_inside(ROOT, options.folder, [*sys.argv[1:], "--inside"], deadline)
        if not asked:
            say("No source fits what is asked for.")
            return NOTHING
        return check(options, names, asked)
    except tree.OutOfTime as error:
        say(f"Time ran out while {str(error).removesuffix('.log')} was under way; no change was tried.")
        return 0 if options.changed else UNFINISHED
    except tree.Busy as error:
        say(f"Another run is at work in {error}.")
        return UNFINISHED
    except KeyboardInterrupt:
        say("Stopped.")
        return UNFINISHED


def choose(options, names):
    """The files that are asked for, in the order of the rooms that are."""
    asked = [name for name in names if (not options.room or runs.get_room(name) in options.room)
             and (not options.file or any(part in name for part in options.file))]
    if options.room:
        asked.sort(key=lambda name: (options.room.index(runs.get_room(name)), name))
    return asked


def check_changed(options, names, deadline):
    """Tries the changes in those functions whose text differs from that of the commit to compare with, and then, as far
    as there is time, those in the sources of the tests that differ."""
    start = find_start(ROOT, options.changed)
    place = tree.InPlace(ROOT, options.folder, deadline)
    place.prepare()
    if place.build.name == "asan":
        # A test may not use up the memory.
        os.environ["ASAN_OPTIONS"] = f"{os.environ.get('ASAN_OPTIONS', '')}:hard_rss_limit_mb=4096".lstrip(":")
    chosen, tests = choose(options, names), get_changed_tests(start)
    changed, tested = get_changed_names(start), get_tested_names(tests, names)
    trial = Trial(options, place, names, deadline)
    wrong, left = trial.try_functions([name for name in chosen if name in changed], start)
    try:
        if tests and not trial.stopped.is_set():
            more, later = trial.try_tested([name for name in chosen if name in tested], start, tests)
            wrong, left = wrong + more, left + later
    except tree.OutOfTime as error:
        step = str(error).removesuffix(".log")
        say(f"Time ran out while {step} was under way, for the sources of tests that differ.")
    return get_status(wrong, place.unread + (left if trial.stopped.is_set() else []))


class Trial:
    """What --changed tries. What it finds is wrong if a change survives without a reason, or a reason is outdated."""

    def __init__(self, options, place, names, deadline):
        self.options, self.place, self.names, self.deadline = options, place, names, deadline
        self.listed = reasons.Reasons(tree.HERE / "reasons.toml")
        self.stopped = threading.Event()
        # Of the sources before they are rewritten.
        self.signatures = runs.Signatures()
        self.tried, self.sources = set(), {}

    def find(self, asked):
        """The sources with all their changes, and which reasons fit none. A source that was found is rewritten
        since."""
        found = self.place.find_changes([name for name in asked if name not in self.sources], 2)
        self.sources |= found
        wrong = self.listed.match([(name, change) for name, source in found.items() for change in source.changes])
        for text in wrong:
            say(f"Tests/Mutants/reasons.toml: {text}.")
        return {name: copy.copy(self.sources[name]) for name in asked if name in self.sources}, wrong

    def try_functions(self, asked, start):
        """Tries the functions that differ; gives what is wrong, and what is left."""
        found, wrong = self.find(asked)
        old = get_old_text(start)
        for source in found.values():
            source.keep_changed(old)
        if not any(source.changes for source in found.values()):
            say(f"No function with something to change differs from {start[:12]}.")
            return wrong, []
        results, signatures = Results(self.place.folder / "results.jsonl"), self.signatures
        wanted, left = self.put(asked, found, "functions that differ", results, signatures, self.deadline)
        self.tried = {change.identity for _, change in wanted}
        _, survivors, _, noticed = report(wanted, results, self.listed, signatures)
        return survivors + noticed + wrong, left

    def try_tested(self, asked, start, tests):
        """Tries the sources of tests that differ; gives what is wrong, which is what the tests as they were notice and
        what they are does not, and what is left."""
        found, wrong = self.find(asked)
        for source in found.values():
            source.changes = [change for change in source.changes if change.identity not in self.tried]
        if not any(source.changes for source in found.values()):
            return wrong, []
        results, signatures = Results(self.place.folder / "results-of-tests.jsonl"), self.signatures
        # What was recorded are other changes.
        self.place.forget_reached()
        # The tests as they were need time, too, but what all others reach is known by then.
        last = time.time() + 0.75 * (self.deadline - time.time())
        wanted, left = self.put(asked, found, "the sources of tests that differ", results, signatures, last)
        survivors = [(name, change) for name, change in wanted
                     if results.get_fate(change, signatures) == SURVIVED and not self.listed.find(change)]
        if not survivors or self.stopped.is_set():
            return wrong, left
        for name in tests:
            tree.write(self.place.sources / name, get_text(start, name))
        self.place.prepare()
        results, signatures = Results(self.place.folder / "results-of-old-tests.jsonl"), runs.Signatures()
        signatures.shared = self.signatures.shared
        try:
            _, later = self.put(asked, found, f"these, which survived, for the tests of {start[:12]}", results,
                                signatures, self.deadline, {change.identity for _, change in survivors})
        except SystemExit:
            say(f"With the tests of {start[:12]} it does not build: what they noticed is not known.")
            return wrong, left
        lost = [(name, change) for name, change in survivors if results.get_fate(change, signatures) == NOTICED]
        for name, change in lost:
            say(f"{describe(name, change)}: no test notices it any more: {results.get(change)['why']} at {start[:12]}")
        return wrong + lost, left + later

    def put(self, asked, found, what, results, signatures, deadline, only=None):
        """Puts changes to the tests, of all or of only some identities; gives them, and what is left."""
        found = {name: source for name, source in found.items() if source.changes}
        numbered = self.place.number(found, self.names)
        programs = list(runs.FAST) if self.options.fast else get_programs(list(found))
        dropped = self.place.compile(found, numbered, programs, 2)
        wanted = [one for one in get_compiled(asked, numbered, dropped, self.options.function)
                  if only is None or one[1].identity in only]
        say(f"{len(wanted)} changes in {what}, of {', '.join(found)}.")
        left = try_all(self.options, self.place, numbered, programs, spread(wanted), results, signatures, self.stopped,
                       deadline)
        if left:
            why = "stopped" if self.stopped.is_set() else "time ran out"
            say(f"{len(left)} changes have not been tried, or not by all tests that may notice them: {why}.")
        return wanted, left


def spread(wanted):
    """The changes in an order that a limit of time cuts fairly: of each file by turns, and within it all over the
    place, but the same each time."""
    files = {}
    for name, change in wanted:
        files.setdefault(name, []).append((name, change))
    for parts in files.values():
        parts.sort(key=lambda one: one[1].identity)
    turns = itertools.zip_longest(*files.values())
    return [one for turn in turns for one in turn if one is not None]


def get_compiled(asked, numbered, dropped, function):
    return [(name, change) for name in asked if name in numbered for _, change in numbered[name]
            if change.identity not in dropped and (not function or function in change.function)]


def check(options, names, asked):
    place = tree.Tree(options.folder)
    place.copy(set(names))
    signatures = runs.Signatures()
    for name in names:
        # Until it is rewritten; the build folder is configured with what is there.
        if not (place.sources / name).exists():
            tree.write(place.sources / name, (ROOT / name).read_bytes())
    place.configure()
    found = place.find_changes(names, max(2, options.jobs))
    numbered = place.number(found, names)
    programs = list(runs.FAST if options.fast else runs.PROGRAMS)
    only_tells = options.list or options.table
    if only_tells:
        dropped = set(place.load("dropped.json", []))
    else:
        # The libraries first: what does not compile there would be compiled into each test again.
        place.compile(found, numbered, LIBRARIES, 2)
        dropped = place.compile(found, numbered, programs, 2)
    known = get_compiled(asked, numbered, dropped, None)
    wanted = get_compiled(asked, numbered, dropped, options.function)
    say(get_count(len(wanted), len(asked), sum(len(numbered.get(name, [])) for name in asked) - len(known)))
    if not wanted:
        say("No change fits what is asked for.")
        return UNFINISHED if get_unread(place, asked) else NOTHING
    results, listed = Results(place.folder / "results.jsonl"), reasons.Reasons(tree.HERE / "reasons.toml")
    wrong = listed.match(known)

    left = []
    if options.list:
        numbers = {change.key: number for parts in numbered.values() for number, change in parts}
        for name, change in wanted:
            fate = results.get_fate(change, signatures)
            why = "" if fate == UNTRIED else f", {results.get(change)['why']}"
            say(f"{numbers[change.key]} {describe(name, change)}: {fate}{why}")
    elif not options.table:
        left = [(name, change) for name, change in wanted
                if options.again == "all" or results.get_fate(change, signatures) != NOTICED]
        if left or options.prepare:
            left = try_all(options, place, numbered, programs, left, results, signatures, threading.Event())
        if options.prepare:
            return 0
        if left:
            say(f"{len(left)} changes have not been tried, or not by all tests that may notice them.")
    rooms, survivors, unsettled, noticed = report(wanted, results, listed, signatures)
    for name, parts in (("survivors", survivors), ("not-noticed-by-fast-tests", unsettled)):
        (place.folder / f"{name}.txt").write_text(
            "".join(f"{describe(name, change)}: {results.get(change)['why']}\n" for name, change in parts))
    (place.folder / "survivors.toml").write_text(
        "\n\n".join(get_entry(name, change) for name, change in survivors + unsettled) + "\n")
    for text in wrong:
        say(f"Tests/Mutants/reasons.toml: {text}.")
    if options.table:
        rooms = write_table(rooms, ROOT / "Documentation" / "Reliability.md")
        return judge_table(rooms, noticed + wrong, get_unread(place, asked))
    if options.list:
        return 0
    return get_status(survivors + noticed + wrong, left + get_unread(place, asked))


def get_count(count, files, left_out):
    """How many changes there are; those that are left out need not be the compiler's fault."""
    return (f"{count} changes in {files} files; {left_out} more can't be made: they do not compile, or overlap with "
            "another.")


def get_unread(place, asked):
    return [name for name in place.unread if name in asked]


def get_status(found, left):
    return FOUND if found else UNFINISHED if left else 0


def report(wanted, results, listed, signatures):
    """Prints what became of the changes: by room, each that survived without a reason, and each that has a reason and
    was noticed. Gives the counts by room, the changes without a reason that survived, those that only fast tests were
    asked about, and those with a reason that were noticed."""
    rooms, survivors, unsettled, noticed = {}, [], [], []
    for name, change in wanted:
        fate, reason = results.get_fate(change, signatures), listed.find(change)
        counts = rooms.setdefault(runs.get_room(name), Counts())
        if fate == UNTRIED:
            counts.untried += 1
        elif fate == NOTICED:
            counts.noticed += 1
            if reason:
                noticed.append((name, change))
        elif fate == NOT_BY_FAST:
            counts.unsettled += 1
            if not reason:
                unsettled.append((name, change))
        elif reason:
            counts.explained += 1
        else:
            counts.unexplained += 1
            survivors.append((name, change))
    for room in sorted(rooms):
        counts = rooms[room]
        say(f"{room}: {counts.all} changes, {counts.noticed} noticed, {counts.explained} survived with a reason, "
            f"{counts.unexplained} without ({counts.share} of 100), {counts.unsettled} put to fast tests only, "
            f"{counts.untried} not tried")
    for name, change in survivors:
        say(f"{describe(name, change)}: {results.get(change)['why']}")
    for name, change in noticed:
        say(f"{describe(name, change)}: has a reason, but is noticed: {results.get(change)['why']}")
    return rooms, survivors, unsettled, noticed


def try_all(options, place, numbered, programs, left, results, signatures, stopped, deadline=None):
    """Tries the changes; gives those that time was too short for. A signal sets `stopped`, and ends it early."""
    tests = runs.Tests(place, numbered, signatures)
    signal.signal(signal.SIGTERM, lambda *_: stopped.set())
    signal.signal(signal.SIGINT, lambda *_: stopped.set())
    workers = [runs.Worker(place.folder, number, deadline) for number in range(options.jobs)]
    try:
        tests.find(programs, bool(options.changed))
        fast = [program for program in tests.programs if program in runs.FAST]
        slow = [program for program in tests.programs if program not in runs.FAST]
        is_over = lambda: stopped.is_set() or deadline is not None and time.time() > deadline
        tests.record(workers, fast, say, is_over)
        if options.prepare:
            tests.record(workers, slow, say, is_over)
            return left
        tests.index()
        digests = {change.key: {"fast": tests.get_digest(change, fast)} for _, change in left}

        def has_survived(which):
            return lambda one: results.has_survived(one, options.again, which, digests[one.key][which])

        known, asked = divide(left, has_survived("fast"))

        def keep(result):
            # A test that could not be recorded may notice it.
            return lambda name, change: tests.unknown or results.add(
                name, change, result, get_reach(tests, name, change, fast if result == NOT_BY_FAST else fast + slow),
                **digests[change.key])

        survived, undone = try_by(tests, workers, fast, asked, results, keep(NOT_BY_FAST), is_over, stopped.set)
        survived += known
        if options.fast or not survived:
            return undone
        if options.changed:
            # There is no time for programs that are not made for a file.
            settled = [one for one in survived if set(get_programs([one[0]])) <= set(runs.FAST)]
            survived = [one for one in survived if one not in settled]
            for one in settled:
                keep(SURVIVED)(*one)
            if not survived:
                return undone
        # Whatever the fast programs don't notice.
        last = None if deadline is None else time.time() + (deadline - time.time()) / 2
        tests.record(workers, slow, say, lambda: stopped.is_set() or last is not None and time.time() > last)
        tests.index()
        for _, change in survived:
            digests[change.key]["slow"] = tests.get_digest(change, slow)
        known, asked = divide(survived, has_survived("slow"))
        for name, change in known:
            if not results.is_told(change):
                keep(SURVIVED)(name, change)
        survived, later = try_by(tests, workers, slow, asked, results, keep(SURVIVED), is_over, stopped.set)
        return undone + later + (survived if tests.unknown else [])
    finally:
        for worker in workers:
            worker.close()


def divide(changes, is_first):
    """The changes that something holds for, and the others."""
    return [one for one in changes if is_first(one[1])], [one for one in changes if not is_first(one[1])]


def get_reach(tests, name, change, programs):
    """How many of the tests that reach a change it is put to: there is no time for all that take long."""
    reaching = tests.reached_by.get(change.key, [])
    asked = sum(len(one) for _, one in runs.plan(reaching, programs, name, change))
    kind, verb = "suite" if tests.by_suite else "test", "was" if asked == 1 else "were"
    if not reaching:
        return f"no {kind} reaches it"
    that = f"{kind}s that reach" if len(reaching) > 1 else f"{kind} that reaches"
    return f"{asked} of {len(reaching)} {that} it {verb} asked"


def try_by(tests, workers, programs, left, results, keep, is_over, stop):
    """Puts the changes to the tests of some programs, and keeps at once what is noticed and, by `keep`, what survived;
    gives what survived, and what time was too short for. Stops where tests can't be run."""
    lucky, survived, undone = {}, [], []
    for near in (True, False):
        wanted, count, others = queue.SimpleQueue(), [0], []
        for one in left:
            wanted.put(one)

        def work(worker):
            run = runs.Runs(tests, worker, lucky)
            while True:
                try:
                    name, change = wanted.get_nowait()
                except queue.Empty:
                    return
                try:
                    noticed = None if is_over() else run.try_change(name, change, programs, near)
                except runs.TimeIsOver:
                    noticed = None
                except runs.CannotRun as error:
                    say(str(error))
                    stop()
                    noticed = None
                if not noticed and is_over():
                    undone.append((name, change))
                    continue
                if noticed:
                    results.add_noticed(name, change, tests.signatures, *noticed)
                elif near and run.has_others(change, programs):
                    others.append((name, change))
                else:
                    survived.append((name, change))
                    keep(name, change)
                count[0] += 1
                if count[0] % 100 == 0 or count[0] == len(left):
                    say(f"{count[0]} of {len(left)} changes put to {'the nearest' if near else 'all other'} tests of "
                        f"{', '.join(programs)}; {len(survived) + len(others)} survive so far.")

        with concurrent.futures.ThreadPoolExecutor(len(workers)) as pool:
            for future in [pool.submit(work, worker) for worker in workers]:
                future.result()
        left = others
    return survived, undone


if __name__ == "__main__":
    sys.exit(main())
