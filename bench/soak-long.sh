#!/usr/bin/env bash
# The long soak: thousands of recordings in a row on one writer (default
# 3000, sampled every 100), then 300 whole Init/Release cycles. Prints the
# samples and the growth per cycle. Needs a built tree.
#   bash bench/soak-long.sh [CYCLES [SAMPLE_EVERY]]
set -euo pipefail
cd "$(dirname "$0")/.."
cmake/wine-run.sh build/bin/tav_soak.exe --cycles "${1:-3000}" --sample-every "${2:-100}" --init-release 300 |
  grep -v '^ALSA lib'
