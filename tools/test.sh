#!/bin/sh
# The test command: installs what is missing, builds the x86_64 and i686 DLLs with all
# their tests, runs the x86_64 suite under Wine and the host-side checks of both.
# Exits non-zero on any failure.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/tools/setup.sh"

"$root/tools/build.sh" x86_64
# 32-bit Wine is not available here: the i686 build is compiled, linked and checked, not run.
"$root/tools/build.sh" i686

status=0
echo "== i686: host-side checks of the DLLs"
(cd "$root/build/i686" && ctest -L host --output-on-failure) || status=1
echo "== x86_64: everything, under Wine"
(cd "$root/build/x86_64" && ctest --output-on-failure) || status=1
exit $status
