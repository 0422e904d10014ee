#!/usr/bin/env bash
# Removes TavPlatformPack.dll from a Wine prefix: Wine's built-in AVI Mux and
# File Writer answer again and the audio compressor entries are gone.
# Usage: WINEPREFIX=/path/to/prefix bash unregister-pack.sh path/to/TavPlatformPack.dll
# Running it again, or on a prefix that never had the pack, is harmless.
set -euo pipefail

if [ $# -ne 1 ] || [ ! -f "$1" ]; then
  echo "usage: WINEPREFIX=<prefix> $0 <path to TavPlatformPack.dll>" >&2
  exit 2
fi
: "${WINEPREFIX:?set WINEPREFIX to the Wine prefix to remove the pack from}"
export WINEPREFIX WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all}
wine=${TAV_WINE:-/usr/lib/wine/wine64}

# The DLL's Windows path as the prefix sees it (Z: is the Unix root unless
# the prefix maps it elsewhere).
dll=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
windows_path=$("$wine" winepath -w "$dll" 2>/dev/null </dev/null | tr -d '\r' || true)
[ -n "$windows_path" ] || windows_path="Z:${dll//\//\\}"

"$wine" regsvr32 /s /u "$windows_path"
