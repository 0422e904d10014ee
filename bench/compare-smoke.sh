#!/usr/bin/env bash
# Smoke test of bench/compare.sh: tiny sizes, one round, the report written
# to a scratch file. Passes when the script ends well and its report holds a
# row for each case and target, the tiny-frame row, both memory rows, the
# small-samples row (both ways of writing them) and the machine's row (tmpfs
# written just after and a while after freeing). The
# figures themselves are not checked.
# Usage: compare-smoke.sh <build folder>
set -euo pipefail
build=$1
root=$(cd "$(dirname "$0")/.." && pwd)
report=$(mktemp)
trap 'rm -f "$report"' EXIT
TAV_BUILD_DIR=$build TAV_BENCH_DISK=$build bash "$root/bench/compare.sh" --tiny --rounds 1 --no-build --out "$report"
fail() { echo "compare-smoke: $1"; cat "$report"; exit 1; }
for row in "| shm | 64x48 grey x40 |" "| disk | 64x48 grey x40 |" "| shm | 32x24 rgb24 x20 |" \
           "| disk | 32x24 rgb24 x20 |" "| 20 | " "| 60 | "; do
  grep -qF -- "$row" "$report" || fail "no row starting \"$row\""
done
grep -q "µs each | .* µs each |" "$report" || fail "no tiny-frame row"
grep -qE "^\| 64x48 grey x40 \| [0-9]+ \([0-9]+-[0-9]+\) \| [0-9]+ \([0-9]+-[0-9]+\) \| [0-9.]+ \|$" "$report" ||
  fail "no row for the small samples"
grep -qE "^\| 1 \| [0-9]+ \([0-9]+-[0-9]+\) \| [0-9]+ \([0-9]+-[0-9]+\) \|$" "$report" || fail "no row for the machine"
# Every figure cell is "median (min-max)": a failed run would leave n/a or nothing.
if grep -E "^\| (shm|disk) " "$report" | grep -qE "n/a|\(\)|\| +\|"; then fail "a contender gave no figure"; fi
echo "compare-smoke: report complete"
