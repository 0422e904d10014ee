#!/usr/bin/env bash
# Builds everything in build/ and runs every test under Wine (dialog tests need
# a display, so the run happens inside Xvfb).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake --preset default
cmake --build --preset default
status=0
xvfb-run -a ctest --preset default "$@" || status=$?
# Leave no Wine process behind.
WINEPREFIX=$PWD/build/wineprefix wineserver -k 2>/dev/null || true
WINEPREFIX=$PWD/build/wineprefix-builtin wineserver -k 2>/dev/null || true
WINEPREFIX=$PWD/build/wineprefix-package wineserver -k 2>/dev/null || true
exit $status
