# Sourced by the Wine helpers: one private prefix per build tree, never ~/.wine.
# Expects QVCORE_BUILD_DIR to name the build tree.
WINE_STATE_DIR="$QVCORE_BUILD_DIR/wine"
export WINEPREFIX="$WINE_STATE_DIR/prefix"
export WINEDEBUG="${WINEDEBUG:--all}"
# No Mono or Gecko download dialogs while the prefix boots; the network is closed anyway.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=}"
# No sound card here: a null ALSA device keeps Wine's audio (which the DirectX diagnostics
# enumerate) working without a screenful of ALSA errors.
export ALSA_CONFIG_PATH="${ALSA_CONFIG_PATH:-$(cd "$(dirname "$0")" && pwd)/alsa-null.conf}"
export WINEARCH=win64
# One 64-bit prefix runs both architectures once 32-bit Wine is installed; a 32-bit build
# tree (named by CMake in its wine-arch file) starts its programs with the 32-bit loader.
WINE_BIN=/usr/lib/wine/wine64
if [ "$(cat "$QVCORE_BUILD_DIR/wine-arch" 2>/dev/null)" = i686 ]; then
    WINE_BIN=/usr/lib/wine/wine
fi
WINESERVER_BIN=/usr/lib/wine/wineserver
export WINELOADER="$WINE_BIN"
export WINESERVER="$WINESERVER_BIN"
if [ -z "${DISPLAY:-}" ] && [ -f "$WINE_STATE_DIR/display" ]; then
    DISPLAY=$(cat "$WINE_STATE_DIR/display")
    export DISPLAY
fi
