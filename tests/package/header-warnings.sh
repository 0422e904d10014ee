#!/usr/bin/env bash
# The public headers compile without a warning under -Wall -Wextra -pedantic:
# TavMovieMaker.h as C99, C11, C++11, C++17 and C++20, TavMovieMaker.hpp as
# C++17 and C++20; and TavMovieMaker.hpp refuses C++14 with its own message.
# Usage: header-warnings.sh <source dir>
set -euo pipefail
include=$(cd "$1" && pwd)/include
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
flags=(-Wall -Wextra -pedantic -Werror -fsyntax-only -I"$include")

printf '#include <TavMovieMaker.h>\nint main(void) { return TAVMM_VERSION_MAJOR - 1; }\n' >"$work/c.c"
cp "$work/c.c" "$work/c.cpp"
printf '#include <TavMovieMaker.hpp>\nint main() { return tav::Recorder(8, 8, 25.0).id() - 1; }\n' >"$work/hpp.cpp"

for std in c99 c11; do
  x86_64-w64-mingw32-gcc-posix -std=$std "${flags[@]}" "$work/c.c"
  echo "TavMovieMaker.h as $std: no warning"
done
for std in c++11 c++17 c++20; do
  x86_64-w64-mingw32-g++-posix -std=$std "${flags[@]}" "$work/c.cpp"
  echo "TavMovieMaker.h as $std: no warning"
done
for std in c++17 c++20; do
  x86_64-w64-mingw32-g++-posix -std=$std "${flags[@]}" -Wshadow -Wconversion "$work/hpp.cpp"
  echo "TavMovieMaker.hpp as $std: no warning"
done
if x86_64-w64-mingw32-g++-posix -std=c++14 "${flags[@]}" "$work/hpp.cpp" 2>"$work/c++14.txt"; then
  echo "TavMovieMaker.hpp compiled as C++14" >&2
  exit 1
fi
grep -q "TavMovieMaker.hpp needs C++17 or later" "$work/c++14.txt"
echo "TavMovieMaker.hpp as c++14: refused"
