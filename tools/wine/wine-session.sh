#!/bin/sh
# Prepares or ends a Wine session for a build tree.
# Usage: wine-session.sh BUILD_DIR boot|start|stop
#   boot   create the private prefix once (quiet, detached from the caller's pipes)
#   start  boot, then keep a persistent wineserver and a virtual X display running
#   stop   end the wineserver and the X display that start began
# wine's background services inherit the stdio of whoever starts them; a ctest that
# started them through its pipes would wait for them forever, so every start here
# has its output sent to /dev/null.
set -u
QVCORE_BUILD_DIR=$1
. "$(dirname "$0")/wine-env.sh"
mkdir -p "$WINE_STATE_DIR"

boot() {
    [ -f "$WINEPREFIX/system.reg" ] && return 0
    # Serialise concurrent first boots (ctest -j, or a tool run beside the tests).
    exec 9>"$WINE_STATE_DIR/boot.lock"
    flock 9
    if [ ! -f "$WINEPREFIX/system.reg" ]; then
        "$WINE_BIN" wineboot --init </dev/null >/dev/null 2>&1
        "$WINESERVER_BIN" -w </dev/null >/dev/null 2>&1
    fi
    flock -u 9
    [ -f "$WINEPREFIX/system.reg" ] || { echo "wine-session: could not create $WINEPREFIX" >&2; return 1; }
}

start_display() {
    if [ -f "$WINE_STATE_DIR/xvfb.pid" ] && kill -0 "$(cat "$WINE_STATE_DIR/xvfb.pid")" 2>/dev/null; then
        return 0
    fi
    command -v Xvfb >/dev/null 2>&1 || { echo "wine-session: Xvfb missing; GUI tests will fail" >&2; return 0; }
    n=90
    while [ -e "/tmp/.X$n-lock" ] || [ -e "/tmp/.X11-unix/X$n" ]; do n=$((n + 1)); done
    setsid Xvfb ":$n" -screen 0 1024x768x24 -nolisten tcp </dev/null >/dev/null 2>&1 &
    echo $! >"$WINE_STATE_DIR/xvfb.pid"
    echo ":$n" >"$WINE_STATE_DIR/display"
    i=0
    while [ ! -e "/tmp/.X11-unix/X$n" ] && [ $i -lt 50 ]; do sleep 0.1; i=$((i + 1)); done
}

case "${2:-}" in
boot)
    boot
    ;;
start)
    boot || exit 1
    start_display
    DISPLAY=$(cat "$WINE_STATE_DIR/display" 2>/dev/null || echo "${DISPLAY:-}")
    export DISPLAY
    setsid "$WINESERVER_BIN" -p </dev/null >/dev/null 2>&1 &
    # Start wine's services (and the desktop window's process) now, detached from our
    # caller's pipes: otherwise the first test program starts them and they keep its
    # pipes open for as long as the persistent server lives.
    "$WINE_BIN" wineboot </dev/null >/dev/null 2>&1
    "$WINE_BIN" rundll32 user32.dll,GetDesktopWindow </dev/null >/dev/null 2>&1
    ;;
stop)
    "$WINESERVER_BIN" -k </dev/null >/dev/null 2>&1
    if [ -f "$WINE_STATE_DIR/xvfb.pid" ]; then
        kill "$(cat "$WINE_STATE_DIR/xvfb.pid")" 2>/dev/null
        rm -f "$WINE_STATE_DIR/xvfb.pid" "$WINE_STATE_DIR/display"
    fi
    ;;
*)
    echo "usage: $0 BUILD_DIR boot|start|stop" >&2
    exit 2
    ;;
esac
exit 0
