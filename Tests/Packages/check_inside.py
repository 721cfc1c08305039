#!/usr/bin/env python3
"""Checks the lists of what is inside the packages: check_inside.py ROOT VERSION PROGRAM.

ROOT is where the Debian packages are unpacked, VERSION is theirs, and PROGRAM is the tool before it was stripped, whose
names tell what is linked.
"""

import json
import re
import subprocess
import sys
from pathlib import Path

ROOT, VERSION, PROGRAM = Path(sys.argv[1]), sys.argv[2], sys.argv[3]
# Functions by which the linked parts are known, and the part that a list then has.
MARKS = {"uw_frame_state_for": "libgcc", "unw_step": "libunwind", "__cxa_allocate_exception": "libc++"}


def expect(condition, text):
    if not condition:
        sys.exit(f"check_inside.py: {text}")


def get_linked():
    """The parts that are linked into the program."""
    output = subprocess.run(["nm", "--defined-only", PROGRAM], stdout=subprocess.PIPE, text=True, check=True).stdout
    functions = {line.split()[-1] for line in output.splitlines()}
    return {part for function, part in MARKS.items() if function in functions}


def check_list(name):
    """The list of a package; the parts of others by their names, each with its relationship to the package."""
    folder = ROOT / "usr/share/doc" / name
    document = json.loads((folder / "tovra.spdx.json").read_text())
    expect(document["spdxVersion"] == "SPDX-2.3" and document["SPDXID"] == "SPDXRef-DOCUMENT", f"{name}: no SPDX 2.3")
    expect(name in document["documentNamespace"] and document["name"].startswith(name), f"{name}: another's list")
    packages = {package["SPDXID"]: package for package in document["packages"]}
    expect(len(packages) == len(document["packages"]), f"{name}: two packages have one SPDXID")
    for identity, package in packages.items():
        expect(re.fullmatch(r"SPDXRef-[A-Za-z0-9.-]+", identity), f"{name}: {identity} is no SPDXID")
        expect(re.fullmatch(r"\d[\w.+~-]*", package["versionInfo"]), f"{name}: the version of {package['name']}")
        expect(package["licenseDeclared"] and package["licenseConcluded"], f"{name}: the licence of {package['name']}")
    own = f"SPDXRef-{name}"
    expect(packages[own]["versionInfo"] == VERSION, f"{name}: the version is {packages[own]['versionInfo']}")
    parts = {}
    for relationship in document["relationships"]:
        related = relationship["relatedSpdxElement"]
        if related == own:
            expect(relationship["spdxElementId"] == "SPDXRef-DOCUMENT", f"{name}: {relationship}")
            expect(relationship["relationshipType"] == "DESCRIBES", f"{name}: {relationship}")
        else:
            expect(relationship["spdxElementId"] == own and related in packages, f"{name}: {relationship}")
            parts[packages[related]["name"]] = relationship["relationshipType"]
    expect(len(document["relationships"]) == len(packages), f"{name}: a package without a relationship")
    notices = {path.name.removesuffix(".copyright") for path in folder.glob("*.copyright")}
    expect(notices == set(parts), f"{name}: the notices are of {notices}, the parts {set(parts)}")
    return parts


linked = get_linked()
expect("libgcc" in linked or "libunwind" in linked, f"no unwinder is linked into {PROGRAM}")
tool = check_list("tovra-fieldhost-setup-tool")
static = {part for part, relationship in tool.items() if relationship == "STATIC_LINK"}
expect(static == linked, f"linked are {linked}, listed {static}")
expect(tool.get("RapidJSON") == "CONTAINS", "the tool contains RapidJSON")
development = check_list("libtovra-dev")
expect(development == {"RapidJSON": "CONTAINS", "libc++": "CONTAINS"}, f"libtovra-dev contains {development}")
