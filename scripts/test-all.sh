#!/usr/bin/env bash
# Builds everything in build/ and runs every test under Wine (dialog tests need
# a display, so the run happens inside Xvfb).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake --preset default
cmake --build --preset default
status=0
# A test program that dies before it prints anything (a rare Wine start-up
# failure) is run once more; a failure that repeats still fails the run.
xvfb-run -a ctest --preset default --repeat until-pass:2 "$@" || status=$?
# Leave no Wine process behind.
WINEPREFIX=$PWD/build/wineprefix wineserver -k 2>/dev/null || true
WINEPREFIX=$PWD/build/wineprefix-builtin wineserver -k 2>/dev/null || true
exit $status
