#!/bin/sh
# Configures (once) and builds one architecture: tools/build.sh x86_64|i686 [cmake --build args]
# The build tree is build/ARCH in the repository.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
arch=$1
shift
dir="$root/build/$arch"
if [ ! -f "$dir/build.ninja" ]; then
    cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-$arch.cmake" >/dev/null
fi
cmake --build "$dir" "$@"
