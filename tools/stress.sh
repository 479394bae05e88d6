#!/bin/sh
# The robustness runs, on both architectures (i686 where this machine runs 32-bit code):
#   tools/stress.sh [--inputs N] [--seed S] [--first K] [CAMPAIGN...]
#       every decoder of the library fed damaged data, one million inputs per campaign unless
#       told otherwise; each campaign's inputs per second, memory before and after, and every
#       defect with the seed and input number that reproduce it (qvstress --list names them);
#       the XML campaign runs once per parser generation
#   tools/stress.sh load [--scale F] [SCENARIO...]
#       the shared services from many threads at the full load (scale 1), with figures
# Reproduce one input: tools/stress.sh --seed S --first K --inputs 1 CAMPAIGN
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/tools/setup.sh"
archs=x86_64
if /usr/lib/wine/wine --version >/dev/null 2>&1; then
    archs="x86_64 i686"
else
    echo "stress: this machine cannot execute 32-bit programs: i686 is not run"
fi

load=no
options="--inputs 1000000"
names=""
if [ "${1:-}" = load ]; then
    load=yes
    shift
    options=""
fi
while [ $# -gt 0 ]; do
    case $1 in
    --*)
        [ $# -ge 2 ] || { echo "stress: $1 needs a value" >&2; exit 2; }
        options="$options $1 $2"
        shift 2
        ;;
    *)
        names="$names $1"
        shift
        ;;
    esac
done

status=0
for arch in $archs; do
    build="$root/build/$arch"
    "$root/tools/build.sh" "$arch" --target qvstress >/dev/null
    "$root/tools/wine/wine-session.sh" "$build" start
    qvstress() {  # damaged inputs that a campaign saves land in the build tree
        (cd "$build" && "$root/tools/wine/wine-run.sh" "$build" "$build/bin/qvstress.exe" "$@") || status=1
    }
    echo "== $arch"
    # shellcheck disable=SC2086
    if [ $load = yes ]; then
        qvstress load $options $names
    else
        qvstress $options $names
        case " $names " in
        "  "|*" xml "*)
            echo "-- the first XML parser generation"
            QVCORE_MSXMLVER=1 qvstress $options xml
            ;;
        esac
    fi
    "$root/tools/wine/wine-session.sh" "$build" stop
done
exit $status
