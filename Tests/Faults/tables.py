"""Writes the tables of a whole run into a document, between two marks."""

import re

import documents
from kinds import KINDS, NOT_MET, NOT_MET_REASON

BEGIN = "<!-- Scripts/check-faults writes from here -->"
FORBIDDEN = "NOT ALLOWED"


def write_row(cells):
    return "| " + " | ".join(str(cell).replace("|", "\\|") for cell in cells) + " |\n"


def write_totals(totals, options):
    """One row for each family and kind, one column for each option."""
    text = write_row(["faults", "end", *(f"`{option}`" for option in options)])
    text += write_row(["---", "---", *("---:" for _ in options)])
    rows = {}
    for (family, option, kind), count in totals.items():
        rows.setdefault((family, kind), {})[option] = count
    families = list(dict.fromkeys(family for family, _ in rows))
    for (family, kind), counts in sorted(rows.items(), key=lambda row: families.index(row[0][0])):
        text += write_row([family, kind, *(counts.get(option, "") for option in options)])
    return text


def write_kinds(totals):
    """What the kinds mean that there were, each with its reason."""
    text = write_row(["end", "why it is allowed"]) + write_row(["---", "---"])
    seen = {kind for _, _, kind in totals}
    reasons = [(NOT_MET, NOT_MET_REASON), *((kind.name, kind.reason) for kind in KINDS)]
    for name, reason in dict.fromkeys(row for row in reasons if row[0] in seen):
        text += write_row([name, reason])
    return text


def read_document(path, options):
    """What the document contains between the marks: the text before the tables, and the totals."""
    tables = documents.read(path.read_text(encoding="utf-8"), BEGIN)
    totals = {}
    for row in re.findall(r"^\| (.*) \|$", tables, re.MULTILINE):
        family, kind, *counts = row.split(" | ") + [""] * len(options)
        for option, count in zip(options, counts):
            if count.isdigit():
                totals[family, option, kind] = int(count)
    return tables.split("\n\n|")[0], totals


def write_document(path, totals, options, summary, is_whole=True):
    """Writes the tables into the document. Those of a part stand in for the numbers of the same faults and options."""
    if not is_whole:
        pairs = {(family, option) for family, option, _ in totals}
        before, others = read_document(path, options)
        totals = {**{key: count for key, count in others.items() if key[:2] not in pairs}, **totals}
        families = ", ".join(sorted({family for family, _ in pairs}))
        summary = f"{before}\n\nRun again later, and counted below by that run: {families}: {summary}".strip()
    documents.write(path, BEGIN, f"{summary}\n\n{write_totals(totals, options)}\n{write_kinds(totals)}")
