#!/bin/sh
# Checks the SDK of a build tree as a client sees it: installs the tree, packs its zip, builds
# every example in examples/ against the installed package with find_package(QvCore), and runs
# each under Wine, comparing its standard output with the example's expected.txt. The installed
# qvcore.dll is registered as the COM server while the examples run.
# Usage: check-examples.sh BUILD_DIR
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "$1" && pwd)
arch=$(cat "$build/wine-arch")
sdk="$build/sdk"
examples="$build/examples"
status=0
quietly() {  # runs a command, showing its output only when it fails
    out=$("$@" 2>&1) || { printf '%s\n' "$out"; return 1; }
}

rm -rf "$sdk"
quietly cmake --install "$build" --prefix "$sdk"
for file in bin/qvcore.dll bin/qvtool.exe bin/libstdc++-6.dll bin/libwinpthread-1.dll lib/libqvcore.dll.a \
            include/qvcore/QvCore.h lib/cmake/QvCore/QvCoreConfig.cmake lib/cmake/QvCore/QvCoreConfigVersion.cmake; do
    [ -f "$sdk/$file" ] || { echo "the install tree lacks $file"; status=1; }
done
private=$(find "$sdk/include" -name '*_p.h' | head -n 3)
if [ -n "$private" ]; then
    echo "the install tree carries the library's private headers: $private"
    status=1
fi

(cd "$build" && quietly cpack -G ZIP)
zip=$(ls "$build"/QvCore-*.zip)
python3 - "$zip" <<'PY' || status=1
import sys, zipfile
names = zipfile.ZipFile(sys.argv[1]).namelist()
top = names[0].split("/")[0]
for want in ("bin/qvcore.dll", "lib/libqvcore.dll.a", "include/qvcore/QvCore.h", "lib/cmake/QvCore/QvCoreConfig.cmake"):
    if f"{top}/{want}" not in names:
        print(f"{sys.argv[1]} lacks {want}")
        sys.exit(1)
print(f"{sys.argv[1].rsplit('/', 1)[-1]}: {len(names)} entries")
PY

rm -rf "$examples"
quietly cmake -S "$root/examples" -B "$examples" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$sdk/lib/cmake/QvCore/toolchain-$arch.cmake" -DCMAKE_PREFIX_PATH="$sdk"
quietly cmake --build "$examples"

# The comlog example reaches the library through COM alone: the installed DLL is registered
# for the run (as a user would with regsvr32) and unregistered afterwards, whatever happens.
server="Z:$(printf '%s' "$sdk/bin/qvcore.dll" | tr / '\\')"
unregister() { "$root/tools/wine/wine-run.sh" "$build" regsvr32 /u /s "$server" >/dev/null 2>&1 || true; }
trap unregister EXIT
if ! quietly "$root/tools/wine/wine-run.sh" "$build" regsvr32 /s "$server"; then
    echo "regsvr32 could not register $server"; status=1
fi

for expected in "$root"/examples/*/expected.txt; do
    name=$(basename "$(dirname "$expected")")
    exe="$examples/$name/$name.exe"
    work="$examples/$name/run"
    mkdir -p "$work"
    # No pipe here: the example's own exit code must decide (a DLL Wine cannot find is exit 53).
    if ! (cd "$work" && "$root/tools/wine/wine-run.sh" "$build" "$exe" >"$work/stdout" 2>"$work/stderr"); then
        echo "example $name failed:"; cat "$work/stdout" "$work/stderr"; status=1
        continue
    fi
    actual=$(tr -d '\r' <"$work/stdout")
    if [ "$actual" = "$(cat "$expected")" ]; then
        echo "example $name: as expected"
    else
        echo "example $name printed:"; printf '%s\n' "$actual" | diff "$expected" - || true; status=1
    fi
done
exit $status
