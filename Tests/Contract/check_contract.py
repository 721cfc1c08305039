#!/usr/bin/python3 -B
"""Holds Documentation/Contract against the tool: check_contract.py TOOL PROJECT, in process namespaces of its own.

Each option's real document is valid and each damaged one is not, the schema has the results of the tool's own
catalogue, the manual page and the list of options have the tool's options, and the callers print what they say.
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

TOOL, PROJECT = sys.argv[1], Path(sys.argv[2])
CONTRACT = PROJECT / "Documentation/Contract"
SCHEMA = json.loads((CONTRACT / "Documents.schema.json").read_text())
DOCUMENTS = [part["$ref"].removeprefix("#/$defs/") for part in SCHEMA["anyOf"]]
UNSUPPORTED = [name for name in DOCUMENTS if name not in ("CheckOpenGL", "WrongParameters", "ShowReturnCodes")]
STATUSES_OF_SIGNALS = (129, 134, 137, 139)  # As shells tell them: of SIGHUP, SIGABRT, SIGKILL and SIGSEGV.
FAILURES = []


def expect(condition, text):
    if not condition:
        FAILURES.append(text)


def run(command, environment):
    return subprocess.run(
        command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False
    )


def is_valid(document, name):
    schema = {"$schema": SCHEMA["$schema"], "$ref": f"#/$defs/{name}", "$defs": SCHEMA["$defs"]}
    return jsonschema.Draft202012Validator(schema).is_valid(document)


def damage(document):
    """Copies of a result's document with one thing wrong."""
    for key in document:
        changed = copy.deepcopy(document)
        del changed[key]
        yield changed, f"without {key}"
        changed = copy.deepcopy(document)
        changed[key] = 7
        yield changed, f"with another {key}"
    for key in document.get("data", {}):
        changed = copy.deepcopy(document)
        changed["data"][key] = 7
        yield changed, f"with a number as {key}"
        del changed["data"][key]
        yield changed, f"without {key}"
    if document.get("name") == "Wrong Parameter(s)":
        yield {**document, "data": {}}, "with data"


def check_document(option, name, environment):
    result = run([TOOL, f"-{option}"], environment)
    document = json.loads(result.stdout)
    expect(is_valid(document, name), f"-{option} printed {document}")
    expect(is_valid({**document, "later": 1}, name), f"-{option} may have no member more")
    expect(jsonschema.Draft202012Validator(SCHEMA).is_valid(document), f"-{option} is none of the documents")
    expect(result.returncode == document.get("code", 0) % 256, f"-{option} ended with {result.returncode}")
    for changed, text in damage(document):
        if changed != document:
            expect(not is_valid(changed, name), f"-{option} is valid {text}")
    return document


def get_results(name):
    """The results of a document, which several may share."""
    definition = SCHEMA["$defs"][name]
    while "oneOf" not in definition:
        definition = SCHEMA["$defs"][definition["$ref"].removeprefix("#/$defs/")]
    return definition["oneOf"]


def check_catalogue(catalogue):
    for parameter in catalogue["parameters"]:
        name = parameter["name"]
        if name in ("None", "FixBackgroundAutomation"):
            continue
        results = [part["properties"] for part in get_results(name)]
        pairs = [(result["name"]["const"], result["code"]["const"]) for result in results]
        expect(pairs == [(code["name"], code["code"]) for code in parameter["codes"]], f"the results of {name}")


def check_options():
    """The manual page and the list of options have each option, under both names."""
    source = (PROJECT / "Source/Fieldhost/Tools/Options.h").read_text()
    options = {name for pair in re.findall(r'\{Parameter::\w+, "(\w+)", "(\w+)"', source) for name in pair}
    page = (PROJECT / "Documentation/Man/TovraFieldhostSetupTool.1").read_text()
    listed = set(re.findall(r"\w+", " ".join(re.findall(r"^\.It Fl (.*)$", page, re.MULTILINE)))) - {"Fl"}
    expect(len(options) == 28 and listed == options, f"options on the manual page: {listed ^ options}")
    table = (CONTRACT / "README.md").read_text().partition("## Options")[2].partition("## ")[0]
    listed = set(re.findall(r"`-(\w+)`", table))
    expect(listed == options, f"options in the list: {listed ^ options}")


def check_swift():
    """The caller in Swift is not compiled here. Its text: nothing ends it by an error that is not caught, or by a
    document without data, and a signal is told from a status."""
    text = (CONTRACT / "Callers/check.swift").read_text()
    expect(not re.search(r"^(let \w+ = )?try[ !]|try!", text, re.MULTILINE), "check.swift catches every error")
    expect(re.search(r"^    let data: Data\?$", text, re.MULTILINE), "check.swift does without data")
    expect("terminationReason == .uncaughtSignal" in text, "check.swift tells a signal from a status")


def check_callers(environment, version):
    for caller in ("check.sh", "check.py"):
        path = CONTRACT / "Callers" / caller
        good = run([path, TOOL], environment)
        expect((good.stdout, good.returncode) == (version + "\n", 0), f"{caller}: {good}")
        bad = run([path, TOOL], {**environment, "DISPLAY": ""})
        expect(bad.stdout == "" and bad.returncode == 1, f"{caller} without a display: {bad}")
        expect("No window can be made.\n" in bad.stderr, f"{caller} without a display: {bad}")
        old = run([path, TOOL], {**environment, "MESA_GL_VERSION_OVERRIDE": "3.1"})
        expect(old.returncode == 1 and "There is no OpenGL 3.2.\n" in old.stderr, f"{caller} with an old driver: {old}")
        with tempfile.TemporaryDirectory() as folder:
            fake = Path(folder) / "fake"

            def call(script):
                fake.write_text("#!/bin/sh\n" + script)
                fake.chmod(0o755)
                return run([path, fake], environment)

            for status in STATUSES_OF_SIGNALS:
                end = call(f"ulimit -c 0; kill -{status - 128} $$\n")
                expected = f"a result: status {status}." if caller == "check.sh" else f"a result: {128 - status}."
                expect(end.returncode == 1 and expected in end.stderr, f"{caller} with a tool that was ended: {end}")
            other = call('echo \'{"name": "Missing Rights", "code": 3, "data": {"version": false}}\'\n')
            expected = "The result is unexpected: Missing Rights.\n"
            expect(other.returncode == 1 and other.stderr == expected, f"{caller} with another result: {other}")
            if caller == "check.sh":
                poor = run(["/bin/sh", path, fake], {**environment, "PATH": folder})
                expected = "jq is not installed.\n"
                expect(poor.returncode == 1 and poor.stderr == expected, f"{caller} without jq: {poor}")


def check_statuses():
    table = (CONTRACT / "README.md").read_text().partition("## Statuses")[2].partition("## ")[0]
    rows = re.findall(r"^\| [^|]*\| (\d+) \| (-\d+) \|", table, re.MULTILINE)
    expect(rows == [(str(status), str(128 - status)) for status in STATUSES_OF_SIGNALS], f"statuses of signals: {rows}")


def main():
    with tempfile.TemporaryDirectory() as home, XServer("-noreset") as server:
        environment = {"HOME": home, "PATH": os.environ["PATH"], "DISPLAY": server.display}
        jsonschema.Draft202012Validator.check_schema(SCHEMA)
        for option in UNSUPPORTED:
            check_document(option, option, environment)
        version = check_document("CheckOpenGL", "CheckOpenGL", environment)["data"]["version"]
        check_document("CheckOpenGL", "CheckOpenGL", {**environment, "DISPLAY": ""})
        check_document("CheckOpenGL", "CheckOpenGL", {**environment, "MESA_GL_VERSION_OVERRIDE": "3.1"})
        check_document("nosuch", "WrongParameters", environment)
        catalogue = check_document("ShowReturnCodes", "ShowReturnCodes", environment)
        check_catalogue(catalogue)
        check_options()
        check_statuses()
        check_callers(environment, version)
    check_swift()
    for failure in FAILURES:
        print(failure)
    sys.exit(1 if FAILURES else 0)


main()
