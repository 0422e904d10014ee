#!/usr/bin/env bash
# The long fuzz run: 10,000 seeded call sequences (or FIRST COUNT) against
# TavMovieMaker.dll, 50 per child process, every 50th keeping one 10 s
# hand-over time-out. Prints every failure (seed and minimal sequence) and
# the totals. Needs a built tree (bash scripts/test-all.sh or cmake --build).
#   bash bench/fuzz-long.sh [FIRST [COUNT]] [more tav_fuzz options]
set -euo pipefail
cd "$(dirname "$0")/.."
first=${1:-1000}
count=${2:-10000}
shift $(( $# < 2 ? $# : 2 ))
xvfb-run -a cmake/wine-run.sh build/bin/tav_fuzz.exe --run "$first" "$count" --batch 50 --idle-every 50 "$@" |
  grep -v '^ALSA lib'
