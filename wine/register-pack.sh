#!/usr/bin/env bash
# Registers TavPlatformPack.dll into a Wine prefix over Wine's built-in AVI
# Mux and File Writer, and lists the audio compressors in their category.
# Usage: WINEPREFIX=/path/to/prefix bash register-pack.sh path/to/TavPlatformPack.dll
# Running it again is harmless: what Wine had is saved only once, and
# unregister-pack.sh puts it back.
set -euo pipefail

if [ $# -ne 1 ] || [ ! -f "$1" ]; then
  echo "usage: WINEPREFIX=<prefix> $0 <path to TavPlatformPack.dll>" >&2
  exit 2
fi
: "${WINEPREFIX:?set WINEPREFIX to the Wine prefix to register into}"
export WINEPREFIX WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all}
wine=${TAV_WINE:-/usr/lib/wine/wine64}

# The DLL's Windows path as the prefix sees it (Z: is the Unix root unless
# the prefix maps it elsewhere).
dll=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
windows_path=$("$wine" winepath -w "$dll" 2>/dev/null </dev/null | tr -d '\r' || true)
[ -n "$windows_path" ] || windows_path="Z:${dll//\//\\}"

"$wine" regsvr32 /s "$windows_path"
