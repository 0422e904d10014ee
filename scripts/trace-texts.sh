#!/usr/bin/env bash
# Lists the texts TavMovieMaker.dll can write: every wide string its code or
# its tables point at (the log's message texts, formats and file names, the
# handle names of its traces) and every qualified function name its log lines
# carry, sorted and without repeats. Only strings something points at are
# read, from their first character, so the list does not depend on where the
# linker placed them. Comparing the lists of two builds shows every text a
# change added, removed or altered:
#   diff <(bash scripts/trace-texts.sh old/TavMovieMaker.dll) \
#        <(bash scripts/trace-texts.sh build/bin/TavMovieMaker.dll)
set -euo pipefail
dll=${1:?usage: trace-texts.sh DLL}
objdump=x86_64-w64-mingw32-objdump
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The read-only data's address and size, and its bytes one per line.
read -r rdata_vma rdata_size < <($objdump -h "$dll" | awk '$2 == ".rdata" { print $4, $3 }')
x86_64-w64-mingw32-objcopy -O binary --only-section=.rdata "$dll" "$work/rdata"
od -An -v -tu1 -w1 "$work/rdata" >"$work/bytes"

# What points into it: the code's address operands, and 8-byte values of the
# data sections (tables of strings).
{
  $objdump -d --no-show-raw-insn "$dll" | sed -n 's/.*# \([0-9a-f]*\) .*/\1/p'
  for section in .data .rdata; do
    x86_64-w64-mingw32-objcopy -O binary --only-section=$section "$dll" "$work/section"
    od -An -v -tx8 -w8 "$work/section" | tr -d ' '
  done
} | sort -u >"$work/targets"

awk -v vma="$rdata_vma" -v size="$rdata_size" '
  function hex(s,   i, n) { n = 0; s = tolower(s); for (i = 1; i <= length(s); i++) n = n * 16 + index("0123456789abcdef", substr(s, i, 1)) - 1; return n }
  function printable(c) { return c >= 32 && c < 127 }
  FNR == NR { byte[FNR - 1] = $1 + 0; next }
  {
    offset = hex($1) - hex(vma)
    if (offset < 0 || offset >= hex(size)) next
    text = ""
    if (byte[offset + 1] == 0 && printable(byte[offset])) {
      for (o = offset; o + 1 < hex(size) && (byte[o] || byte[o + 1]); o += 2) {
        if (byte[o + 1] != 0 || !printable(byte[o])) { text = ""; break }
        text = text sprintf("%c", byte[o])
      }
      if (length(text) >= 3) print "w " text
    } else {
      for (o = offset; o < hex(size) && byte[o]; o++) {
        if (!printable(byte[o])) { text = ""; break }
        text = text sprintf("%c", byte[o])
      }
      if (text ~ /^~?[A-Za-z_][A-Za-z0-9_]*(::~?[A-Za-z_][A-Za-z0-9_]*)+$/) print "n " text
    }
  }' "$work/bytes" "$work/targets" | LC_ALL=C sort -u >"$work/texts"

echo "# texts"
sed -n 's/^w //p' "$work/texts"
echo "# function names"
sed -n 's/^n //p' "$work/texts"
