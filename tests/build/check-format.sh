#!/usr/bin/env bash
# Fails when a C or C++ source differs from what clang-format makes of it
# with the tree's .clang-format, and first shows that the check can fail.
# Usage: check-format.sh <source tree>
set -euo pipefail
root=$(cd "$1" && pwd)

# A file that is not formatted is caught.
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp "$root/.clang-format" "$scratch/"
printf 'int  Twice( int x ){return x*2;}\n' >"$scratch/unformatted.cpp"
if clang-format --dry-run --Werror "$scratch/unformatted.cpp" 2>/dev/null; then
  echo "FAIL: clang-format accepted an unformatted file"
  exit 1
fi

cd "$root"
source scripts/source-files.sh
count=$(list_sources | tr -cd '\0' | wc -c)
if ! list_sources | xargs -0 clang-format --dry-run --Werror; then
  echo "FAIL: the files above are not formatted; run scripts/format.sh"
  exit 1
fi
echo "PASS: $count files formatted"
