"""The list of changes that make no difference that can be seen: Tests/Mutants/reasons.toml."""

import tomllib


class Reasons:
    def __init__(self, path):
        with open(path, "rb") as file:
            self.entries = tomllib.load(file).get("survivor", [])
        for entry in self.entries:
            missing = {"file", "function", "line", "before", "after", "reason"} - entry.keys()
            if missing or not entry["reason"] or entry.keys() - {"file", "function", "line", "before", "after", "reason", "kind"}:
                raise SystemExit(f"{path}: an entry lacks {sorted(missing)} or a reason, or has an unknown key: {entry}")
        self.used = set()

    def find(self, name, change):
        """The reason why a change may survive, if there is one."""
        for index, entry in enumerate(self.entries):
            if (entry["file"], entry["function"], entry["line"], entry["before"], entry["after"]) == (
                    name, change.function, change.source_line, change.before, change.after):
                self.used.add(index)
                return entry["reason"]
        return None

    def find_unused(self, names):
        """The entries for these files that fit no change."""
        return [entry for index, entry in enumerate(self.entries) if entry["file"] in names and index not in self.used]
