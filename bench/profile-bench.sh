#!/bin/sh
# Load and save of a 10,000-key settings file, as whole processes: the library's profile under
# Wine beside Python's configparser on the same file, best of 5 wall times each.
# Usage: bench/profile-bench.sh   (builds x86_64 first; never part of the tests)
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build/x86_64"
"$root/tools/build.sh" x86_64 --target ProfileBench >/dev/null
"$root/tools/wine/wine-session.sh" "$build" start >/dev/null
work=$(mktemp -d "$build/bench.XXXXXX")
trap '"$root/tools/wine/wine-session.sh" "$build" stop >/dev/null; rm -rf "$work"' EXIT
cd "$work"
python3 - <<'PY'
with open("in.ini", "w", newline="\r\n") as f:
    for s in range(10):
        f.write(f"[Section{s}]\n")
        for k in range(1000):
            f.write(f"Key{s * 1000 + k}={s * 1000 + k}\n")
PY
best() {
    b=
    for i in 1 2 3 4 5; do
        /usr/bin/time -f %e -o time.txt sh -c "$1" >/dev/null 2>&1 || true
        t=$(tail -1 time.txt)
        b=$(echo "$t ${b:-$t}" | awk '{print ($1 < $2) ? $1 : $2}')
    done
    echo "$b"
}
ours=$(best "$root/tools/wine/wine-run.sh $build $build/bin/ProfileBench.exe in.ini out.ini")
theirs=$(best "python3 -c 'import configparser; p = configparser.ConfigParser(interpolation=None); p.optionxform = str; p.read(\"in.ini\"); p.write(open(\"py.ini\", \"w\"))'")
: >empty.ini
start=$(best "$root/tools/wine/wine-run.sh $build $build/bin/ProfileBench.exe empty.ini empty-out.ini")
echo "10,000 keys, load and save (wall time, best of 5; goal: faster than configparser)"
echo "$ours $theirs $start" | awk '{printf "profile under Wine  %6.3f s   configparser  %6.3f s   ratio %.2fx  %s\n(the same process on an empty file: %.3f s)\n", $1, $2, $2 / $1, ($1 < $2) ? "met" : "MISSED", $3}'
