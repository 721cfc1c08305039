"""The list of changes that make no difference that can be seen: Tests/Mutants/reasons.toml."""

import re
import tomllib

NAMES = ("file", "function", "kind", "line", "before", "after")
REQUIRED = {*NAMES, "reason"}


class Reasons:
    """An entry excuses the changes that it names, and no other: if several look the same, those of `occurrences`."""

    def __init__(self, path):
        with open(path, "rb") as file:
            self.entries = tomllib.load(file).get("survivor", [])
        for entry in self.entries:
            missing = REQUIRED - entry.keys()
            if missing or not entry["reason"] or entry.keys() - REQUIRED - {"occurrences"}:
                raise SystemExit(f"{path}: an entry lacks {sorted(missing)} or a reason, or has an unknown key: "
                                 f"{entry}")
        self.reasons = {}

    def match(self, known):
        """Compares the entries with all changes of some files, as pairs of name and change; gives what is wrong with
        the entries for these files."""
        looks, wrong = {}, []
        for name, change in known:
            look = name, change.function, change.kind, change.source_line, change.before, change.after
            looks.setdefault(look, {})[change.occurrence] = change
        names = {name for name, _ in known}
        for entry in self.entries:
            if entry["file"] not in names:
                continue
            fitting = looks.get(tuple(entry[name] for name in NAMES), {})
            named = entry.get("occurrences", list(fitting) if len(fitting) == 1 else [])
            if not fitting:
                wrong.append(f"{self.describe(entry)} fits no change")
            elif not named:
                wrong.append(f"{self.describe(entry)} fits {len(fitting)} changes: `occurrences` has to say which")
            for occurrence in named if fitting else ():
                change = fitting.get(occurrence)
                if change is None:
                    wrong.append(f"{self.describe(entry)} fits no change number {occurrence}")
                elif change.identity in self.reasons:
                    wrong.append(f"{self.describe(entry)} names a change that another entry names")
                else:
                    self.reasons[change.identity] = entry["reason"]
        return wrong

    def find_gone(self, root):
        """The entries whose file, function's name or line the sources do not have: a look that compiles nothing."""
        gone, files = [], {}
        for entry in self.entries:
            path = root / entry["file"]
            if path not in files:
                files[path] = path.read_text(encoding="utf-8") if path.is_file() else ""
            text = files[path]
            function = re.sub(r"<.*>$|:.*", "", entry["function"].rpartition("::")[2])
            if entry["line"] not in (line.strip() for line in text.splitlines()) or not has_word(text, function):
                gone.append(self.describe(entry))
        return gone

    def find(self, change):
        """The reason why a change may survive, if there is one."""
        return self.reasons.get(change.identity)

    @staticmethod
    def describe(entry):
        return f"an entry for {entry['file']}, {entry['line']}"


def has_word(text, word):
    return re.search(rf"(?<!\w){re.escape(word)}(?!\w)", text) is not None
