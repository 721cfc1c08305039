#!/bin/sh
# Prints the driver's version and ends with 0, or says why there is none and ends with 1: check.sh [tool].
tool=${1:-TovraFieldhostSetupTool}

if ! command -v jq >/dev/null; then
    echo "jq is not installed." >&2
    exit 1
fi

document=$("$tool" -CheckOpenGL)
status=$?
if [ -z "$document" ]; then
    # 129 and more: the tool was ended by signal `status - 128`.
    echo "The tool was ended before it had a result: status $status." >&2
    exit 1
fi
name=$(printf '%s' "$document" | jq -r .name)
case $name in
Success) printf '%s' "$document" | jq -r .data.version ;;
Failed) echo "No window can be made." >&2 && exit 1 ;;
"Platform Unsupported") echo "There is no OpenGL 3.2." >&2 && exit 1 ;;
*) echo "The result is unexpected: $name." >&2 && exit 1 ;;
esac
