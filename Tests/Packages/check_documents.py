#!/usr/bin/python3 -B
"""Compiles and runs the programs in a document: check_documents.py DOCUMENT PREFIX FOLDER.

Each block of C++ is a program that is linked with the installed framework of PREFIX, in FOLDER, and ends with status 0,
under a private X server, with nothing on its standard error stream. It prints what the table of outputs has for the
heading above it.
"""

import os
import re
import subprocess
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "Support"))
from xserver import XServer

DOCUMENT, PREFIX, FOLDER = Path(sys.argv[1]), sys.argv[2], Path(sys.argv[3])
# What the program below each heading prints: patterns, for text without the displays' log lines and without the times
# of others; the home folder is HOME.
OUTPUTS = {
    "The frame": r"Ready\.\n",
    "Systems": r"\[OverlaySystem\] Info: Watched \d+ times\.\n",
    "Configuration": r"Untitled, 320 wide\n",
    "Log": r"\[Default\] Warning: Lost 3 of 7\.\n",
    "Errors": r"Nothing can be divided by 0\.\n",
    "Processes": r"(\d+ .+\n)*\d+ Snippet\d+\n(\d+ .+\n)*0 \n",
    "Displays": r".+: 1280 x 1024 at 0, 0, primary\n",
    "Keyboard and mouse": r"A with a modifier\n200, 100\n",
    "Windows and OpenGL": r"[34]\.\d .+\n",
    "Files and environment": r"HOME/Program\.json is in HOME\n",
    "Values": r"\{3F0E7A5D-41B9-4C62-A95C-27E1D08B6F34\} is read back\.\nOverlay\n",
}
CMAKE = """cmake_minimum_required(VERSION 3.24)
project(Snippets LANGUAGES CXX)
find_package(Tovra 1.0 REQUIRED)
foreach(number RANGE 1 {count})
    add_executable(Snippet${{number}} Snippet${{number}}.cpp)
    target_link_libraries(Snippet${{number}} PRIVATE Tovra::DevelopmentFramework)
    target_compile_options(Snippet${{number}} PRIVATE -Wall -Wextra -Wpedantic -Werror)
endforeach()
"""


def read_programs():
    """The heading above each program, up to a colon, and the program."""
    heading = ""
    for title, block in re.findall(r"^##+ (.*)$|^```cpp\n((?:.*\n)*?)```$", DOCUMENT.read_text(), re.MULTILINE):
        if not block:
            heading = title.partition(":")[0]
            continue
        yield heading, block


def simplify(output):
    output = re.sub(r"^\[\S+ \| DisplayCache\] .*\n", "", output, flags=re.MULTILINE)
    return re.sub(r"^\[\S+ \| ", "[", output, flags=re.MULTILINE).replace(str(FOLDER), "HOME")


def main():
    headings, blocks = zip(*read_programs())
    if list(headings) != list(OUTPUTS):
        sys.exit(f"check_documents.py: there are programs below {headings}")
    FOLDER.mkdir()
    for number, block in enumerate(blocks, 1):
        (FOLDER / f"Snippet{number}.cpp").write_text(block)
    (FOLDER / "CMakeLists.txt").write_text(CMAKE.format(count=len(blocks)))
    build = FOLDER / "build"
    for command in (
        ["cmake", "-S", FOLDER, "-B", build, "-G", "Ninja"]
        + ["-DCMAKE_CXX_COMPILER=clang++-19", f"-DCMAKE_PREFIX_PATH={PREFIX}"],
        ["cmake", "--build", build],
    ):
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        if result.returncode != 0:
            sys.exit(result.stdout)
    failed = False
    with XServer("-noreset") as server:
        environment = {"PATH": os.environ["PATH"], "HOME": str(FOLDER), "DISPLAY": server.display}
        for number, heading in enumerate(headings, 1):
            program = build / f"Snippet{number}"
            result = subprocess.run(
                [program],
                env=environment,
                stdout=subprocess.PIPE,
                stderr=subprocess.PIPE,
                text=True,
                timeout=60,
                check=False,
            )
            expected = OUTPUTS[heading]
            if result.returncode != 0 or result.stderr or not re.fullmatch(expected, simplify(result.stdout)):
                failed = True
                print(f'the program below "{heading}" ended with {result.returncode}, expected is {expected}, printed:')
                print(result.stdout + result.stderr)
    sys.exit(1 if failed else 0)


main()
