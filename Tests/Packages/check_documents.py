#!/usr/bin/env python3
"""Compiles and runs the programs in a document: check_documents.py DOCUMENT PREFIX FOLDER.

Each block of C++ is a program that is linked with the installed framework of PREFIX, in FOLDER, and ends with status 0,
under a private X server, with nothing on its standard error stream.
"""

import os
import re
import subprocess
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "Support"))
from xserver import XServer  # pylint: disable=wrong-import-position

DOCUMENT, PREFIX, FOLDER = Path(sys.argv[1]), sys.argv[2], Path(sys.argv[3])
CMAKE = """cmake_minimum_required(VERSION 3.24)
project(Snippets LANGUAGES CXX)
find_package(Tovra 1.0 REQUIRED)
foreach(number RANGE 1 {count})
    add_executable(Snippet${{number}} Snippet${{number}}.cpp)
    target_link_libraries(Snippet${{number}} PRIVATE Tovra::DevelopmentFramework)
    target_compile_options(Snippet${{number}} PRIVATE -Wall -Wextra -Wpedantic -Werror)
endforeach()
"""


def main():
    blocks = re.findall(r"^```cpp\n(.*?)^```$", DOCUMENT.read_text(), re.MULTILINE | re.DOTALL)
    if not blocks:
        sys.exit("check_documents.py: there is no program")
    FOLDER.mkdir()
    for number, block in enumerate(blocks, 1):
        (FOLDER / f"Snippet{number}.cpp").write_text(block)
    (FOLDER / "CMakeLists.txt").write_text(CMAKE.format(count=len(blocks)))
    build = FOLDER / "build"
    for command in (
        ["cmake", "-S", FOLDER, "-B", build, "-G", "Ninja", "-DCMAKE_CXX_COMPILER=clang++-19", f"-DCMAKE_PREFIX_PATH={PREFIX}"],
        ["cmake", "--build", build],
    ):
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        if result.returncode != 0:
            sys.exit(result.stdout)
    failed = False
    with XServer("-noreset") as server:
        environment = {"PATH": os.environ["PATH"], "HOME": str(FOLDER), "DISPLAY": server.display}
        for number, block in enumerate(blocks, 1):
            program = build / f"Snippet{number}"
            result = subprocess.run(
                [program], env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=60, check=False
            )
            if result.returncode != 0 or result.stderr or not result.stdout:
                failed = True
                print(f"program {number}, which begins so, ended with {result.returncode}:\n{block[:200]}")
                print(result.stdout + result.stderr)
    sys.exit(1 if failed else 0)


main()
