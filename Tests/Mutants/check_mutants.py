#!/usr/bin/python3 -B
"""Changes the sources in one place at a time and looks whether a test notices: Scripts/check-mutants [option ...].

Prints each change that no test notices, with file and line, and fails if one of them has no reason in
Tests/Mutants/reasons.toml. What is known of a change is kept in build/mutants, so that a run can be stopped and taken
up again.
"""

import argparse
import concurrent.futures
import json
import pathlib
import queue
import re
import signal
import subprocess
import sys
import threading
import time

import reasons
import runs
import tree

ROOT = tree.ROOT
BEGIN, END = "<!-- Scripts/check-mutants writes from here -->", "<!-- to here -->"

# What may become of a change. What the fast programs do not notice is put to the others, unless --fast is given.
NOTICED, SURVIVED, NOT_BY_FAST = "noticed", "survived", "not noticed by fast tests"

LIBRARIES = ["TovraSystem", "TovraHost", "TovraErrorHandler", "TovraDevelopmentErrorHandler", "TovraSetupTool",
             "TovraMacHost", "TovraMacPanels"]


def parse():
    parser = argparse.ArgumentParser(prog="Scripts/check-mutants", description=__doc__.split("\n\n")[1])
    parser.add_argument("--room", action="append", default=[], help="only this room, such as System/Log; repeatable")
    parser.add_argument("--file", action="append", default=[], help="only files whose path contains this; repeatable")
    parser.add_argument("--function", help="only functions whose name contains this")
    parser.add_argument("--changed", nargs="?", const="main", metavar="BASE",
                        help="only files that differ from the point where the branch left BASE (main), or from the first parent "
                        "of HEAD, if that is on BASE itself or BASE is not known; for 5 minutes at most, with the build")
    parser.add_argument("--fast", action="store_true", help=f"ask only {' and '.join(runs.FAST)}, which are built alone; "
                        "what they do not notice is kept as that, and put to the other tests by a later run")
    parser.add_argument("--again", choices=("all", "survivors"), help="try again what is known already")
    parser.add_argument("--jobs", type=int, default=1, help="changes that are tried at a time, each with a core (1)")
    parser.add_argument("--list", action="store_true", help="print the changes and what is known of them; try none")
    parser.add_argument("--table", action="store_true", help="write the table by room into Documentation/Reliability.md")
    parser.add_argument("--prepare", action="store_true", help="build and record only")
    parser.add_argument("--folder", type=pathlib.Path, default=ROOT / "build" / "mutants", help=argparse.SUPPRESS)
    return parser.parse_args()


def say(text):
    print(text, flush=True)


def get_all_names(root=ROOT):
    return sorted(str(path.relative_to(root)) for path in (root / "Source").rglob("*")
                  if path.suffix in (".h", ".cpp", ".mm"))


def get_start(base, root=ROOT):
    """The commit that the files are compared with: the point where the branch left the base, or the first parent of HEAD,
    where HEAD is the base itself or no base is known. None where HEAD has no parent."""
    def ask(*command):
        found = subprocess.run(["git", "-C", root, *command], capture_output=True, text=True)
        return found.stdout.strip() if found.returncode == 0 else None

    for candidate in (base, f"origin/{base}"):
        commit = ask("rev-parse", "--verify", "--quiet", f"{candidate}^{{commit}}")
        if commit is not None and commit == ask("rev-parse", "HEAD"):
            break
        start = ask("merge-base", "HEAD", candidate) if commit is not None else None
        if start is not None:
            return start
    return ask("rev-parse", "--verify", "--quiet", "HEAD^1")


def get_changed_names(start, root=ROOT):
    """The sources that differ from a commit."""
    changed = subprocess.run(["git", "-C", root, "diff", "--name-only", "-z", "--relative", "--diff-filter=d", start, "--",
                              "Source"], check=True, capture_output=True, text=True).stdout
    new = subprocess.run(["git", "-C", root, "ls-files", "--others", "--exclude-standard", "-z", "--", "Source"], check=True,
                         capture_output=True, text=True).stdout
    wanted = set(changed.split("\0")) | set(new.split("\0"))
    return [name for name in get_all_names(root) if name in wanted]


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

    def is_noticed(self, change, again):
        """Whether a change has been noticed; that stays so."""
        entry = self.get(change)
        return entry is not None and again != "all" and entry["result"] == NOTICED

    def has_survived(self, change, again, which, tests):
        """Whether a change has survived these tests already: `which` is "fast" or "slow", `tests` the digest of those that
        reach it."""
        entry = self.get(change)
        return entry is not None and again is None and entry.get(which) == tests

    def add(self, name, change, result, why, **tests):
        entry = {"key": change.key, "body": change.body, "file": name, "line": change.line, "function": change.function,
                 "kind": change.kind, "before": change.before, "after": change.after, "result": result,
                 "why": why} | tests
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
    return "\n".join(["[[survivor]]", f"file = {quote(name)}", f"function = {quote(change.function)}",
                      f"line = {quote(change.source_line)}", f"before = {quote(change.before)}",
                      f"after = {quote(change.after)}", 'reason = ""'])


def get_tried(rooms, wanted, results):
    """The rooms of which every change has been tried."""
    untried = {runs.get_room(name) for name, change in wanted if results.get(change) is None}
    return {room: counts for room, counts in rooms.items() if room not in untried}


def write_table(rooms):
    lines = ["| room | changes | noticed | survived with a reason | without | without, per cent | not noticed by fast tests |",
             "| --- | ---: | ---: | ---: | ---: | ---: | ---: |"]
    total = [0, 0, 0, 0, 0]
    for room in sorted(rooms):
        counts = rooms[room]
        total = [one + other for one, other in zip(total, counts)]
        lines.append(get_row(room, counts))
    lines.append(get_row("all", total))
    path = ROOT / "Documentation" / "Reliability.md"
    text = path.read_text(encoding="utf-8")
    before, _, rest = text.partition(BEGIN)
    _, _, after = rest.partition(END)
    path.write_text(f"{before}{BEGIN}\n\n" + "\n".join(lines) + f"\n\n{END}{after}", encoding="utf-8")


def get_row(room, counts):
    share = f"{100 * counts[3] / max(1, counts[0]):.1f}"
    return f"| {' | '.join([room, *map(str, counts[:4]), share, str(counts[4])])} |"


def main():
    options = parse()
    deadline = time.monotonic() + 290 if options.changed else None
    names = asked = get_all_names()
    if options.changed:
        start = get_start(options.changed)
        if start is None:
            say(f"HEAD has no parent, and {options.changed} is no other commit: there is nothing to compare with.")
            return 0
        asked = get_changed_names(start)
    asked = [name for name in asked if (not options.room or runs.get_room(name) in options.room)
             and (not options.file or any(part in name for part in options.file))]
    # In the order of the rooms that are asked for.
    if options.room:
        asked.sort(key=lambda name: (options.room.index(runs.get_room(name)), name))
    if not asked:
        say("No source is to be changed.")
        return 0
    # So few are rewritten that little is built: the rest is as it stands.
    folder = options.folder.with_name(options.folder.name + "-changed") if options.changed else options.folder
    place = tree.Tree(folder, deadline)
    try:
        return check(options, place, names if not options.changed else asked, asked, deadline)
    except tree.OutOfTime as error:
        say(f"Time ran out while {str(error).removesuffix('.log')} was under way; nothing was tried of {', '.join(asked)}.")
        return 0


def check(options, place, rewritten, asked, deadline):
    place.copy(set(rewritten))
    for name in rewritten:
        # Until it is rewritten; the build folder is configured with what is there.
        if not (place.sources / name).exists():
            tree.write(place.sources / name, (ROOT / name).read_bytes())
    place.configure()
    found = place.find_changes(rewritten, max(2, options.jobs))
    numbered = place.number(found, get_all_names())
    programs = get_programs(asked) if options.changed else list(runs.PROGRAMS)
    if options.fast:
        programs = list(runs.FAST)
    if not options.list and not options.table:
        # The libraries first: what does not compile there would be compiled into each test again.
        place.compile(found, numbered, LIBRARIES, 2)
        dropped = place.compile(found, numbered, programs, 2)
    else:
        dropped = set(place.load("dropped.json", []))
    wanted = [(name, change) for name in asked if name in numbered for _, change in numbered[name]
              if change.key not in dropped and (not options.function or options.function in change.function)]
    results = Results(place.folder / "results.jsonl")
    listed = reasons.Reasons(tree.HERE / "reasons.toml")
    without_compiling = sum(change.key in dropped for name in asked if name in numbered for _, change in numbered[name])
    say(f"{len(wanted)} changes in {len(asked)} files; {without_compiling} more do not compile.")

    left = [(name, change) for name, change in wanted if not results.is_noticed(change, options.again)]
    if not options.list and not options.table and (left or options.prepare):
        left = try_all(options, place, numbered, programs, left, results, deadline)
    elif options.list:
        numbers = {change.key: number for parts in numbered.values() for number, change in parts}
        for name, change in wanted:
            entry = results.get(change)
            found = f"{entry['result']}, {entry['why']}" if entry else "not tried"
            say(f"{numbers[change.key]} {describe(name, change)}: {found}")

    if left and not options.list and not options.table:
        say(f"{len(left)} changes have not been tried, or not by all tests that may notice them.")
    if options.prepare:
        return 0
    rooms, survivors, unsettled = report(wanted, results, listed)
    (place.folder / "survivors.txt").write_text(
        "".join(f"{describe(name, change)}: {entry['why']}\n" for name, change, entry in survivors))
    (place.folder / "not-noticed-by-fast-tests.txt").write_text(
        "".join(f"{describe(name, change)}: {entry['why']}\n" for name, change, entry in unsettled))
    (place.folder / "survivors.toml").write_text(
        "\n\n".join(get_entry(name, change) for name, change, _ in survivors + unsettled) + "\n")
    if options.table:
        write_table(get_tried(rooms, wanted, results))
    unused = listed.find_unused(asked) if not options.function else []
    for entry in unused:
        say(f"Tests/Mutants/reasons.toml: an entry for {entry['file']} fits no change: {entry['line']}")
    return 1 if survivors or unused else 0


def report(wanted, results, listed):
    """Prints what became of the changes: by room, and each that survived without a reason. Gives the counts by room, and
    the changes without a reason that survived, and that only fast tests were asked about."""
    rooms, survivors, unsettled, noticed, explained = {}, [], [], {}, set()
    for name, change in wanted:
        entry = results.get(change)
        if entry is None:
            continue
        # Two changes of a line may look the same, of which one survives.
        looks = name, change.function, change.source_line, change.before, change.after
        counts = rooms.setdefault(runs.get_room(name), [0, 0, 0, 0, 0])
        counts[0] += 1
        if entry["result"] == NOTICED:
            counts[1] += 1
            if listed.find(name, change):
                noticed[looks] = describe(name, change)
        elif listed.find(name, change):
            counts[2] += 1
            explained.add(looks)
        elif entry["result"] == NOT_BY_FAST:
            counts[4] += 1
            unsettled.append((name, change, entry))
        else:
            counts[3] += 1
            survivors.append((name, change, entry))
    for looks in noticed.keys() - explained:
        say(f"{noticed[looks]}: has a reason, but a test notices it.")
    for room in sorted(rooms):
        counts = rooms[room]
        say(f"{room}: {counts[0]} changes, {counts[1]} noticed, {counts[2]} survived with a reason, {counts[3]} without "
            f"({100 * counts[3] / counts[0]:.1f} %), {counts[4]} not noticed by fast tests")
    for name, change, entry in survivors:
        say(f"{describe(name, change)}: {entry['why']}")
    return rooms, survivors, unsettled


def try_all(options, place, numbered, programs, left, results, deadline):
    """Tries the changes; gives those that time was too short for."""
    tests = runs.Tests(place, numbered)
    stopped = threading.Event()
    signal.signal(signal.SIGTERM, lambda *_: stopped.set())
    signal.signal(signal.SIGINT, lambda *_: stopped.set())
    workers = [runs.Worker(place.folder, number) for number in range(options.jobs)]
    try:
        tests.find(programs)
        fast = [program for program in tests.programs if program in runs.FAST]
        slow = [program for program in tests.programs if program not in runs.FAST]
        is_over = lambda: stopped.is_set() or deadline is not None and time.monotonic() > deadline
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
        # Whatever the fast programs don't notice.
        last = None if deadline is None else time.monotonic() + (deadline - time.monotonic()) / 2
        tests.record(workers, slow, say, lambda: stopped.is_set() or last is not None and time.monotonic() > last)
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
    return f"{count} tests reach it" if count else "no test reaches it"


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
                if is_over():
                    undone.append((name, change))
                    continue
                noticed = run.try_change(name, change, programs, near)
                if noticed:
                    results.add(name, change, NOTICED, noticed)
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
