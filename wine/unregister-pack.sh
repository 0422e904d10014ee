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

dll=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
windows_path="Z:${dll//\//\\}"

"$wine" regsvr32 /s /u "$windows_path"
