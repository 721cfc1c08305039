#!/usr/bin/python3 -B
"""Runs Examples/Ansible against several hosts: check_ansible.py PROJECT TARBALL FOLDER.

The hosts are folders of this machine over local connections, each with a tool of its own, that is started in process
namespaces of its own as it ends other processes of its name. One has no display, and fails.
"""

import json
import os
import re
import subprocess
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "Support"))
from xserver import start_server

PROJECT, TARBALL, FOLDER = (Path(argument).resolve() for argument in sys.argv[1:])
DOCUMENTS = FOLDER / "documents of the fleet"
GOOD, BAD, AWAY, BARE, ODD, BROKEN = "good-1", "bad", "away", "bare", "odd", "broken"
# The last document has a name that would break the report's table.
ODD_TOOL = r"""#!/bin/sh
case $1 in
    -CheckOpenGL) echo 'Segmentation fault | of {{ nothing }}' ;;
    -CheckBackgroundAutomation) echo '["a list"]' ;;
    *) printf '{"name":"a|b\\n%300s"}' | tr ' ' - ;;
esac
"""
CHECKS = ["CheckOpenGL", "CheckBackgroundAutomation", "CheckHidOverUsb"]


def expect(condition, text):
    if not condition:
        sys.exit(f"check_ansible.py: {text}")


def write_inventory(display):
    hosts = {name: {"ansible_connection": "local"} for name in (GOOD, "good-2", BAD, BARE, ODD, BROKEN)}
    for name, variables in hosts.items():
        variables["tovra_fieldhost_prefix"] = str(FOLDER / f"host {name}")
        variables["tovra_fieldhost_environment"] = {**display, "HOME": str(FOLDER)}
        variables["tovra_fieldhost_package"] = str(TARBALL)
    hosts[BAD]["tovra_fieldhost_environment"]["DISPLAY"] = ":7777"
    # Nothing is installed there.
    hosts[BARE]["tovra_fieldhost_package"] = ""
    hosts[BARE]["tovra_fieldhost_tool"] = str(FOLDER / "nothing")
    # What it prints is no document: for each check another text.
    tool = FOLDER / "odd tool"
    tool.write_text(ODD_TOOL)
    tool.chmod(0o755)
    hosts[ODD]["tovra_fieldhost_package"] = ""
    hosts[ODD]["tovra_fieldhost_tool"] = str(tool)
    # There is no such package, which is told at length.
    hosts[BROKEN]["tovra_fieldhost_package"] = str(FOLDER / f"a|b{300 * '-'}.tar.gz")
    # No such program makes a connection.
    hosts[AWAY] = {"ansible_connection": "ssh", "ansible_host": "127.0.0.1", "ansible_ssh_executable": "/bin/false"}
    shared = {
        "ansible_python_interpreter": sys.executable,
        "tovra_fieldhost_become": False,
        "tovra_fieldhost_start_by": [str(PROJECT / "Scripts/isolated")],
    }
    path = FOLDER / "inventory.json"
    path.write_text(json.dumps({"all": {"hosts": hosts, "vars": shared}}))
    return path


def play(inventory, *hosts):
    """Runs the playbook on these hosts: its status, and for each host the numbers that it ends with."""
    variables = json.dumps({"tovra_fieldhost_documents": str(DOCUMENTS)})
    inside = {"ANSIBLE_HOME": str(FOLDER / "ansible"), "ANSIBLE_LOCALHOST_WARNING": "false", "ANSIBLE_NOCOLOR": "1"}
    result = subprocess.run(
        ["ansible-playbook", "--inventory", inventory, "--limit", ",".join([*hosts, "localhost"])]
        + ["--extra-vars", variables, "fleet.yml"],
        cwd=PROJECT / "Examples/Ansible",
        env={
            "PATH": "/usr/local/sbin:/usr/sbin:/usr/bin:/sbin:/bin",
            "HOME": str(FOLDER),
            "LC_ALL": "C.UTF-8",
            **inside,
        },
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        check=False,
    )
    recap = {}
    for line in result.stdout.partition("PLAY RECAP")[2].splitlines()[1:]:
        if ":" in line:
            name, _, numbers = line.partition(":")
            recap[name.strip()] = {key: int(value) for key, value in re.findall(r"(\w+)=(\d+)", numbers)}
    (FOLDER / "last run").write_text(result.stdout)
    return result.returncode, recap, result.stdout


def read_report():
    lines = (DOCUMENTS / "report.md").read_text().splitlines()
    rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in lines if line.startswith("| ")][2:]
    return {(row[0], row[1]): row[2:] for row in rows}


def check_fleet(inventory):
    status, recap, output = play(inventory, GOOD, "good-2", BAD)
    expect(status == 2, f"a fleet with a bad host ended with {status}:\n{output}")
    for name in (GOOD, "good-2", BAD):
        expect(recap[name]["failed"] == (name == BAD), f"{name}: {recap}\n{output}")
        expect(recap[name]["changed"] > 0, f"nothing was installed on {name}: {recap}")
    report = read_report()
    expect(len(report) == 9, f"the report is of other hosts: {report}")
    for (name, check), row in report.items():
        is_open_gl = check == "CheckOpenGL"
        is_bad = name == BAD and is_open_gl
        result = "Platform Unsupported" if not is_open_gl else "Failed" if is_bad else "Success"
        expect(row == [result, "BAD" if is_bad else "good"], f"the report of {name}, {check}: {row}")
        document = json.loads((DOCUMENTS / name / f"{check}.json").read_text())
        expect(document["name"] == result and "code" in document, f"the document of {name}, {check}: {document}")


def check_again(inventory):
    """Hosts that are good already: nothing changes."""
    status, recap, output = play(inventory, GOOD, "good-2")
    expect(status == 0, f"a good fleet ended with {status}:\n{output}")
    expect(all(numbers["changed"] == 0 for numbers in recap.values()), f"a second run changes something: {recap}")


def check_none(inventory):
    """Where no host is good the report is written nevertheless, and no document of an earlier run stays."""
    (DOCUMENTS / BARE).mkdir()
    (DOCUMENTS / BARE / "CheckOpenGL.json").write_text("old")
    status, recap, output = play(inventory, BARE, AWAY)
    expect(status == 2, f"a fleet without a good host ended with {status}:\n{output}")
    expect(recap[BARE]["failed"] == recap[AWAY]["failed"] == 1, f"{recap}\n{output}")
    report = read_report()
    expect(report[AWAY, ""] == ["not reached", "BAD"], f"of a host that is not reached: {report}")
    for check in CHECKS:
        result, verdict = report[BARE, check]
        expect(result.startswith("no result, status ") and verdict == "BAD", f"of a host without the tool: {report}")
    expect(not list((DOCUMENTS / BARE).iterdir()), "a document of an earlier run stays")


def check_odd(inventory):
    """What is no document, or tells a long story, has its row of the report."""
    status, recap, output = play(inventory, ODD, BROKEN)
    expect(status == 2, f"a fleet of odd hosts ended with {status}:\n{output}")
    expect(recap[ODD]["failed"] == recap[BROKEN]["failed"] == 1, f"{recap}\n{output}")
    report = read_report()
    expect(len(report) == 4, f"the report is of other hosts: {report}")
    for check in CHECKS[:2]:
        expect(report[ODD, check] == ["no document, status 0", "BAD"], f"of what is no document: {report}")
        expect(not (DOCUMENTS / ODD / f"{check}.json").exists(), "what is no document is kept as one")
    for key, beginning in {(ODD, CHECKS[2]): "a/b -", (BROKEN, ""): "Unpack it: "}.items():
        expect(len(report[key]) == 2 and report[key][1] == "BAD", f"the row of {key}: {report}")
        expect(report[key][0].startswith(beginning) and len(report[key][0]) <= 200, f"the row of {key}: {report}")


def check_localhost(inventory):
    """This machine is in the report if the inventory has it."""
    hosts = json.loads(inventory.read_text())
    hosts["all"]["hosts"] = {"localhost": hosts["all"]["hosts"][GOOD]}
    own = FOLDER / "localhost.json"
    own.write_text(json.dumps(hosts))
    status, _, output = play(own)
    expect(status == 0, f"this machine ended with {status}:\n{output}")
    expect({name for name, _ in read_report()} == {"localhost"}, f"the report of this machine: {read_report()}")


def check_example():
    """The inventory of the example can be read, and its packages are where the project's scripts leave them."""
    folder = PROJECT / "Examples/Ansible"
    output = subprocess.run(
        ["ansible-inventory", "--inventory", folder / "inventory.yml", "--list"],
        env={
            "PATH": os.environ["PATH"],
            "HOME": str(FOLDER),
            "ANSIBLE_HOME": str(FOLDER / "ansible"),
            "LC_ALL": "C.UTF-8",
        },
        stdout=subprocess.PIPE,
        text=True,
        check=True,
    ).stdout
    inventory = json.loads(output)
    variables = inventory["_meta"]["hostvars"]
    expect({"debian", "macos"} <= set(inventory["all"]["children"]), f"the example's groups are {inventory['all']}")
    defaults = (folder / "roles/tovra_fieldhost/defaults/main.yml").read_text()
    for host, settings in variables.items():
        unknown = [name for name in settings if not re.search(f"^{name}:", defaults, re.MULTILINE)]
        expect(not unknown, f"the role knows no {unknown} of {host}")
    for host in inventory["debian"]["hosts"]:
        package = Path(variables[host]["tovra_fieldhost_package"].replace("{{ playbook_dir }}", str(folder)))
        built = next(TARBALL.parent.glob("tovra-fieldhost-setup-tool_*.deb"))
        expect(package.name == built.name, f"{host} gets {package.name}, and {built.name} was built")
        expect(package.parent.resolve() == PROJECT / "build/package/packages", f"{host} gets {package}")
    for host in inventory["macos"]["hosts"]:
        package = Path(variables[host]["tovra_fieldhost_package"].replace("{{ playbook_dir }}", str(folder)))
        commands = (PROJECT / "Documentation/Places.md").read_text()
        expect(package.parent.resolve() == PROJECT, f"{host} gets {package}")
        expect(f"make-package build/release {package.name}\n" in commands, f"{host} gets {package.name}")
        expect("launchctl" in variables[host]["tovra_fieldhost_start_by"], f"{host} has no OpenGL over ssh")
        as_user = " ".join(variables[host]["tovra_fieldhost_start_by"])
        expect(" sudo -H -u " in as_user, f"{host} starts the tool with the home of root: {as_user}")


def main():
    FOLDER.mkdir()
    check_example()
    with start_server(FOLDER) as display:
        inventory = write_inventory(display)
        check_fleet(inventory)
        check_again(inventory)
        check_none(inventory)
        check_odd(inventory)
        check_localhost(inventory)


main()
