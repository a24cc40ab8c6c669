#!/bin/sh
# Runs a Windows program under wine64; CMake uses it as the emulator of the mingw64 build.
# WINEPREFIX is taken from the environment when set (build.sh starts one prefix per run);
# otherwise a prefix beside the program's folder is made on first use.
if [ -z "$WINEPREFIX" ]; then
    WINEPREFIX="$(cd "$(dirname "$1")/.." && pwd)/wine-prefix"
    export WINEPREFIX
fi
export WINEDEBUG="${WINEDEBUG:--all}"
# No Mono or Gecko installer dialogs when a prefix is made, and no window system wanted:
# the library owns no window and the tests need none.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=}"
export DISPLAY=
exec "${WINE64:-/usr/lib/wine/wine64}" "$@"
