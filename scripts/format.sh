#!/usr/bin/env bash
# Formats every C and C++ source of the tree as .clang-format says.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/source-files.sh
list_sources | xargs -0 clang-format -i
