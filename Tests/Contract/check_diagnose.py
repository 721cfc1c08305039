#!/usr/bin/python3 -B
"""Holds the schema of the diagnosis program's document against the program: check_diagnose.py PROGRAM PROJECT.

Documents with and without a server are valid; each becomes invalid by any member that is left out or of another type.
The schema knows each name that the program has for a problem or for an outcome of the contact with the display.
"""

import copy
import json
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

import jsonschema

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "Support"))
from xserver import XServer

PROGRAM, PROJECT = sys.argv[1], Path(sys.argv[2])
SCHEMA = json.loads((PROJECT / "Documentation/Contract/Diagnose.schema.json").read_text())
VALIDATOR = jsonschema.Draft202012Validator(SCHEMA)
FAILURES = []


def expect(condition, text):
    if not condition:
        FAILURES.append(text)


def run(environment):
    result = subprocess.run([PROGRAM], env=environment, stdout=subprocess.PIPE, text=True, check=False)
    expect(result.returncode == 0, f"status {result.returncode} with {environment}")
    document = json.loads(result.stdout)
    for error in VALIDATOR.iter_errors(document):
        FAILURES.append(f"{error.json_path}: {error.message}")
    return document


def find_members(value, path=()):
    """The paths of all members of objects, those in lists included."""
    if isinstance(value, dict):
        for key, member in value.items():
            yield path + (key,)
            yield from find_members(member, path + (key,))
    elif isinstance(value, list):
        for index, element in enumerate(value):
            yield from find_members(element, path + (index,))


def check_damage(document):
    expect(VALIDATOR.is_valid({**document, "later": 1}), "no member may be added")
    for path in find_members(document):
        for text in ("missing", "another type"):
            damaged = copy.deepcopy(document)
            parent = damaged
            for key in path[:-1]:
                parent = parent[key]
            if text == "missing":
                del parent[path[-1]]
            else:
                parent[path[-1]] = 7.5
            expect(not VALIDATOR.is_valid(damaged), f"valid with {'/'.join(map(str, path))} {text}")


def check_identity():
    """The schema's identity has the form of that of the tool's documents."""
    tool = json.loads((PROJECT / "Documentation/Contract/Documents.schema.json").read_text())
    expected = tool["$id"].replace("/Documents.", "/Diagnose.")
    expect(expected != tool["$id"] and SCHEMA.get("$id") == expected, f"$id: {SCHEMA.get('$id')}")


def check_words():
    """What X programs show to a server is called a cookie."""
    for page in (PROJECT / "Documentation/Man").glob("*.1"):
        expect(not re.search(r"\bkeys?\b", page.read_text()), f"{page.name}: key")


def check_names():
    """The names in the program's source are those of the schema and of the manual page."""
    folder = PROJECT / "Examples/Diagnose"
    source = (folder / "Problems.cpp").read_text()
    names = set(re.findall(r'OutcomeText\{\s*"[^"]+",\s*"([A-Za-z0-9]+)"', source))
    names |= set(re.findall(r'(?:Fail|Warn)\(\s*"([A-Za-z0-9]+)"', source))
    known = set(SCHEMA["properties"]["problems"]["items"]["properties"]["name"]["enum"])
    expect(len(names) > 20 and names == known, f"names of problems: {names ^ known}")
    contacts = set(re.findall(r'return \{"([A-Za-z]+)", std::nullopt\}', (folder / "XProtocol.cpp").read_text()))
    outcomes = set(SCHEMA["properties"]["display"]["properties"]["outcome"]["enum"])
    unknown = contacts - outcomes - {"Accepted"}
    expect(len(contacts) > 8 and not unknown, f"outcomes of the contact: {unknown}")
    page = (PROJECT / "Documentation/Man/TovraFieldhostDiagnose.1").read_text()
    listed = re.findall(r"\w+", " ".join(re.findall(r"^\.It Sy (.*)$", page, re.MULTILINE)))
    expect(sorted(listed) == sorted(names), f"problems on the manual page: {set(listed) ^ names}")


def main():
    jsonschema.Draft202012Validator.check_schema(SCHEMA)
    # Without -noreset: the program itself keeps the server from a reset between its parts.
    with tempfile.TemporaryDirectory() as home, XServer() as server:
        check_damage(run({}))
        environment = {"HOME": home, "PATH": os.environ["PATH"]}
        check_damage(run(environment))
        check_damage(run({**environment, "DISPLAY": server.display}))
        run({**environment, "DISPLAY": server.display, "MESA_GL_VERSION_OVERRIDE": "3.1"})
        run({**environment, "DISPLAY": "nonsense\udcff", "HOME": "/\udcff"})
        check_names()
    check_identity()
    check_words()
    for failure in FAILURES:
        print(failure)
    sys.exit(1 if FAILURES else 0)


main()
