#!/usr/bin/python3 -B
"""Changes the sources in one place at a time and looks whether a test notices: Scripts/check-mutants [option ...].

Prints each change that no test notices, with file and line, and fails if one of them has no reason in
Tests/Mutants/reasons.toml. What is known of a change is kept in build/mutants, so that a run can be stopped and taken
up again.

Status: 0 if each change that was asked for is noticed or has a reason, 1 if one survives without a reason, or a reason
fits no change or one that is noticed, 2 if nothing fits what is asked for, 3 if changes are left to be tried. What
--changed has no time for, or finds no commit or change for, is said and fails nothing.
"""

import argparse
import concurrent.futures
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

import reasons  # pylint: disable=wrong-import-position
import runs  # pylint: disable=wrong-import-position
import tree  # pylint: disable=wrong-import-position
import documents  # pylint: disable=wrong-import-position
from history import find_start  # pylint: disable=wrong-import-position

ROOT = tree.ROOT
BEGIN, END = "<!-- Scripts/check-mutants writes from here -->", "<!-- to here -->"

# What may become of a change. What the fast programs do not notice is put to the others, unless --fast is given.
NOTICED, SURVIVED, NOT_BY_FAST, UNTRIED = "noticed", "survived", "not noticed by fast tests", "not tried"

FOUND, NOTHING, UNFINISHED = 1, 2, 3
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
                        help="only functions whose text differs from where the branch left BASE (main), or from the first parent "
                        "of HEAD, if that is BASE itself or BASE is not known; for 5 minutes at most, with all that goes before")
    parser.add_argument("--fast", action="store_true", help=f"ask only {' and '.join(runs.FAST)}, which are built alone; "
                        "what they do not notice is kept as that, and put to the other tests by a later run")
    parser.add_argument("--again", choices=("all", "survivors"), help="try again what is known already")
    parser.add_argument("--jobs", type=int, default=1, help="changes that are tried at a time, each with a core (1)")
    parser.add_argument("--list", action="store_true", help="print the changes and what is known of them; try none")
    parser.add_argument("--table", action="store_true", help="write the table by room into Documentation/Reliability.md")
    parser.add_argument("--prepare", action="store_true", help="build and record only")
    parser.add_argument("--folder", type=pathlib.Path, default=ROOT / "build" / "mutants", help=argparse.SUPPRESS)
    # The time at which the command began, and whether the sources may be rewritten where they are.
    parser.add_argument("--since", type=float, default=time.time(), help=argparse.SUPPRESS)
    parser.add_argument("--inside", action="store_true", help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.table and (options.file or options.function):
        parser.error("--table is made of whole rooms")
    return options


def say(text):
    print(text, flush=True)


def get_all_names(root=ROOT):
    return sorted(str(path.relative_to(root)) for path in (root / "Source").rglob("*")
                  if path.suffix in (".h", ".cpp", ".mm"))


def get_changed_names(start, root=ROOT):
    """The sources that differ from a commit."""
    changed = subprocess.run(["git", "-C", root, "diff", "--name-only", "-z", "--relative", "--diff-filter=d", start, "--",
                              "Source"], check=True, capture_output=True, text=True).stdout
    new = subprocess.run(["git", "-C", root, "ls-files", "--others", "--exclude-standard", "-z", "--", "Source"], check=True,
                         capture_output=True, text=True).stdout
    wanted = set(changed.split("\0")) | set(new.split("\0"))
    return [name for name in get_all_names(root) if name in wanted]


def get_old_text(start, root=ROOT):
    """The text, as it was at a commit, of all sources that differ from it."""
    changed = subprocess.run(["git", "-C", root, "diff", "--name-only", "-z", "--relative", "--no-renames", "--diff-filter=MD",
                              start, "--", "Source"], check=True, capture_output=True, text=True).stdout
    return "\n".join(subprocess.run(["git", "-C", root, "show", f"{start}:./{name}"], check=True, capture_output=True,
                                    text=True).stdout for name in changed.split("\0") if name)


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
        """What became of a change: NOTICED, SURVIVED, NOT_BY_FAST, or UNTRIED. What was noticed is not known any more once
        the file of the test that noticed it has changed."""
        entry = self.get(change)
        if entry is None:
            return UNTRIED
        if entry["result"] == NOTICED and entry["made"] != signatures.get_own(entry["test"]):
            return UNTRIED
        return entry["result"]

    def has_survived(self, change, again, which, tests):
        """Whether a change has survived these tests already: `which` is "fast" or "slow", `tests` the digest of those that
        reach it."""
        entry = self.get(change)
        return entry is not None and again is None and entry.get(which) == tests

    def add_noticed(self, name, change, signatures, program, test, how):
        self.add(name, change, NOTICED, f"{program} {test} {how}".replace("  ", " "), test=test,
                 made=signatures.get_own(test))

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
    lines = ["[[survivor]]", f"file = {quote(name)}", f"function = {quote(change.function)}", f"kind = {quote(change.kind)}",
             f"line = {quote(change.source_line)}", f"before = {quote(change.before)}", f"after = {quote(change.after)}"]
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
        """How many of 100 survive without a reason, of those whose fate is final; open as long as what the fast programs did
        not notice is, among which the survivors are."""
        final = self.noticed + self.explained + self.unexplained
        return f"{100 * self.unexplained / final:.1f}" if final and not self.unsettled else "–"


HEAD = ["room", "changes", "noticed", "survived with a reason", "without a reason", "without, of 100 final",
        "only fast tests asked", "not tried"]


def write_table(rooms, path):
    """Writes the rooms' rows into the document's table, and leaves those of other rooms as they are."""
    all_rooms = read_table(documents.read(path.read_text(encoding="utf-8"), BEGIN)) | rooms
    lines = [f"| {' | '.join(HEAD)} |", f"| --- |{' ---: |' * (len(HEAD) - 1)}"]
    lines += [get_row(room, all_rooms[room]) for room in sorted(all_rooms)]
    lines.append(get_row("all", sum(all_rooms.values(), Counts())))
    documents.write(path, BEGIN, "\n".join(lines))


def read_table(table):
    rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in table.splitlines() if line.startswith("|")]
    if not rows or rows[0] != HEAD:
        return {}
    return {row[0]: Counts(*(int(row[index]) for index in (2, 3, 4, 6, 7))) for row in rows[2:] if row[0] != "all"}


def get_row(room, counts):
    cells = [counts.all, counts.noticed, counts.explained, counts.unexplained, counts.share, counts.unsettled,
             counts.untried]
    return f"| {' | '.join([room, *map(str, cells)])} |"


def main():
    options = parse()
    deadline = options.since + CHANGED_SECONDS if options.changed else None
    names = get_all_names()
    try:
        if options.inside:
            return check_changed(options, names, deadline)
        asked = choose(options, names)
        if options.changed:
            start = find_start(ROOT, options.changed)
            if start is None:
                say(f"HEAD has no parent, and {options.changed} is no other commit: there is nothing to compare with.")
                return 0
            changed = get_changed_names(start)
            if not set(asked) & set(changed):
                say(f"No source differs from {start[:12]}.")
                return 0
            return tree.run_inside(ROOT, options.folder, [*sys.argv[1:], "--inside"], deadline)
        if not asked:
            say("No source fits what is asked for.")
            return NOTHING
        return check(options, names, asked)
    except tree.OutOfTime as error:
        say(f"Time ran out while {str(error).removesuffix('.log')} was under way; no change was tried.")
        return 0


def choose(options, names):
    """The files that are asked for, in the order of the rooms that are."""
    asked = [name for name in names if (not options.room or runs.get_room(name) in options.room)
             and (not options.file or any(part in name for part in options.file))]
    if options.room:
        asked.sort(key=lambda name: (options.room.index(runs.get_room(name)), name))
    return asked


def check_changed(options, names, deadline):
    """Tries the changes in those functions whose text differs from that of the commit to compare with."""
    start = find_start(ROOT, options.changed)
    changed = get_changed_names(start)
    asked = [name for name in choose(options, names) if name in changed]
    place = tree.InPlace(ROOT, options.folder, deadline)
    place.prepare()
    if place.build.name == "asan":
        # A test may not use up the memory.
        os.environ["ASAN_OPTIONS"] = f"{os.environ.get('ASAN_OPTIONS', '')}:hard_rss_limit_mb=4096".lstrip(":")
    old = get_old_text(start)
    found = place.find_changes(asked, 2)
    for source in found.values():
        source.keep_changed(old)
    found = {name: source for name, source in found.items() if source.changes}
    numbered = place.number(found, names)
    if not found:
        say(f"No function with something to change differs from {start[:12]}.")
        return 0
    programs = list(runs.FAST) if options.fast else get_programs(list(found))
    signatures = runs.Signatures()
    dropped = place.compile(found, numbered, programs, 2)
    wanted = get_compiled(asked, numbered, dropped, options.function)
    say(f"{len(wanted)} changes in functions that differ from {start[:12]}, of {', '.join(found)}.")
    results, listed = Results(place.folder / "results.jsonl"), reasons.Reasons(tree.HERE / "reasons.toml")
    # Entries for other functions fit nothing here.
    listed.match(wanted)
    left = try_all(options, place, numbered, programs, spread(wanted), results, signatures, deadline)
    if left:
        say(f"{len(left)} changes have not been tried, or not by all tests that may notice them: time ran out.")
    _, survivors, _, _ = report(wanted, results, listed, signatures)
    return FOUND if survivors else 0


def spread(wanted):
    """The changes in an order that a limit of time cuts fairly: of each file by turns, and within it all over the place,
    but the same each time."""
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
    say(f"{len(wanted)} changes in {len(asked)} files; "
        f"{sum(len(numbered.get(name, [])) for name in asked) - len(known)} more do not compile.")
    if not wanted:
        say("No change fits what is asked for.")
        return NOTHING
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
            left = try_all(options, place, numbered, programs, left, results, signatures)
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
        write_table(rooms, ROOT / "Documentation" / "Reliability.md")
    if only_tells:
        return 0
    return get_status(survivors + noticed + wrong, left)


def get_status(found, left):
    return FOUND if found else UNFINISHED if left else 0


def report(wanted, results, listed, signatures):
    """Prints what became of the changes: by room, each that survived without a reason, and each that has a reason and was
    noticed. Gives the counts by room, the changes without a reason that survived, those that only fast tests were asked
    about, and those with a reason that were noticed."""
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


def try_all(options, place, numbered, programs, left, results, signatures, deadline=None):
    """Tries the changes; gives those that time was too short for."""
    tests = runs.Tests(place, numbered, signatures)
    stopped = threading.Event()
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
        known, asked = divide(left, lambda one: results.has_survived(one, options.again, "fast", digests[one.key]["fast"]))

        def keep(result):
            # A test that could not be recorded may notice it.
            return lambda name, change: tests.unknown or results.add(name, change, result, get_reach(tests, change),
                                                                     **digests[change.key])

        survived, undone = try_by(tests, workers, fast, asked, results, keep(NOT_BY_FAST), is_over)
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
        _, asked = divide(survived, lambda one: results.has_survived(one, options.again, "slow", digests[one.key]["slow"]))
        survived, later = try_by(tests, workers, slow, asked, results, keep(SURVIVED), is_over)
        return undone + later + (survived if tests.unknown else [])
    finally:
        for worker in workers:
            worker.close()


def divide(changes, is_first):
    """The changes that something holds for, and the others."""
    return [one for one in changes if is_first(one[1])], [one for one in changes if not is_first(one[1])]


def get_reach(tests, change):
    count = len(tests.reached_by.get(change.key, []))
    return f"{count} tests reach it" if count > 1 else "1 test reaches it" if count else "no test reaches it"


def try_by(tests, workers, programs, left, results, keep, is_over):
    """Puts the changes to the tests of some programs, and keeps at once what is noticed and, by `keep`, what survived;
    gives what survived, and what time was too short for."""
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
