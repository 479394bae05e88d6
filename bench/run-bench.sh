#!/bin/sh
# Stream throughput: each stage beside its raw reference measured in the same run, then whole
# processes on one 256 MB file (qvtool under Wine against coreutils), best of 3 wall times.
# Usage: bench/run-bench.sh [SIZE_MB]   (builds x86_64 first; never part of the tests)
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build/x86_64"
"$root/tools/build.sh" x86_64 --target StreamBench qvtool >/dev/null
run() { "$root/tools/wine/wine-run.sh" "$build" "$@"; }
"$root/tools/wine/wine-session.sh" "$build" start >/dev/null
trap '"$root/tools/wine/wine-session.sh" "$build" stop >/dev/null; rm -rf "$work"' EXIT
work=$(mktemp -d "$build/bench.XXXXXX")

[ "${SKIP_STAGES:-}" ] || run "$build/bin/StreamBench.exe"

size=${1:-256}
head -c "${size}M" /dev/urandom >"$work/data.bin"
base64 "$work/data.bin" >"$work/data.b64"
cd "$work"

# best WALL of 3 runs of a command line (output discarded)
best() {
    b=
    for i in 1 2 3; do
        /usr/bin/time -f %e -o time.txt sh -c "$1" >/dev/null 2>&1
        t=$(tail -1 time.txt)
        b=$(echo "$t ${b:-$t}" | awk '{print ($1 < $2) ? $1 : $2}')
    done
    echo "$b"
}
qv="$root/tools/wine/wine-run.sh $build $build/bin/qvtool.exe"
compare() {
    ours=$(best "$2")
    theirs=$(best "$4")
    echo "$1 $ours $3 $theirs" | awk '{printf "%-40s %6.2f s   %-22s %6.2f s   %5.2fx %s\n", $1, $2, $3, $4, $4 / $2, ($2 <= $4) ? "met" : "MISSED"}'
}
echo
echo "whole processes on a ${size} MB file (wall time, best of 3; ratio = reference / qvtool)"
compare "qvtool_md5" "$qv md5 data.bin" "md5sum" "md5sum data.bin"
compare "qvtool_encode_--filters_base64" "$qv encode --filters base64 data.bin out.b64" "base64" "base64 data.bin >out2.b64"
compare "qvtool_decode_--filters_base64" "$qv decode --filters base64 data.b64 out.bin" "base64_-d" "base64 -d data.b64 >out2.bin"
echo "Wine start-up (qvtool --version): $(best "$qv --version") s"
