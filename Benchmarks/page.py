"""The tables of Documentation/Performance.md."""

import sys
from pathlib import Path

import figures

sys.path.append(str(Path(__file__).resolve().parents[1] / "Tests/Support"))

import documents

BEGIN = "<!-- Scripts/bench writes from here -->"


def format_ratio(number):
    return f"{number:.2f}" if number < 100 else "over 100"


def format_cell(row):
    low, high = row.interval
    text = f"{row.rival}: **{format_ratio(row.ratio)}** ({format_ratio(low)} to {format_ratio(high)})"
    text += f", at most {row.bound.ratio:g}" if row.bound.ratio else f", no bound, as {row.bound.reason}"
    if row.verdict in (figures.MISSED, figures.NOT_SETTLED):
        text += f", **{row.verdict}**"
    return text


def format_table(rows):
    lines = ["| measured | peers | limits |", "| --- | --- | --- |"]
    for name in dict.fromkeys(row.name for row in rows):
        cells = ["<br>".join(format_cell(row) for row in rows if (row.name, row.kind) == (name, kind))
                 for kind in ("peer", "limit")]
        lines.append(f"| {name} | {cells[0]} | {cells[1]} |")
    return "\n".join(lines) + "\n"


def format_memory(rows):
    lines = ["| measured | resident, KiB | the limit's | ratio | page faults | the limit's | ratio |",
             "| --- " * 7 + "|"]
    for row in rows:
        cells = [f"{ours:.0f} | {theirs:.0f} | {format_ratio(ours / theirs)}"
                 for ours, theirs in (row.resident, row.faults)]
        lines.append(f"| {row.name} | {' | '.join(cells)} |")
    return "\n".join(lines) + "\n"


def format_tables(rows, memory):
    single = [row for row in rows if len(row.sizes) == 1]
    growing = [row for row in rows if len(row.sizes) > 1]
    return (f"{format_table(single)}\n## Growth\n\n{format_table(growing)}\n"
            f"## Memory\n\n{format_memory(memory)}")


def write(path, rows, memory):
    documents.write(path, BEGIN, format_tables(rows, memory))
