#!/usr/bin/env python3
"""Checks what is made on a Mac for Macs: check_macos.py PROJECT BUILD FOLDER.

The package's recipe is run on a build of this machine, with stand-ins for the Mac's programs that note how they are
called. The privacy profile is read as a property list, and its keys are those of the payload's description, no more.
"""

import copy
import json
import os
import plistlib
import re
import shutil
import subprocess
import sys
import uuid
import xml.etree.ElementTree as ElementTree
from pathlib import Path

PROJECT, BUILD, FOLDER = (Path(argument).resolve() for argument in sys.argv[1:])
RECIPES = PROJECT / "Packaging/MacOs"
PROGRAM = "/usr/local/libexec/tovra-fieldhost/TovraFieldhostSetupTool"
IDENTIFIER = "invalid.tovra.fieldhost-setup-tool"
# The programs for which profiles are made, and the arguments for that.
PROFILES = {
    ("/usr/local/libexec/tovra-fieldhost/TovraFieldhostDiagnose", "invalid.tovra.fieldhost-diagnose"): [],
    ("/opt/a program/Sibling_1.0", "com.example.Sibling-1"): ["/opt/a program/Sibling_1.0", "com.example.Sibling-1"],
}
NOTICE = "share/doc/tovra-fieldhost-setup-tool/RapidJSON.copyright"
TEAM = "ABCDE12345"
# Notes its name and arguments, makes the file that it is called for, and fails if it is told to.
STAND_IN = f"#!{sys.executable} -IS" + """
import json, os, shutil, subprocess, sys
from pathlib import Path
name, arguments = Path(sys.argv[0]).name, sys.argv[1:]
call = {"name": name, "arguments": arguments}
if name == "pkgbuild":
    root = Path(arguments[arguments.index("--root") + 1])
    files = [path for path in root.rglob("*") if path.is_file()]
    call["files"] = {str(path.relative_to(root)): path.stat().st_mode & 0o111 for path in files}
if name == "productbuild":
    call["distribution"] = Path(arguments[arguments.index("--distribution") + 1]).read_text()
    call["packages"] = os.listdir(arguments[arguments.index("--package-path") + 1])
with open(os.environ["JOURNAL"], "a") as journal:
    journal.write(json.dumps(call) + "\\n")
if os.environ.get("FAILING") in (name, " ".join([name, *arguments[:1]])):
    sys.exit(3)
if name == "uname":
    print(os.environ.get("SYSTEM", "Darwin"))
elif name in ("pkgbuild", "productbuild"):
    Path(arguments[-1]).write_text(name)
elif name == "xcrun" and arguments[0] == "notarytool":
    print(os.environ.get("ANSWER", "Accepted"))
elif name == "xcrun":
    Path(arguments[-1]).write_text("stapled")
elif name == "cmake":
    # Installs as CMake does; on demand without RapidJSON's notice, which a Mac's build may not have found.
    subprocess.run([os.environ["CMAKE"], *arguments], check=True)
    if "WITHOUT" in os.environ:
        Path(arguments[arguments.index("--prefix") + 1], os.environ["WITHOUT"]).unlink()
elif name == "plutil":
    print({"status": Path(arguments[-1]).read_text().strip(), "id": "the-id"}[arguments[1]])
"""
PROGRAMS = ["uname", "cmake", "sudo", "codesign", "pkgbuild", "productbuild", "pkgutil", "xcrun", "plutil", "spctl"]
STEPS = ["codesign --force", "codesign --verify", "pkgbuild", "productbuild", "pkgutil", "xcrun notarytool", "plutil"]
STEPS += ["xcrun stapler", "spctl"]
IDENTITIES = {
    "TOVRA_APPLICATION_IDENTITY": f"Developer ID Application: Somebody ({TEAM})",
    "TOVRA_INSTALLER_IDENTITY": f"Developer ID Installer: Somebody ({TEAM})",
    "TOVRA_NOTARY_PROFILE": "an account",
}
# The keys of a profile, of the payload for privacy, and of one program in it: those that must be there, and those that
# may. A program's rights are given by the key Authorization, or by the older Allowed.
COMMON = {"PayloadType", "PayloadVersion", "PayloadIdentifier", "PayloadUUID"}
OPTIONAL = {"PayloadDisplayName", "PayloadDescription", "PayloadOrganization"}
REQUIRED_OF_PROFILE = COMMON | {"PayloadContent"}
OPTIONAL_OF_PROFILE = OPTIONAL | {"PayloadScope", "PayloadRemovalDisallowed"}
REQUIRED_OF_PROGRAM = {"Identifier", "IdentifierType", "CodeRequirement", "Authorization"}
OPTIONAL_OF_PROGRAM = {"Comment", "StaticCode"}
AUTHORIZATIONS = {
    "Accessibility": {"Allow", "Deny"},
    # A profile can't give this right: it lets users without administrator's rights give it.
    "ScreenCapture": {"AllowStandardUserToSetSystemService", "Deny"},
}


def expect(condition, text):
    if not condition:
        sys.exit(f"check_macos.py: {text}")


class Mac:
    """A folder of stand-ins, and what they noted."""

    def __init__(self):
        self.folder = FOLDER / "a mac"
        self.programs = self.folder / "bin"
        self.programs.mkdir(parents=True)
        for name in PROGRAMS:
            (self.programs / name).write_text(STAND_IN)
            (self.programs / name).chmod(0o755)
        self.journal = self.folder / "journal"
        self.package = self.folder / "a package.pkg"
        self.temporary = self.folder / "temporary"
        self.temporary.mkdir()

    def make_package(self, build=BUILD, without=(), **environment):
        self.journal.write_text("")
        self.package.write_text("of an older build")
        variables = {name: value for name, value in IDENTITIES.items() if name not in without}
        result = subprocess.run(
            [RECIPES / "make-package", build, self.package],
            env={
                "PATH": f"{self.programs}:{os.environ['PATH']}",
                "JOURNAL": self.journal,
                "TMPDIR": self.temporary,
                "CMAKE": shutil.which("cmake"),
                **variables,
                **environment,
            },
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
            check=False,
        )
        expect(not list(self.temporary.iterdir()), "make-package leaves its folder")
        expect(
            result.returncode == 0 or not self.package.exists(),
            f"make-package fails and leaves an older package: {result.stderr}",
        )
        return result

    def get_calls(self):
        return [json.loads(line) for line in self.journal.read_text().splitlines()]


def get_option(call, name):
    return call["arguments"][call["arguments"].index(name) + 1]


def get_identifiers(calls):
    """The identifiers under which programs are signed, by their paths in the package."""
    payload = next(get_option(call, "--root") for call in calls if call["name"] == "pkgbuild")
    return {
        str(Path(call["arguments"][-1]).relative_to(payload)): get_option(call, "--identifier")
        for call in calls
        if call["name"] == "codesign" and "--sign" in call["arguments"]
    }


def check_package(mac):
    result = mac.make_package()
    expect(result.returncode == 0, f"make-package: {result.stderr}")
    expect(mac.package.read_text() == "stapled", "the package that is kept is the one that notarisation was stapled to")
    calls = [call for call in mac.get_calls() if call["name"] not in ("uname", "cmake", "plutil")]
    names = [call["name"] for call in calls]
    order = [*["codesign"] * 4, "pkgbuild", "productbuild", "pkgutil", "xcrun", "xcrun", "spctl"]
    expect(names == order, f"make-package calls {names}")
    component, product, _, submit, staple, assess = calls[4:]

    identifiers = get_identifiers(calls)
    for sign, verify in (calls[0:2], calls[2:4]):
        is_hardened = get_option(sign, "--options") == "runtime"
        expect(is_hardened and "--timestamp" in sign["arguments"], "a program's signature")
        expect(get_option(sign, "--sign") == IDENTITIES["TOVRA_APPLICATION_IDENTITY"], "who signs a program")
        signed = sign["arguments"][-1]
        expect(verify["arguments"][0] == "--verify" and verify["arguments"][-1] == signed, "the check of a signature")
    expect(identifiers.get(PROGRAM[1:]) == IDENTIFIER, "the identifier of the tool's signature")
    expect(len(set(identifiers.values())) == len(identifiers), "each program has an identifier of its own")

    version = re.search(r"^    VERSION ([\d.]+)", (PROJECT / "CMakeLists.txt").read_text(), re.MULTILINE)[1]
    expect(get_option(component, "--version") == version, "the component's version")
    expect(get_option(component, "--identifier") == IDENTIFIER, "the component's identifier")
    expect(get_option(component, "--install-location") == "/", "where the component goes")
    files = component["files"]
    programs = {name for name, mode in files.items() if mode and "/libexec/" in name}
    expect(programs == set(identifiers), f"what is signed: {identifiers}, and what can be started: {programs}")
    for path in (PROGRAM, "/usr/local/bin/TovraFieldhostSetupTool"):
        expect(files.get(path[1:]), f"{path} can be started")
    names = {Path(name).name for name in files}
    for name in ("README", "Halvorn-Configuration-2501.json", "TovraFieldhostSetupTool.1.gz", "RapidJSON.copyright"):
        expect(name in names, f"{name} is in the package")
    expect(not any(name.endswith((".a", ".h", ".cmake")) for name in files), f"the framework is no part of it: {names}")
    expect(all(name.startswith("usr/local/") for name in files), "everything is in /usr/local")

    expect(get_option(product, "--sign") == IDENTITIES["TOVRA_INSTALLER_IDENTITY"], "who signs the package")
    check_distribution(product, Path(component["arguments"][-1]).name, version)
    expect("--wait" in submit["arguments"] and get_option(submit, "--keychain-profile") == "an account", "notarisation")
    signed = product["arguments"][-1]
    for call in (submit, staple, assess):
        expect(signed in call["arguments"], f"{call['name']} is for the signed package")


def check_distribution(product, component, version):
    expect(component in product["packages"], "the component is where productbuild looks")
    script = ElementTree.fromstring(product["distribution"])
    expect(script.tag == "installer-gui-script", "the distribution's first element")
    references = script.findall("pkg-ref")
    expect([reference.text for reference in references] == [component], "the distribution's package")
    reference = references[0]
    expect(reference.get("version") == version and reference.get("id") == IDENTIFIER, "its version and identifier")
    choices = {choice.get("id"): choice.find("pkg-ref").get("id") for choice in script.findall("choice")}
    expect(choices == {script.find("choices-outline/line").get("choice"): IDENTIFIER}, "the distribution's choices")
    expect(script.find("options").get("hostArchitectures") == "arm64", "the architecture")
    minimum = re.search(r"CMAKE_OSX_DEPLOYMENT_TARGET ([\d.]+)", (PROJECT / "cmake/MacOs.cmake").read_text())
    expect(minimum, "cmake/MacOs.cmake names no version of macOS")
    expect(script.find("volume-check/allowed-os-versions/os-version").get("min") == minimum[1], "the version of macOS")


def check_failures(mac):
    """A step that fails leaves no package, and what is behind it is not done."""
    for failing in STEPS:
        result = mac.make_package(FAILING=failing)
        expect(result.returncode != 0, f"make-package goes on where {failing} fails")
        last = mac.get_calls()[-1]
        words = " ".join([last["name"], *last["arguments"]])
        expect(words.startswith(failing), f"make-package goes on behind {failing}")
    result = mac.make_package(ANSWER="Invalid")
    expect(result.returncode == 1, "make-package keeps a package that was refused")
    expect('"Invalid"; `xcrun notarytool log the-id`' in result.stderr, f"of a refused package: {result.stderr}")
    for name in IDENTITIES:
        result = mac.make_package(without=[name])
        expect(result.returncode != 0 and name in result.stderr, f"make-package does without {name}")
        expect([call["name"] for call in mac.get_calls()] == ["uname"], f"make-package begins without {name}")
    result = mac.make_package(WITHOUT=NOTICE)
    expect(result.returncode == 1 and "TOVRA_RapidJSON_NOTICE" in result.stderr, "make-package does without a notice")
    expect([call["name"] for call in mac.get_calls()] == ["uname", "cmake"], "make-package signs without a notice")
    result = mac.make_package(SYSTEM="Linux")
    expect(result.returncode == 1 and "on a Mac" in result.stderr, "make-package runs elsewhere")
    expect(mac.make_package(build=FOLDER).returncode != 0, "make-package takes a folder that is no build")


def check_document(mac):
    """The commands in Documentation/Places.md, word for word, in a copy of the project with this build."""
    text = (PROJECT / "Documentation/Places.md").read_text()
    block = re.search(r"^```sh\n([^`]*make-package[^`]*)^```$", text, re.MULTILINE)
    expect(block, "Places.md does not say how the package is made")
    folder = FOLDER / "a copy"
    (folder / "build").mkdir(parents=True)
    (folder / "Packaging").symlink_to(PROJECT / "Packaging")
    (folder / "build/release").symlink_to(BUILD)
    mac.journal.write_text("")
    folders = f"{mac.programs}:{os.environ['PATH']}"
    environment = {"PATH": folders, "JOURNAL": mac.journal, "CMAKE": shutil.which("cmake")}
    result = subprocess.run(
        ["sh", "-euc", block[1]], cwd=folder, env=environment, stderr=subprocess.PIPE, text=True, check=False
    )
    expect(result.returncode == 0, f"the commands in Places.md: {result.stderr}")
    last = mac.get_calls()[-1]
    package = last["arguments"][last["arguments"].index("-pkg") + 1]
    expect(last["name"] == "sudo" and (folder / package).read_text() == "stapled", f"what is installed: {last}")


def check_notice():
    """The build finds RapidJSON's license file where Homebrew has it."""
    prefix = FOLDER / "homebrew"
    notice = prefix / "opt/rapidjson/license.txt"
    notice.parent.mkdir(parents=True)
    notice.write_text("the license")
    (prefix / "include").mkdir()
    script = FOLDER / "notice.cmake"
    script.write_text(
        f"""set(TOVRA_HOST MacOS)
set(RAPIDJSON_PACKAGED "{prefix}/include")
include("{PROJECT}/cmake/Notices.cmake")
file(READ "${{TOVRA_RapidJSON_NOTICE}}" text)
message("${{text}}")
"""
    )
    output = subprocess.run(["cmake", "-P", script], stderr=subprocess.PIPE, text=True, check=False).stderr
    expect(output == "the license\n", f"the notice that a build on a Mac finds: {output}")


def lint_payload(payload, program, identifier, findings):
    if payload.get("PayloadType") != "com.apple.TCC.configuration-profile-policy":
        findings.append("another payload")
    check_keys("payload", payload, COMMON | {"Services"}, OPTIONAL, findings)
    services = payload.get("Services")
    for service, programs in services.items() if isinstance(services, dict) else ():
        if service not in AUTHORIZATIONS:
            findings.append(f"{service} is not what the tool uses")
            continue
        if not isinstance(programs, list) or not programs:
            findings.append(f"{service} is for no program")
            continue
        for entry in programs:
            check_keys(service, entry, REQUIRED_OF_PROGRAM, OPTIONAL_OF_PROGRAM, findings)
            if entry.get("Authorization") not in AUTHORIZATIONS[service]:
                findings.append(f"{service} can't be {entry.get('Authorization')}")
            if entry.get("IdentifierType") != "path" or entry.get("Identifier") != program:
                findings.append(f"{service} is for another program")
            requirement = str(entry.get("CodeRequirement"))
            if not requirement.startswith(f'identifier "{identifier}" and anchor apple generic and '):
                findings.append(f"{service} is for another signature")
            if not requirement.endswith(f'certificate leaf[subject.OU] = "{TEAM}"'):
                findings.append(f"{service} is for another team")


def check_keys(name, dictionary, required, optional, findings):
    missing, unknown = required - set(dictionary), set(dictionary) - required - optional
    findings += [f"{name} has no {key}" for key in missing] + [f"{name} has an unknown {key}" for key in unknown]
    for key, value in dictionary.items():
        kinds = {"PayloadVersion": int, "PayloadContent": list, "Services": dict, "PayloadRemovalDisallowed": bool}
        if not isinstance(value, kinds.get(key, str)) or value == "":
            findings.append(f"{key} of {name} has another type, or is empty")


def lint(profile, program, identifier):
    """What is wrong with a privacy profile for that program."""
    findings = []
    check_keys("profile", profile, REQUIRED_OF_PROFILE, OPTIONAL_OF_PROFILE, findings)
    if profile.get("PayloadType") != "Configuration" or profile.get("PayloadScope") != "System":
        findings.append("this payload is for machines, not users")
    payloads = profile.get("PayloadContent")
    payloads = payloads if isinstance(payloads, list) else []
    services = set()
    for payload in payloads:
        lint_payload(payload, program, identifier, findings)
        services |= set(payload.get("Services") or ())
    if services != set(AUTHORIZATIONS):
        findings.append(f"the services are {services}")
    identities = [element.get(key) for element in [profile, *payloads] for key in ("PayloadUUID", "PayloadIdentifier")]
    if len(set(identities)) != len(identities):
        findings.append("two payloads have one identity")
    for element in [profile, *payloads]:
        try:
            if str(uuid.UUID(str(element.get("PayloadUUID")))).upper() != element["PayloadUUID"]:
                findings.append("a UUID in another form")
        except ValueError:
            findings.append("no UUID")
        if element.get("PayloadVersion") != 1:
            findings.append("another version of payloads")
    return findings


def damage(value):
    """Copies of a property list with one thing missing or of another value."""
    if isinstance(value, dict):
        for key in value:
            if key not in OPTIONAL:
                yield {name: member for name, member in value.items() if name != key}
                yield {**value, key + "s": value[key]}
            for changed in damage(value[key]):
                yield {**value, key: changed}
    elif isinstance(value, list):
        yield []
        for index, member in enumerate(value):
            for changed in damage(member):
                yield value[:index] + [changed] + value[index + 1 :]
    else:
        yield ""
        yield 7


def check_profiles():
    identities = set()
    for program, arguments in PROFILES.items():
        text = subprocess.run([RECIPES / "make-profile", TEAM, *arguments], stdout=subprocess.PIPE, check=True).stdout
        expect(b"@" not in text, "make-profile leaves a place open")
        profile = plistlib.loads(text, fmt=plistlib.FMT_XML)
        expect(lint(profile, *program) == [], f"the profile of {program}: {lint(profile, *program)}")
        elements = [profile, *profile["PayloadContent"]]
        identities |= {element[key] for element in elements for key in ("PayloadUUID", "PayloadIdentifier")}
        count = 0
        for damaged in damage(copy.deepcopy(profile)):
            count += 1
            expect(lint(damaged, *program), f"this check takes {damaged}")
        expect(count > 80, f"only {count} profiles were damaged")
    expect(len(identities) == 4 * len(PROFILES), "a profile replaces another program's")
    wrong = [[], ["abcde12345"], ["ABCDE1234"], ["ABCDE123456"], ["ABCDE1234/"], [TEAM, TEAM], [TEAM, "/a", "b", "c"]]
    wrong += [[TEAM, "a", "b"], [TEAM, "/a|", "b"], [TEAM, "/<a>", "b"], [TEAM, "/a/", "b"], [TEAM, "", "b"]]
    wrong += [[TEAM, "/a", ""], [TEAM, "/a", 'b"'], [TEAM, "/a", "b&"]]
    for arguments in wrong:
        command = [RECIPES / "make-profile", *arguments]
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
        expect(result.returncode == 1 and not result.stdout and result.stderr, f"make-profile takes {arguments}")


def check_identifiers(mac):
    """The default profile is for a program of the package, under the identifier that the recipe signs it with."""
    mac.make_package()
    signed = get_identifiers(mac.get_calls())
    path, identifier = next(program for program, arguments in PROFILES.items() if not arguments)
    expect(signed.get(path[1:]) == identifier, f"the profile is for {path}, {identifier}, and signed are {signed}")


def main():
    mac = Mac()
    check_package(mac)
    check_failures(mac)
    check_document(mac)
    check_notice()
    check_profiles()
    check_identifiers(mac)
    shutil.rmtree(mac.folder)


main()
