#!/bin/sh
# Load and save of a 10,000-key settings file, as whole processes: the library's profile under
# Wine beside Python's configparser on the same file, best of 5 wall times each.
# Usage: bench/profile-bench.sh   (builds x86_64 first; never part of the tests)
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/bench/bench-session.sh"
bench_session ProfileBench
python3 - <<'PY'
with open("in.ini", "w", newline="\r\n") as f:
    for s in range(10):
        f.write(f"[Section{s}]\n")
        for k in range(1000):
            f.write(f"Key{s * 1000 + k}={s * 1000 + k}\n")
PY
ours=$(best_wall 5 "$root/tools/wine/wine-run.sh $build $build/bin/ProfileBench.exe in.ini out.ini")
theirs=$(best_wall 5 "python3 -c 'import configparser; p = configparser.ConfigParser(interpolation=None); p.optionxform = str; p.read(\"in.ini\"); p.write(open(\"py.ini\", \"w\"))'")
: >empty.ini
start=$(best_wall 5 "$root/tools/wine/wine-run.sh $build $build/bin/ProfileBench.exe empty.ini empty-out.ini")
echo "10,000 keys, load and save (wall time, best of 5; goal: faster than configparser)"
echo "$ours $theirs $start" | awk '{printf "profile under Wine  %6.3f s   configparser  %6.3f s   ratio %.2fx  %s\n(the same process on an empty file: %.3f s)\n", $1, $2, $2 / $1, ($1 < $2) ? "met" : "MISSED", $3}'
