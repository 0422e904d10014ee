#!/usr/bin/env bash
# Builds everything in build/ and runs every test under Wine (dialog tests need
# a display, so the run happens inside Xvfb).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
# Repeated runs on a developer's machine reuse compiled objects when ccache is
# installed; without it (as in CI) the build is a plain one.
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
cmake --preset default "${launcher[@]}"
cmake --build --preset default
status=0
xvfb-run -a ctest --preset default "$@" || status=$?
# Leave no Wine process behind.
WINEPREFIX=$PWD/build/wineprefix wineserver -k 2>/dev/null || true
WINEPREFIX=$PWD/build/wineprefix-builtin wineserver -k 2>/dev/null || true
WINEPREFIX=$PWD/build/wineprefix-package wineserver -k 2>/dev/null || true
exit $status
