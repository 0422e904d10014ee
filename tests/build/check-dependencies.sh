#!/usr/bin/env bash
# Fails when a source file includes a header across a forbidden arrow between
# the top-level folders (docs/architecture.md draws the arrows). Each include
# is resolved the way the build resolves it (the file's own folder, the source
# root, include/, and wine/ for the pack); what resolves to no file of ours is
# a system header and is not looked at.
#
# usage: check-dependencies.sh <source root>
set -euo pipefail
root=$(cd "$1" && pwd)
cd "$root"

# <folder> <folders it must never include from>. The DLL's folders are
# api/ writer/ compressors/ filters/ framework/ log/; include/ is the public
# header; wine/ is the platform pack; tools/ are hosts, which see only the
# public header.
rules=(
  "log          include api writer compressors filters framework wine tools"
  "framework    include api writer compressors filters log wine tools"
  "filters      include api writer compressors wine tools"
  "compressors  include api wine tools"
  "writer       include api wine tools"
  "api          wine tools"
  "wine         include api writer compressors filters tools"
  "tools        api writer compressors filters framework log wine"
)
# Single headers a folder may include although their folder is barred: the
# handle owner stands on the system alone, and the log's file sink holds its
# file in it.
declare -A allowed=(
  [log]="framework/UniqueHandle.h"
)

# Sets `target` to the top-level folder of the file that `include` (from
# `file`) resolves to, or to nothing for a system header.
resolve() {
  local file=$1 include=$2 folder=${1%%/*}
  target=
  if [ -f "${file%/*}/$include" ]; then
    target=$folder
    [[ $include == ../* ]] && target=$(realpath --relative-to="$root" "${file%/*}/$include") && target=${target%%/*}
  elif [[ $include == */* ]] && [ -f "$include" ]; then
    target=${include%%/*}
  elif [ -f "include/$include" ]; then
    target=include
  elif [ "$folder" = wine ] && [ -f "wine/$include" ]; then
    target=wine
  fi
  return 0
}

failures=0
for rule in "${rules[@]}"; do
  read -r folder forbidden <<<"$rule"
  while IFS= read -r file; do
    while IFS= read -r include; do
      resolve "$file" "$include"
      [ -n "$target" ] && [ "$target" != "$folder" ] || continue
      [[ " ${allowed[$folder]:-} " == *" $include "* ]] && continue
      for banned in $forbidden; do
        if [ "$target" = "$banned" ]; then
          echo "$file includes \"$include\": $folder/ must not depend on $banned/"
          failures=$((failures + 1))
        fi
      done
    done < <(sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*[<"]\([^>"]*\)[>"].*/\1/p' "$file")
  done < <(find "$folder" -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.c' -o -name '*.cpp' -o -name '*.rc' \) | sort)
done

if [ "$failures" -ne 0 ]; then
  echo "FAIL: $failures include(s) cross a forbidden arrow (docs/architecture.md)"
  exit 1
fi
echo "PASS: every include follows the dependency rules"
