# Sourced by the whole-process benchmark scripts, after setting root to the repository:
#   bench_session TARGET...   builds the x86_64 targets, starts the Wine session and makes an empty
#                             work folder ($work, the current directory), both ended on exit
#   best_wall N COMMAND       the best wall time in seconds of N runs of a shell command line
#                             (output discarded, failures timed like successes)
build="$root/build/x86_64"

bench_session() {
    "$root/tools/build.sh" x86_64 --target "$@" >/dev/null
    "$root/tools/wine/wine-session.sh" "$build" start >/dev/null
    work=$(mktemp -d "$build/bench.XXXXXX")
    trap '"$root/tools/wine/wine-session.sh" "$build" stop >/dev/null; rm -rf "$work"' EXIT
    cd "$work"
}

best_wall() {
    rounds=$1
    best=
    i=0
    while [ "$i" -lt "$rounds" ]; do
        /usr/bin/time -f %e -o "$work/time.txt" sh -c "$2" >/dev/null 2>&1 || true
        t=$(tail -1 "$work/time.txt")
        best=$(echo "$t ${best:-$t}" | awk '{print ($1 < $2) ? $1 : $2}')
        i=$((i + 1))
    done
    echo "$best"
}
