#!/usr/bin/env bash
# Installs what building and testing need on Debian 12, as root. Idempotent:
# apt-get runs only when a package is missing, and updates its lists first.
set -euo pipefail
packages=(g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev wine64 wine googletest
          ffmpeg xvfb xauth cmake make
          # the Microsoft-format import library and the Microsoft-ABI host test
          clang lld llvm)
# tavcam's tests and screenshots: ImageMagick's import grabs the Xvfb screen;
# fonts-wine has the Marlett font that draws Wine's title bar buttons.
packages+=(imagemagick fonts-wine)
# The format check (scripts/format.sh applies the style).
packages+=(clang-format)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -q
  apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
