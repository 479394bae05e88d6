#!/bin/sh
# The robustness campaigns: every decoder of the library fed damaged data, on both
# architectures (i686 where this machine runs 32-bit code), one million inputs per campaign
# unless told otherwise. Prints each campaign's inputs per second, memory before and after, and
# every defect with the seed and input number that reproduce it.
#   tools/stress.sh [--inputs N] [--seed S] [CAMPAIGN...]     (qvstress options; see --list)
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
case " $* " in
*" --inputs "*) ;;
*) set -- --inputs 1000000 "$@" ;;
esac
status=0
for arch in $archs; do
    build="$root/build/$arch"
    "$root/tools/build.sh" "$arch" --target qvstress >/dev/null
    "$root/tools/wine/wine-session.sh" "$build" start
    echo "== $arch"
    # Damaged inputs that a campaign saves land in the build tree.
    (cd "$build" && "$root/tools/wine/wine-run.sh" "$build" "$build/bin/qvstress.exe" "$@") || status=1
    "$root/tools/wine/wine-session.sh" "$build" stop
done
exit $status
