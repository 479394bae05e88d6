#!/bin/sh
# Runs one Windows program under Wine in the build tree's private prefix.
# Usage: wine-run.sh BUILD_DIR PROGRAM.exe [ARGS...]
# Used as CMake's cross-compiling emulator, so tests and qvtool run the same way.
QVCORE_BUILD_DIR=$1
shift
. "$(dirname "$0")/wine-env.sh"
if [ ! -f "$WINEPREFIX/system.reg" ]; then
    # A program started before the prefix exists would boot it with our pipes inherited,
    # leaving wine's services holding them open: boot it detached first.
    "$(dirname "$0")/wine-session.sh" "$QVCORE_BUILD_DIR" boot || exit 1
fi
exec "$WINE_BIN" "$@"
