#!/usr/bin/env bash
# Fails when the DLL imports anything but Windows system DLLs (a MinGW runtime
# DLL such as libstdc++-6.dll or libwinpthread-1.dll would have to ship beside it).
set -euo pipefail
dll=$1
imports=$(x86_64-w64-mingw32-objdump -p "$dll" | sed -n 's/^\s*DLL Name: //p' | tr 'A-Z' 'a-z' | sort -u)
echo "imports:"; echo "$imports"
allowed='^(kernel32|user32|gdi32|advapi32|ole32|oleaut32|msvcrt|shell32|comctl32|comdlg32|winmm|msacm32|quartz|shlwapi|uuid|version|api-ms-win-[a-z0-9-]+)\.dll$'
bad=$(echo "$imports" | grep -Ev "$allowed" || true)
if [ -n "$bad" ]; then
  echo "not a system DLL:"; echo "$bad"; exit 1
fi
echo "$imports" | grep -qx kernel32.dll
