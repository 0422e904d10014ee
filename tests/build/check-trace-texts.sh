#!/usr/bin/env bash
# The texts the DLL writes are fixed output: its wide strings and the function
# names of its log lines must equal tests/build/trace-texts.txt. A change that
# means to alter a text updates the list in the same commit:
#   bash scripts/trace-texts.sh build/bin/TavMovieMaker.dll > tests/build/trace-texts.txt
set -euo pipefail
root=${1:?usage: check-trace-texts.sh SOURCE_DIR DLL}
dll=${2:?usage: check-trace-texts.sh SOURCE_DIR DLL}
if diff -u "$root/tests/build/trace-texts.txt" <(bash "$root/scripts/trace-texts.sh" "$dll"); then
  echo "PASS: the DLL's texts equal tests/build/trace-texts.txt"
else
  echo "FAIL: the DLL's texts differ from tests/build/trace-texts.txt (lines above: - expected, + built)"
  exit 1
fi
