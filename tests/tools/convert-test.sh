#!/bin/sh
# qvtool convert: byte-exact conversions between code pages, files and pipes, and the errors.
# Usage: convert-test.sh WINE_RUN BUILD_DIR QVTOOL.exe
set -u
run=$1
build=$2
qvtool=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

convert() { "$run" "$build" "$qvtool" convert "$@"; }
hex() { od -An -tx1 | tr -d ' \n'; }
expect() {  # NAME EXPECTED-HEX ACTUAL-HEX
    if [ "$2" != "$3" ]; then
        echo "FAIL $1: expected $2, got $3"
        status=1
    else
        echo "ok   $1"
    fi
}

# "café €" in Windows-1252, UTF-8 and UTF-16LE.
printf 'caf\351 \200' > "$work/cp1252.txt"
expect "1252 to utf-8 (files)" "636166c3a920e282ac" \
    "$(convert --from 1252 --to utf-8 "$work/cp1252.txt" "$work/out.txt" && hex < "$work/out.txt")"
expect "1252 to utf-16le (pipe)" "630061006600e9002000ac20" \
    "$(convert --from 1252 --to utf-16le < "$work/cp1252.txt" | hex)"
expect "utf-16le back to 1252" "636166e92080" \
    "$(convert --from 1252 --to utf-16le < "$work/cp1252.txt" | convert --from utf-16le --to 1252 - | hex)"
# Characters 437 cannot hold become its default character.
expect "utf-8 to 437" "636166823f" "$(printf 'caf\303\251\342\202\254' | convert --from UTF-8 --to 437 | hex)"

if convert --from 99999 --to utf-8 < /dev/null > /dev/null 2> "$work/error.txt"; then
    echo "FAIL unknown code page accepted"
    status=1
elif ! grep -q "unknown code page '99999'" "$work/error.txt"; then
    echo "FAIL unknown code page message: $(cat "$work/error.txt")"
    status=1
else
    echo "ok   unknown code page rejected"
fi
if printf 'abc' | convert --from utf-16le --to utf-8 > /dev/null 2>&1; then
    echo "FAIL odd byte count accepted as utf-16le"
    status=1
else
    echo "ok   odd utf-16le input rejected"
fi
exit $status
