#!/usr/bin/env bash
# The long fuzz run: 10,000 seeded call sequences (or FIRST COUNT) against
# TavMovieMaker.dll, up to 50 per child process, Init* and StartMovieRecord
# also while recording. The batches run against the build of the DLL whose
# hand-over waits 200 ms instead of 10 s (bin/quick-wait); every 250th seed
# runs alone against the DLL itself and keeps one hand-over with no recording,
# which waits out the 10 s time-out (docs/reliability.md says why that still
# checks the waits). The seeds are split into SHARDS contiguous ranges
# (default 2, one per core) run at once, each in a Wine prefix of its own
# (build/wineprefix-fuzzN): the hand-over mutex is a named object of one
# prefix, so shards never wait for each other. Prints every failure (seed and
# minimal sequence), each shard's totals and where its time went, the sums,
# and what 10,000 sequences take at the measured rate. Needs a built tree
# (bash scripts/test-all.sh or cmake --build).
#   [SHARDS=N] bash bench/fuzz-long.sh [FIRST [COUNT]] [more tav_fuzz options]
set -euo pipefail
cd "$(dirname "$0")/.."
first=${1:-1000}
count=${2:-10000}
shift $(( $# < 2 ? $# : 2 ))
shards=${SHARDS:-2}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

start=$(date +%s)
per=$(( (count + shards - 1) / shards ))
for ((s = 1; s <= shards; s++)); do
  from=$(( first + (s - 1) * per ))
  n=$(( count - (s - 1) * per < per ? count - (s - 1) * per : per ))
  (( n > 0 )) || continue
  TAV_WINEPREFIX=$PWD/build/wineprefix-fuzz$s xvfb-run -a cmake/wine-run.sh build/bin/tav_fuzz.exe \
    --run "$from" "$n" --batch 50 --quick-wait --idle-every 250 --control-while-recording "$@" 2>&1 |
    grep -v '^ALSA lib' >"$out/shard$s.txt" &
done
wait
seconds=$(( $(date +%s) - start ))

for f in "$out"/shard*.txt; do
  echo "== $(basename "$f" .txt)"
  cat "$f"
done
# The sums of the shards' "sequences N: ok A, crashes B, hangs C, bad files D" lines.
cat "$out"/shard*.txt | sed -n 's/^sequences \([0-9]*\): ok \([0-9]*\), crashes \([0-9]*\), hangs \([0-9]*\), bad files \([0-9]*\).*/\1 \2 \3 \4 \5/p' |
  awk -v s="$seconds" -v shards="$shards" '
    { n += $1; ok += $2; c += $3; h += $4; b += $5; lines++ }
    END {
      printf "all shards: sequences %d: ok %d, crashes %d, hangs %d, bad files %d (%d s, %d shards)\n", n, ok, c, h, b, s, shards
      if (n > 0) printf "at this rate 10000 sequences take %.0f min\n", s / n * 10000 / 60
      if (lines < shards) print "a shard printed no totals"
      exit (c + h + b > 0 || lines < shards) ? 1 : 0
    }'
