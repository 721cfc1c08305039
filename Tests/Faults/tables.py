"""Writes the tables of a whole run into a document, between two marks."""

from kinds import KINDS, NOT_MET, NOT_MET_REASON

BEGIN = "<!-- Scripts/check-faults writes from here -->"
END = "<!-- to here -->"
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
    for (family, kind), counts in rows.items():
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


def write_document(path, totals, options, summary):
    with open(path, encoding="utf-8") as document:
        text = document.read()
    begin = text.index(BEGIN) + len(BEGIN)
    end = text.index(END, begin)
    tables = f"\n\n{summary}\n\n{write_totals(totals, options)}\n{write_kinds(totals)}\n"
    with open(path, "w", encoding="utf-8") as document:
        document.write(text[:begin] + tables + text[end:])
