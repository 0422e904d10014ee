#!/usr/bin/env bash
# Fails unless the DLL exports exactly the four COM server entry points.
set -euo pipefail
exports=$(x86_64-w64-mingw32-objdump -p "$1" | sed -n '/Ordinal\/Name Pointer/,/^$/p' |
          sed -n 's/^\s*\[ *[0-9]*\] //p' | sort | tr '\n' ' ')
echo "exports: $exports"
[ "$exports" = 'DllCanUnloadNow DllGetClassObject DllRegisterServer DllUnregisterServer ' ]
