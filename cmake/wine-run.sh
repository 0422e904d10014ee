#!/usr/bin/env bash
# Runs a Windows program under Wine in the build tree's own prefix.
# Usage: wine-run.sh path/to/program.exe [args...]
# The prefix lives at <build>/wineprefix (<build> is the folder above bin/),
# or at $TAV_WINEPREFIX when set. The first call creates it; one persistent
# wineserver is kept up so later programs start in a fraction of a second.
# TAV_NO_PACK=1 runs in a second prefix (<build>/wineprefix-builtin) where the
# platform pack is never registered, so Wine's own classes answer.
set -Eeuo pipefail
# A step of this script that fails ends it under set -e: say which, so the
# caller never sees an exit status without a word (the program's own status
# is passed on as it is).
trap 'echo "wine-run.sh: line $LINENO: \"$BASH_COMMAND\" failed with status $?" >&2' ERR

program=$1; shift
bin_dir=$(cd "$(dirname "$program")" && pwd)
build_dir=${TAV_BUILD_DIR:-$(dirname "$bin_dir")}
if [ "${TAV_NO_PACK:-0}" = 1 ]; then
  prefix=${TAV_WINEPREFIX:-$build_dir/wineprefix-builtin}
else
  prefix=${TAV_WINEPREFIX:-$build_dir/wineprefix}
fi
export WINEPREFIX=$prefix
export WINEDEBUG=${WINEDEBUG:--all}
export WINEARCH=win64
# No Mono or Gecko prompts while the prefix is created, and no ALSA driver,
# whose library prints its complaints about a missing sound card on stderr.
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=;winealsa.drv=}

wine=/usr/lib/wine/wine64

# A wineserver of this prefix is up when one carries our WINEPREFIX. A server
# may end between pgrep and the read: the group's redirection also silences
# the shell's own "No such process" for the vanished /proc entry.
server_running() {
  local pid
  for pid in $(pgrep wineserver || true); do
    { tr '\0' '\n' </proc/"$pid"/environ; } 2>/dev/null | grep -qx "WINEPREFIX=$prefix" && return 0
  done
  return 1
}

# Whatever Wine starts in the background (the server, services.exe) must not
# hold the caller's output pipe or our lock open, or CTest waits for it.
quiet() { "$@" </dev/null >/dev/null 2>&1 9>&-; }

mkdir -p "$(dirname "$prefix")"
(
  flock 9
  if [ ! -f "$prefix/.tav-ready" ]; then
    mkdir -p "$prefix"
    quiet wineboot -i || true
    quiet wineserver -w || true
    touch "$prefix/.tav-ready"
  fi
  if ! server_running; then
    # One persistent server for the run (it exits 60 s after the last
    # program), and the prefix's services started with no pipe attached.
    quiet wineserver -p60 || true
    quiet "$wine" wineboot || true
  fi
  # Register the platform pack when it was built or changed since.
  pack=$bin_dir/TavPlatformPack.dll
  register=$(dirname "$0")/../wine/register-pack.sh
  if [ "${TAV_NO_PACK:-0}" != 1 ] && [ -f "$pack" ] && [ -f "$register" ] &&
     { [ "$pack" -nt "$prefix/.tav-pack" ] || [ "$register" -nt "$prefix/.tav-pack" ]; }; then
    if ! quiet bash "$register" "$pack"; then
      echo "wine-run.sh: registering $pack into $prefix failed" >&2
      exit 1
    fi
    touch "$prefix/.tav-pack"
  fi
) 9>"$prefix.lock"

# The pipe of CTest's test discovery gets the listing directly: listing a
# test program's cases starts no other process. CTest reports only the
# listing's standard output, so when the listing fails its error output and
# status go there too, and the report says why.
if [ "${1:-}" = --gtest_list_tests ]; then
  listing_err=$(mktemp)
  trap 'rm -f "$listing_err"' EXIT
  status=0
  "$wine" "$program" "$@" 2>"$listing_err" || status=$?
  if [ "$status" = 0 ]; then
    cat "$listing_err" >&2
  else
    cat "$listing_err"
    echo "wine-run.sh: $(basename "$program") $* ended with status $status"
  fi
  exit "$status"
fi

# A terminal or a file can be handed over as it is.
is_pipe() { [ -p "$1" ] || [ -S "$1" ]; }
if ! is_pipe /dev/stdout && ! is_pipe /dev/stderr; then
  exec "$wine" "$program" "$@"
fi

# A pipe cannot: a Windows process that the program starts (Wine's desktop
# process, explorer.exe, when the program is the first to need a window)
# inherits it and lives on, and the reader (CTest, a $(...)) would wait for
# its end long after the program has gone. The program writes into files
# instead, relayed here as they grow and until the program ends.
relay_dir=$(mktemp -d)
trap 'rm -rf "$relay_dir"' EXIT
: >"$relay_dir/out"
: >"$relay_dir/err"
# Background jobs read /dev/null unless told otherwise: keep our input.
exec 3<&0
"$wine" "$program" "$@" <&3 >"$relay_dir/out" 2>"$relay_dir/err" 3<&- &
program_pid=$!
exec 3<&-
trap 'kill "$program_pid" 2>/dev/null || true' TERM INT HUP
relay() { tail -q -c +1 -s 0.05 --pid="$program_pid" -f "$1"; }
relay "$relay_dir/out" &
out_pid=$!
relay "$relay_dir/err" >&2 &
err_pid=$!
status=0
wait "$program_pid" || status=$?
wait "$out_pid" "$err_pid" || true
exit "$status"
