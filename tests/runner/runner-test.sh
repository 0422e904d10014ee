#!/usr/bin/env bash
# cmake/wine-run.sh as CTest and scripts use it: output in pipes.
# Usage: runner-test.sh BIN_DIR
set -uo pipefail
bin=$1
runner=$(dirname "$0")/../../cmake/wine-run.sh
child=$bin/runner_lingering_child.exe
# Windows programs end their lines with CR LF.
unix_lines() { tr -d '\r'; }
fail() { echo "FAIL: $*"; pkill -f 'runner_lingering_child\.exe.* wait' || true; exit 1; }

# A process the program leaves behind holds the output pipe for a minute; the
# runner must end with the program all the same (the deadline is only there
# so that a failure ends).
out=$(timeout 40 bash "$runner" "$child"; echo "rc=$?")
[ "$(printf '%s' "$out" | unix_lines)" = "started the child
rc=0" ] || fail "output and exit code: '$out'"
pgrep -f 'runner_lingering_child\.exe.* wait' >/dev/null || fail "the child has ended: the runner waited for it"
pkill -f 'runner_lingering_child\.exe.* wait'

# Input reaches the program, output and error come back on their own streams,
# the exit code is the program's.
out=$(printf 'frames\n' | bash "$runner" "$child" echo 7 2>err.txt; echo "rc=$?")
[ "$(printf '%s' "$out" | unix_lines)" = "frames
rc=7" ] || fail "output and exit code: '$out'"
[ "$(unix_lines <err.txt)" = "to stderr" ] || fail "stderr: '$(cat err.txt)'"
rm -f err.txt
# A test listing for CTest's discovery that fails shows its error output and
# status on standard output, the only stream CTest reports.
out=$(bash "$runner" "$child" --gtest_list_tests 2>err.txt; echo "rc=$?")
[ "$(printf '%s' "$out" | unix_lines)" = "usage: runner_lingering_child [wait | echo N]
wine-run.sh: runner_lingering_child.exe --gtest_list_tests ended with status 2
rc=2" ] || fail "failed listing: '$out'"
[ ! -s err.txt ] || fail "failed listing, stderr: '$(cat err.txt)'"
rm -f err.txt
echo "PASS: runner"
