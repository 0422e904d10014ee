#!/usr/bin/env bash
# The long fuzz run: 10,000 seeded call sequences (or FIRST COUNT) against
# TavMovieMaker.dll, up to 50 per child process (a child ends its batch when a
# sequence leaves the library's writer object behind), every 500th keeping one
# hand-over with no recording (it waits out the 10 s time-out), Init* and
# StartMovieRecord also while recording. Prints every failure (seed and
# minimal sequence), the totals, where the time went and what 10,000
# sequences take at the measured rate. Needs a built tree (bash
# scripts/test-all.sh or cmake --build).
#   bash bench/fuzz-long.sh [FIRST [COUNT]] [more tav_fuzz options]
set -euo pipefail
cd "$(dirname "$0")/.."
first=${1:-1000}
count=${2:-10000}
shift $(( $# < 2 ? $# : 2 ))
xvfb-run -a cmake/wine-run.sh build/bin/tav_fuzz.exe --run "$first" "$count" --batch 50 --idle-every 500 --control-while-recording "$@" |
  grep -v '^ALSA lib'
