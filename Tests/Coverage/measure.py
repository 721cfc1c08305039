#!/usr/bin/python3 -B
"""Says which lines and branches of Source/ the tests of a build have run, and fails where that is too little.

measure.py <build folder> [--macos] [--branches] [--profiles FOLDER] [--write FILE]
measure.py --parse SCRIPT [option ...]

Prints a table of the rooms, each line that was not run and has no reason in reasons.toml, and each reason that does not
hold any more: one whose text is not in its file exactly once, or has a line that was run. --macos looks only at the
macOS host's files, asks for no reasons, and prints a line for each file. --branches also prints the branches that were
not taken. --profiles reads what the programs wrote from another folder than <build folder>/Profiles. --write puts the
table into a document. --parse only says what is wrong with the options that a script was given, or prints its help.

A line of a template or of a header counts as run if it was in any program and instantiation; so does a branch.
"""

import argparse
import fnmatch
import json
import re
import subprocess
import sys
import tempfile
import tomllib
from collections import defaultdict
from dataclasses import dataclass, field
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "Support"))

import documents

# Percentages of lines and branches that have to be run, of all and of each room.
TOTAL_BOUNDS = (99, 95)
ROOM_BOUNDS = (95, 75)
MACOS_BOUND = 95
MACOS_FILES = "*_MacOS.*"
# What is said about lines that are not run.
KEYS = {"file", "text", "behind", "reason"}
BEGIN = "<!-- Scripts/coverage writes from here -->"


@dataclass(eq=False)
class File:
    """What was run of one source: how often each line that has code, and each way out of each condition."""

    lines: dict = field(default_factory=dict)
    branches: dict = field(default_factory=dict)

    def get_missing_lines(self):
        return [line for line, count in sorted(self.lines.items()) if count == 0]

    def get_missing_branches(self):
        return [position for position, count in sorted(self.branches.items()) if count == 0]


@dataclass
class Share:
    """How many there are, and how many of them were run."""

    number: int = 0
    run: int = 0

    def add(self, counts):
        self.number += len(counts)
        self.run += sum(count > 0 for count in counts)

    def holds(self, bound):
        return self.run * 100 >= bound * self.number

    def describe(self):
        # Rounded down, so that 100 % are all.
        return f"{self.run * 1000 // self.number / 10:.1f} %" if self.number else "–"


def read_lines(segments):
    """How often each line was run, by the coverage tool's segments: each begins at a position and lasts to the next.

    A line counts as often as the most frequent segment that begins in it, or that it begins in. A gap, such as the
    blanks behind a statement, counts only where a line has nothing else.
    """
    starts = defaultdict(list)
    for line, _, count, has_count, is_entry, is_gap in segments:
        starts[line].append((count, has_count, is_entry, is_gap))
    lines = {}
    wrapped = None
    for line in range(min(starts, default=0), max(starts, default=-1) + 1):
        here = starts.get(line, [])
        entered = [count for count, has_count, is_entry, is_gap in here if has_count and is_entry and not is_gap]
        is_skipped = bool(here) and not here[0][1] and here[0][2]
        has_code = any(has_count and is_entry for _, has_count, is_entry, _ in here)
        if has_code or not is_skipped and wrapped and wrapped[1]:
            lines[line] = max([wrapped[0] if wrapped and wrapped[1] else 0, *entered])
        if here:
            wrapped = here[-1]
    return lines


def find_count(segments, line, column):
    """How often the code at a position was run."""
    found = 0
    for segment in segments:
        if (segment[0], segment[1]) > (line, column):
            break
        found = segment[2] if segment[3] else 0
    return found


def read_conditions(branches):
    """How often each condition was true and false, by its position."""
    counts = defaultdict(lambda: (0, 0))
    for line, column, end_line, end_column, is_true, is_false, *_ in branches:
        position = (line, column, end_line, end_column)
        counts[position] = (counts[position][0] + is_true, counts[position][1] + is_false)
    return counts


def read_accounts(accounts, root):
    """The sources in the accounts of programs, by their paths below the root."""
    files = defaultdict(File)
    # Conditions that the compiler decides: they are run, but neither true nor false.
    decided = defaultdict(set)
    for entry in (entry for account in accounts for part in account["data"] for entry in part["files"]):
        path = Path(entry["filename"]).resolve()
        if not path.is_relative_to(root / "Source"):
            continue
        file = files[str(path.relative_to(root))]
        for line, count in read_lines(entry["segments"]).items():
            file.lines[line] = max(count, file.lines.get(line, 0))
        for position, counts in read_conditions(entry["branches"]).items():
            for way, count in zip(("true", "false"), counts):
                file.branches[*position, way] = max(count, file.branches.get((*position, way), 0))
            if not any(counts) and find_count(entry["segments"], *position[:2]) > 0:
                decided[file].add(position)
    for file, positions in decided.items():
        for position in positions:
            if not file.branches[*position, "true"] and not file.branches[*position, "false"]:
                del file.branches[*position, "true"], file.branches[*position, "false"]
    return files


def find_unknown(files, root, pattern="*"):
    """The sources that no program contains, so that none of their lines is counted."""
    sources = (path.relative_to(root) for path in (root / "Source").rglob("*") if path.suffix in (".cpp", ".mm"))
    return sorted(str(path) for path in sources if fnmatch.fnmatch(path.name, pattern) and str(path) not in files)


def split(text):
    return [line.strip() for line in text.strip().splitlines()]


def find_text(behind, text, content):
    """The numbers of the lines at which a text of whole lines begins directly behind another one, whatever their
    indentation."""
    before, wanted = split(behind), split(text)
    whole = before + wanted
    lines = [line.strip() for line in content.splitlines()]
    starts = [start for start in range(len(lines)) if wanted and lines[start : start + len(whole)] == whole]
    return [start + len(before) + 1 for start in starts]


def apply_reasons(files, reasons, root):
    """The lines that reasons stand for, as (file, line), and what is wrong with the reasons."""
    named, findings = set(), []
    for reason in reasons:
        path, text = reason.get("file", ""), reason.get("text", "")
        name = f"{path}: the reason for '{''.join(split(text)[:1])}'"
        if unknown := set(reason) - KEYS:
            findings.append(f"{name} has an unknown {', '.join(sorted(unknown))}")
            continue
        if not reason.get("reason", "").strip():
            findings.append(f"{name} is empty")
            continue
        source = root / path
        content = source.read_text(encoding="utf-8") if source.is_file() else ""
        starts = find_text(reason.get("behind", ""), text, content)
        if len(starts) != 1:
            findings.append(f"{name} names a text that is there {len(starts)} times")
            continue
        numbers = range(starts[0], starts[0] + len(split(text)))
        counts = {number: files[path].lines[number] for number in numbers if number in files[path].lines}
        if not counts:
            findings.append(f"{name} names no line with code")
        run = [str(number) for number, count in counts.items() if count > 0]
        if run:
            findings.append(f"{name} names lines that are run: {', '.join(run)}")
        named |= {(path, number) for number in counts}
    return named, findings


def count_rooms(files):
    """Lines and branches of each folder, in their order."""
    rooms = defaultdict(lambda: (Share(), Share()))
    for path in sorted(files):
        room = rooms[str(Path(path).parent.relative_to("Source"))]
        room[0].add(files[path].lines.values())
        room[1].add(files[path].branches.values())
    return dict(sorted(rooms.items()))


def get_total(rooms):
    kinds = zip(*rooms.values()) if rooms else ((), ())
    return tuple(Share(sum(share.number for share in kind), sum(share.run for share in kind)) for kind in kinds)


def check_bounds(rooms):
    """What is below its bound."""
    findings = []
    for name, shares, bounds in [
        *((name, shares, ROOM_BOUNDS) for name, shares in rooms.items()),
        ("Source", get_total(rooms), TOTAL_BOUNDS),
    ]:
        for kind, share, bound in zip(("lines", "branches"), shares, bounds):
            if not share.holds(bound):
                findings.append(f"{name}: {share.describe()} of the {kind} are run, and {bound} % have to be")
    return findings


def write_table(rooms):
    """A table in Markdown."""
    rows = [*((f"`{name}`", shares) for name, shares in rooms.items()), ("all", get_total(rooms))]
    text = "| room | lines | run | branches | taken |\n| --- | ---: | ---: | ---: | ---: |\n"
    for name, (lines, branches) in rows:
        text += f"| {name} | {lines.number} | {lines.describe()} | {branches.number} | {branches.describe()} |\n"
    return text


def report(files, reasons, root, document=None):
    """Prints what was run, and whether it is enough."""
    named, findings = apply_reasons(files, reasons, root)
    rooms = count_rooms(files)
    missing = [(path, line) for path in sorted(files) for line in files[path].get_missing_lines()]
    table = write_table(rooms)
    table += f"\nLines that are not run: {len(missing)}. Reasons for them: {len(reasons)}.\n"
    print(table)
    findings += [f"{path}: no program contains it" for path in find_unknown(files, root)]
    findings += [f"{path}:{line}: not run, and without a reason" for path, line in missing if (path, line) not in named]
    findings += check_bounds(rooms)
    for finding in findings:
        print(finding)
    if document:
        documents.write(document, BEGIN, table)
    return not findings


def report_macos(files, root):
    """Prints what was run of each file of the macOS host, and whether it is enough."""
    files = {path: file for path, file in files.items() if fnmatch.fnmatch(Path(path).name, MACOS_FILES)}
    unknown = find_unknown(files, root, MACOS_FILES)
    total = Share()
    for path in sorted([*files, *unknown]):
        share = Share()
        missing = []
        if path in files:
            share.add(files[path].lines.values())
            total.add(files[path].lines.values())
            missing = files[path].get_missing_lines()
        numbers = "".join(f" {line}" for line in missing)
        print(f"{path}: {share.run} of {share.number} lines{', not' + numbers if missing else ''}")
    print(f"{total.run} of {total.number} lines are run, {total.describe()}.")
    return total.number > 0 and total.holds(MACOS_BOUND) and not unknown


def find_programs(folder):
    """The programs and libraries that say which lines their counters belong to."""
    programs = []
    for path in sorted(folder.iterdir()):
        if path.is_file() and not path.is_symlink():
            content = path.read_bytes()
            if content.startswith(b"\x7fELF") and b"__llvm_covmap" in content:
                programs.append(path)
    return programs


def run_tool(name, *arguments):
    return subprocess.run([f"{name}-19", *arguments], stdout=subprocess.PIPE, check=True).stdout


def find_identities(text):
    """The identities of programs that a tool has printed."""
    return re.findall(r"^(?: *Build ID: )?([0-9a-f]{16,})$", text.decode(), re.MULTILINE)


def find_profiles(folder):
    """The profiles of a folder, by the identities of the programs that have written them."""
    profiles = defaultdict(list)
    for profile in sorted(folder.glob("*.profraw")):
        for identity in find_identities(run_tool("llvm-profdata", "show", "--binary-ids", profile)):
            profiles[identity].append(profile)
    return profiles


def make_accounts(programs, folder, sources):
    """The coverage tool's account of the sources, for each program that was run. Each is taken with its own profiles
    alone: a function of the same name in another program may be a fake of it, or that of another host."""
    profiles = find_profiles(folder)
    for program in programs:
        own = [profile for identity in find_identities(run_tool("llvm-readelf", "--notes", program))
               for profile in profiles[identity]]
        if not own:
            continue
        with tempfile.NamedTemporaryFile() as data:
            run_tool("llvm-profdata", "merge", "--sparse", f"--output={data.name}", *own)
            yield json.loads(run_tool("llvm-cov", "export", "--skip-functions", "--skip-expansions",
                                      f"--instr-profile={data.name}", program, "--sources", sources))


def make_parser(script=None):
    """The parser of this program's arguments, or of a script's, which chooses the folders."""
    description, epilog = __doc__.split("\n\n")[0], __doc__.split("\n\n")[2]
    parser = argparse.ArgumentParser(prog=script, description=description, allow_abbrev=False,
                                     epilog=None if script else epilog)
    parser.add_argument("--branches", action="store_true", help="also print the branches that no test takes")
    parser.add_argument("--macos", action="store_true",
                        help="look only at the macOS host's files: print a line for each, and ask for no reasons")
    parser.add_argument("--write", type=Path, metavar="FILE", help="write the table into this document")
    if not script:
        parser.add_argument("build", type=Path, help="the folder of a build that counts, such as build/coverage")
        parser.add_argument("--profiles", type=Path, metavar="FOLDER",
                            help="where the programs wrote what was run (Profiles in the build folder)")
    return parser


def main():
    if sys.argv[1:2] == ["--parse"]:
        make_parser(sys.argv[2]).parse_args(sys.argv[3:])
        return 0
    options = make_parser().parse_args()
    root = Path(__file__).resolve().parents[2]
    profiles = options.profiles or options.build / "Profiles"
    accounts = make_accounts(find_programs(options.build / "bin"), profiles, root / "Source")
    files = read_accounts(accounts, root)
    if options.branches:
        for path in sorted(files):
            for line, column, _, _, way in files[path].get_missing_branches():
                print(f"{path}:{line}:{column}: never {way}")
    if options.macos:
        return 0 if report_macos(files, root) else 1
    with open(Path(__file__).with_name("reasons.toml"), "rb") as reasons:
        return 0 if report(files, tomllib.load(reasons).get("reason", []), root, options.write) else 1


if __name__ == "__main__":
    sys.exit(main())
