#!/bin/sh
# Installs what building and testing QvCore needs on a Debian machine (run as root).
# Fast when everything is there already: nothing is updated or reinstalled then.
set -eu

PACKAGES="cmake ninja-build g++-mingw-w64-i686-posix g++-mingw-w64-x86-64-posix libz-mingw-w64-dev
wine64 wine xvfb googletest python3 python3-pil libcli11-dev doxygen"

installed() {
    case "$(dpkg-query -W -f='${Status}' "$1" 2>/dev/null || true)" in
        *" installed") return 0 ;;
        *) return 1 ;;
    esac
}

missing=""
for package in $PACKAGES; do
    installed "$package" || missing="$missing $package"
done
installed wine32:i386 || missing="$missing wine32:i386"
[ -z "$missing" ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
    echo "setup: missing packages:$missing (run as root, or install them)" >&2
    exit 1
fi
export DEBIAN_FRONTEND=noninteractive
if ! dpkg --print-foreign-architectures | grep -qx i386; then
    dpkg --add-architecture i386
fi
echo "setup: installing$missing" >&2
# An index that fails to download (seen: the security suite's i386 list, "File has unexpected
# size") leaves apt with the others; what is missing from it shows up below as a version skew.
apt-get update -qq || echo "setup: some package indexes could not be read; going on with the rest" >&2
# shellcheck disable=SC2086
apt-get install -y -qq --no-install-recommends $(echo "$PACKAGES") >/dev/null

installed wine32:i386 && exit 0
# 32-bit Wine needs the i386 build of every shared library it uses at exactly the version of
# the amd64 build installed (both architectures share the package's files). Where the amd64
# build is newer than any i386 build apt can reach (an update that reached one architecture
# only), the amd64 build goes back to the i386 candidate, which the release itself carries.
pins=""
for package in $(apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts --no-breaks \
                     --no-replaces --no-enhances wine32:i386 2>/dev/null | sed -n 's/^\([a-z0-9][^ <>]*\):i386$/\1/p' | sort -u); do
    have=$(dpkg-query -W -f='${Version}' "$package:amd64" 2>/dev/null || true)
    [ -n "$have" ] || continue
    want=$(apt-cache policy "$package:i386" 2>/dev/null | sed -n 's/^ *Candidate: //p')
    [ -n "$want" ] && [ "$want" != "(none)" ] && [ "$want" != "$have" ] || continue
    # Only "Multi-Arch: same" packages share files between the architectures; any other
    # (libcap2-bin, say) conflicts with its other-architecture self and needs no match.
    apt-cache show "$package:i386" 2>/dev/null | grep -qx 'Multi-Arch: same' || continue
    if apt-cache madison "$package" 2>/dev/null | grep -q "| $want | .*amd64 Packages"; then
        echo "setup: $package: amd64 $have differs from the i386 candidate; using $want for both" >&2
        pins="$pins $package:amd64=$want $package:i386=$want"
    fi
done
# shellcheck disable=SC2086
apt-get install -y -qq -t bookworm --no-install-recommends --allow-downgrades wine32:i386 $pins >/dev/null
