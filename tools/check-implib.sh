#!/bin/sh
# Checks that an import library defines each symbol given after it (as a client's reference
# would name it, e.g. __imp__DllGetClassObject@12).
# Usage: check-implib.sh NM LIBRARY SYMBOL...
set -u
nm=$1
library=$2
shift 2
symbols=$("$nm" "$library" 2>/dev/null | awk 'NF == 3 && $2 != "U" { print $3 }') || exit 1
status=0
for name in "$@"; do
    printf '%s\n' "$symbols" | grep -qxF "$name" || { echo "$library does not define $name"; status=1; }
done
[ $status -eq 0 ] && echo "$(basename "$library") defines: $*"
exit $status
