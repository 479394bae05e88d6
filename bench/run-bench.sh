#!/bin/sh
# Stream throughput: each stage beside its raw reference measured in the same run, then whole
# processes on one 256 MB file (qvtool under Wine against coreutils), best of 3 wall times.
# Usage: bench/run-bench.sh [SIZE_MB]   (builds x86_64 first; never part of the tests)
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/bench/bench-session.sh"
bench_session StreamBench qvtool
run() { "$root/tools/wine/wine-run.sh" "$build" "$@"; }

[ "${SKIP_STAGES:-}" ] || run "$build/bin/StreamBench.exe"

size=${1:-256}
head -c "${size}M" /dev/urandom >data.bin
base64 data.bin >data.b64

qv="$root/tools/wine/wine-run.sh $build $build/bin/qvtool.exe"
compare() {
    ours=$(best_wall 3 "$2")
    theirs=$(best_wall 3 "$4")
    echo "$1 $ours $3 $theirs" | awk '{printf "%-40s %6.2f s   %-22s %6.2f s   %5.2fx   goal: at least 1, %s\n", $1, $2, $3, $4, $4 / $2, ($2 <= $4) ? "met" : "MISSED"}'
}
echo
echo "whole processes on a ${size} MB file (wall time, best of 3; ratio = reference / qvtool)"
compare "qvtool_md5" "$qv md5 data.bin" "md5sum" "md5sum data.bin"
compare "qvtool_encode_--filters_base64" "$qv encode --filters base64 data.bin out.b64" "base64" "base64 data.bin >out2.b64"
compare "qvtool_decode_--filters_base64" "$qv decode --filters base64 data.b64 out.bin" "base64_-d" "base64 -d data.b64 >out2.bin"
echo "Wine start-up (qvtool --version): $(best_wall 3 "$qv --version") s"
