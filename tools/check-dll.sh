#!/bin/sh
# Checks a built DLL: it imports only system DLLs and the shared C++ runtime, and exports
# each name given after it (undecorated).
# Usage: check-dll.sh OBJDUMP DLL [EXPORT...]
set -u
objdump=$1
dll=$2
shift 2
status=0
dump=$("$objdump" -p "$dll") || exit 1

imports=$(printf '%s\n' "$dump" | sed -n 's/^[[:space:]]*DLL Name: //p')
for name in $imports; do
    case $(printf '%s' "$name" | tr 'A-Z' 'a-z') in
        kernel32.dll|user32.dll|gdi32.dll|advapi32.dll|shell32.dll|shlwapi.dll|ole32.dll|oleaut32.dll|\
        version.dll|winmm.dll|comctl32.dll|msvcrt.dll|\
        libgcc_s_seh-1.dll|libgcc_s_dw2-1.dll|libstdc++-6.dll|libwinpthread-1.dll) ;;
        *) echo "$dll imports $name, which is neither a system DLL nor the shared C++ runtime"; status=1 ;;
    esac
done
echo "$(basename "$dll") imports:" $imports

exports=$(printf '%s\n' "$dump" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p')
echo "$(basename "$dll") exports $(printf '%s\n' "$exports" | grep -c '^[[:space:]]*\[') names"
for name in "$@"; do
    printf '%s\n' "$exports" | grep -q "\] $name\$" || { echo "$dll does not export $name undecorated"; status=1; }
done
exit $status
