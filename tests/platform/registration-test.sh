#!/usr/bin/env bash
# Registers the platform pack into a throwaway Wine prefix twice, checks that
# the AVI Mux and File Writer classes point at the pack, unregisters twice and
# checks that Wine's own entries are back exactly as they were.
# Usage: registration-test.sh <wine folder with the scripts> <TavPlatformPack.dll>
set -euo pipefail

scripts=$1
dll=$2
prefix=$(mktemp -d /tmp/tav-regtest-XXXXXX)
export WINEPREFIX=$prefix WINEARCH=win64 WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=
wine=/usr/lib/wine/wine64
cleanup() {
  wineserver -k </dev/null >/dev/null 2>&1 || true
  rm -rf "$prefix"
}
trap cleanup EXIT

fail() { echo "FAIL: $*" >&2; exit 1; }

# One server for the whole test: under load a program that starts while a
# short-lived server is going away can fail before it prints anything.
wineserver -p </dev/null >/dev/null 2>&1
wineboot -i </dev/null >/dev/null 2>&1 || true

avi_mux='HKLM\Software\Classes\CLSID\{E2510970-F137-11CE-8B67-00AA00A3F1A6}'
file_writer='HKLM\Software\Classes\CLSID\{8596E5F0-0DA5-11D0-BD21-00A0C911CE86}'
acm_class='HKLM\Software\Classes\CLSID\{1C531EDF-CC14-4B27-8143-D99931EB054D}'
audio_category='HKLM\Software\Classes\CLSID\{33D9A761-90C8-11D0-BD43-00A0C911CE86}'
query() { "$wine" reg query "$1" /s 2>&1 </dev/null | tr -d '\r' | sed '/^$/d'; }
server_of() { "$wine" reg query "$1\\InprocServer32" /ve 2>&1 </dev/null | tr -d '\r' | awk -F'    ' '/REG_/ {print $4}'; }
model_of() { "$wine" reg query "$1\\InprocServer32" /v ThreadingModel 2>&1 </dev/null | tr -d '\r' | awk -F'    ' '/REG_/ {print $4}'; }

before_mux=$(query "$avi_mux")
before_writer=$(query "$file_writer")
before_category=$(query "$audio_category")
exists() { "$wine" reg query "$1" </dev/null >/dev/null 2>&1; }
exists "$acm_class" && fail "the ACM compressor class is registered before the pack is"
[ "$(server_of "$avi_mux")" = 'C:\windows\system32\qcap.dll' ] || fail "Wine's AVI Mux entry not found: $before_mux"
[ "$(server_of "$file_writer")" = 'C:\windows\system32\qcap.dll' ] || fail "Wine's File Writer entry not found: $before_writer"

windows_dll="Z:$(cd "$(dirname "$dll")" && pwd | sed 's#/#\\#g')\\$(basename "$dll")"
for round in 1 2; do
  bash "$scripts/register-pack.sh" "$dll" || fail "register round $round failed"
  for key in "$avi_mux" "$file_writer" "$acm_class"; do
    server=$(server_of "$key")
    [ "$server" = "$windows_dll" ] ||
      fail "after register round $round, $key read '$server', not $windows_dll; reg now says: $(query "$key")"
    model=$(model_of "$key")
    [ "$model" = Both ] ||
      fail "after register round $round, $key ThreadingModel read '$model'; reg now says: $(query "$key")"
  done
done
echo "registered twice: AVI Mux, File Writer and ACM compressor point at $windows_dll"

for round in 1 2; do
  bash "$scripts/unregister-pack.sh" "$dll" || fail "unregister round $round failed"
  [ "$(query "$avi_mux")" = "$before_mux" ] || fail "after unregister round $round: $(query "$avi_mux")"
  [ "$(query "$file_writer")" = "$before_writer" ] || fail "after unregister round $round: $(query "$file_writer")"
  exists "$acm_class" && fail "after unregister round $round the ACM compressor class is still there"
  # The category's own entries stay; none names the pack's class any more.
  after_category=$(query "$audio_category")
  if grep -qi '1C531EDF-CC14-4B27-8143-D99931EB054D' <<<"$after_category"; then
    fail "after unregister round $round the audio compressor category still lists the pack: $after_category"
  fi
  while IFS= read -r line; do
    grep -qxF -- "$line" <<<"$after_category" || fail "after unregister round $round the category lost: $line"
  done <<<"$before_category"
done
if "$wine" reg query 'HKLM\Software\TavPlatformPack' </dev/null >/dev/null 2>&1; then
  fail "the pack's saved entries are left behind"
fi
echo "unregistered twice: Wine's entries are back exactly"
