#!/bin/sh
# Builds the API reference from the public headers' doc comments and the pages in docs/:
#   tools/docs.sh [OUTPUT_DIR]        (default build/docs; open OUTPUT_DIR/html/index.html)
# Fails, listing them, on any Doxygen warning, and on any relative link in the README or in docs/
# that leads nowhere.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
out=${1:-$root/build/docs}
mkdir -p "$out"
out=$(cd "$out" && pwd)
command -v doxygen >/dev/null 2>&1 || { echo "docs: doxygen is missing (Debian package doxygen; tools/setup.sh installs it)" >&2; exit 1; }
version=$(sed -n 's/^project(QvCore VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
cd "$root"
python3 tools/check-links.py README.md docs/*.md || { echo "docs: broken links (above)" >&2; exit 1; }
if ! QVCORE_DOCS_OUT="$out" QVCORE_VERSION="$version" doxygen docs/Doxyfile; then
    echo "docs: Doxygen warnings:" >&2
    cat "$out/warnings.txt" >&2
    exit 1
fi
echo "docs: $out/html/index.html"
