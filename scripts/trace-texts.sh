#!/usr/bin/env bash
# Lists the texts TavMovieMaker.dll can write: every wide string of its
# read-only data (the log's message texts, formats and names, the dialogs'
# texts) and every qualified function name a log line carries, sorted and
# without repeats. Comparing the lists of two builds shows every text a change
# added, removed or altered:
#   diff <(bash scripts/trace-texts.sh old/TavMovieMaker.dll) \
#        <(bash scripts/trace-texts.sh build/bin/TavMovieMaker.dll)
set -euo pipefail
dll=${1:?usage: trace-texts.sh DLL}
rdata=$(mktemp)
trap 'rm -f "$rdata"' EXIT
x86_64-w64-mingw32-objcopy -O binary --only-section=.rdata "$dll" "$rdata"
echo "# texts"
x86_64-w64-mingw32-strings -a -e l -n 3 "$rdata" | LC_ALL=C sort -u
echo "# function names"
x86_64-w64-mingw32-strings -a -n 4 "$rdata" | grep -E '^~?[A-Za-z_][A-Za-z0-9_]*(::~?[A-Za-z_][A-Za-z0-9_]*)+$' | LC_ALL=C sort -u
