#!/bin/sh
# Installs what building and testing QvCore needs on a Debian machine (run as root).
# Fast when everything is there already: nothing is updated or reinstalled then.
set -eu

PACKAGES="cmake ninja-build g++-mingw-w64-i686-posix g++-mingw-w64-x86-64-posix libz-mingw-w64-dev
wine64 wine xvfb googletest python3 libcli11-dev"

missing=""
for package in $PACKAGES; do
    status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
    case "$status" in
        *" installed") ;;
        *) missing="$missing $package" ;;
    esac
done
[ -z "$missing" ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
    echo "setup: missing packages:$missing (run as root, or install them)" >&2
    exit 1
fi
echo "setup: installing$missing" >&2
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
# shellcheck disable=SC2086
apt-get install -y -qq --no-install-recommends $missing >/dev/null
