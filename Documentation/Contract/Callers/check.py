#!/usr/bin/env python3
"""Prints the driver's version and ends with 0, or says why there is none and ends with 1: check.py [tool]."""

import json
import subprocess
import sys

REASONS = {"Failed": "No window can be made.", "Platform Unsupported": "There is no OpenGL 3.2."}


def main():
    tool = sys.argv[1] if len(sys.argv) > 1 else "TovraFieldhostSetupTool"
    run = subprocess.run([tool, "-CheckOpenGL"], stdout=subprocess.PIPE, check=False)
    if not run.stdout:
        # Negative: minus the number of the signal that ended the tool.
        sys.exit(f"The tool was ended before it had a result: {run.returncode}.")
    document = json.loads(run.stdout)
    if document["name"] != "Success":
        sys.exit(REASONS.get(document["name"], f"The result is unexpected: {document['name']}."))
    print(document["data"]["version"])


if __name__ == "__main__":
    main()
