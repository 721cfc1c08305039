"""What a program writes into a document: all between a mark of its own and the next end mark."""

import re

END = "<!-- to here -->"
MARK = re.compile(r"<!-- (?:to|[^>]+ writes from) here -->")


def find(text, begin):
    """Where that stands, from the mark to the end mark. The document has to have the mark once, and no mark of any
    program without its end mark, or the other way round: what stands behind would be lost."""
    marks = list(MARK.finditer(text))
    if any((mark[0] == END) != (index % 2 == 1) for index, mark in enumerate(marks)) or len(marks) % 2 == 1:
        raise ValueError(f"The document has to have an end mark, {END}, behind each mark, and nowhere else.")
    own = [index for index, mark in enumerate(marks) if mark[0] == begin]
    if len(own) != 1:
        raise ValueError(f"The document has to have the mark {begin} once, and has it {len(own)} times.")
    return marks[own[0]].end(), marks[own[0] + 1].start()


def read(text, begin):
    """What stands there, without blank lines around it."""
    start, end = find(text, begin)
    return text[start:end].strip()


def replace(text, begin, content):
    """The document with that content instead."""
    start, end = find(text, begin)
    return f"{text[:start]}\n\n{content.strip()}\n\n{text[end:]}"


def write(path, begin, content):
    """Puts the content into the document, which stays as it is if its marks are wrong."""
    path.write_text(replace(path.read_text(encoding="utf-8"), begin, content), encoding="utf-8")
