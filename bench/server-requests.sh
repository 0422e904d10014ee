#!/usr/bin/env bash
# Counts the wineserver requests one frame costs on its way through
# TavMovieMaker.dll and the platform pack: each is a round trip to the
# server (tens of microseconds under Wine 8), which is what bounds the rate
# of small frames. Records N and 2N tiny frames with dll_record_bench under
# a wineserver that logs every request, and prints the difference per
# request name, divided by N: the requests of one frame, whoever makes them.
#
# Usage: bash bench/server-requests.sh [N]   (default 500)
# Uses a prefix of its own (<build>/wineprefix-requests), so the tests' and
# benchmarks' server is left alone. TAV_BUILD_DIR as for bench/compare.sh.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TAV_BUILD_DIR:-$root/build}
frames=${1:-500}
bin=$build/bin
export TAV_WINEPREFIX=$build/wineprefix-requests
work=$(mktemp -d)
trap 'WINEPREFIX=$TAV_WINEPREFIX wineserver -k 2>/dev/null || true; rm -rf "$work"' EXIT

run() { bash "$root/cmake/wine-run.sh" "$@"; }
# Creates the prefix and registers the pack (first time only).
run "$bin/event_pingpong_bench.exe" 1 >/dev/null

# The request names of one recording of n frames, counted.
requests() {
  local n=$1 log=$work/server-$1.log
  WINEPREFIX=$TAV_WINEPREFIX wineserver -k 2>/dev/null || true
  WINEPREFIX=$TAV_WINEPREFIX wineserver -w 2>/dev/null || true
  WINEPREFIX=$TAV_WINEPREFIX /usr/lib/wine/wineserver64 -f -d2 -p5 2>"$log" &
  local server=$!
  run "$bin/dll_record_bench.exe" - 16 16 grey "$n" "Z:${work//\//\\}\\movie.avi" >/dev/null
  WINEPREFIX=$TAV_WINEPREFIX wineserver -k 2>/dev/null || true
  wait "$server" || true
  # Requests only ("name( fields )"), not the replies ("name() = status").
  sed -n 's/^[0-9a-f]*: \([a-z_]*\)( .*/\1/p' "$log" | sort | uniq -c
}

requests "$frames" >"$work/one"
requests $((frames * 2)) >"$work/two"
echo "wineserver requests per frame (16x16 grey, difference of $frames and $((frames * 2)) frames):"
awk -v n="$frames" '
  NR == FNR { one[$2] = $1; next }
  { per = ($1 - one[$2]) / n; if (per >= 0.05) printf "  %-20s %5.2f\n", $2, per }' "$work/one" "$work/two" |
  sort -k2 -rn | awk '{ print; total += $2 } END { printf "  %-20s %5.2f\n", "total", total }'
