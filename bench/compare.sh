#!/usr/bin/env bash
# Records the same raw frames with four contenders and prints a table of
# frames per second, side by side:
#   dll    TavMovieMaker.dll through its public header (dll_record_bench.exe)
#   vfw    Video for Windows AVIFile under Wine (vfw_record_bench.exe)
#   ffmpeg ffmpeg -f rawvideo ... -c:v rawvideo
#   bound  dd bs=1M of the raw frames (page cache to the target): no program
#          that writes these bytes can be faster
# once to tmpfs (/dev/shm) and once to disk. Each case runs --rounds rounds;
# in each round every contender runs once, in an order rotated per round,
# and before each run a file of the same size is written to the target and
# deleted (so disk figures do not depend on what ran before). Figures are
# medians with min-max. Then the hand-over rate of tiny frames (16x16) next
# to a Wine event ping-pong (the floor of a hand-over), the DLL's peak
# committed memory at two recording lengths, and per case the copies alone
# to tmpfs (copy_bound_bench.exe: the ceiling of the DLL's way of writing).
#
# The Wine hosts time themselves (first frame to the closed file); ffmpeg
# and dd are timed from outside (their start-up takes milliseconds).
#
# Usage: bash bench/compare.sh [--rounds N] [--tiny] [--no-build] [--out FILE]
#   --tiny   tiny frame sizes and counts (a smoke run; figures mean nothing)
#   --no-build  use the programs already built (the smoke test does)
#   --out    where the Markdown report goes (default docs/benchmarks.md;
#            "-" for standard output only)
# Environment: TAV_BUILD_DIR (default build), TAV_BENCH_DISK (a folder on
# disk; default the build folder).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TAV_BUILD_DIR:-$root/build}
rounds=5
tiny=0
build_first=1
out=$root/docs/benchmarks.md
while [ $# -gt 0 ]; do
  case $1 in
    --rounds) rounds=$2; shift 2 ;;
    --tiny) tiny=1; shift ;;
    --no-build) build_first=0; shift ;;
    --out) out=$2; shift 2 ;;
    *) echo "compare.sh: unknown argument $1 (see the head of bench/compare.sh)" >&2; exit 2 ;;
  esac
done

# Build what is needed (a fresh clone has no build tree yet).
if [ $build_first = 1 ]; then
  if [ ! -f "$build/CMakeCache.txt" ]; then
    (cd "$root" && cmake --preset default >/dev/null)
  fi
  cmake --build "$build" --target dll_record_bench vfw_record_bench event_pingpong_bench copy_bound_bench \
    TavMovieMaker TavPlatformPack -j2 >/dev/null
fi
bin=$build/bin
run_wine() { bash "$root/cmake/wine-run.sh" "$@"; }
winpath() { echo "Z:${1//\//\\}"; }

load_start=$(cut -d' ' -f1 /proc/loadavg)
work_shm=$(mktemp -d /dev/shm/tav-bench.XXXXXX)
work_disk=$(mktemp -d "${TAV_BENCH_DISK:-$build}/tav-bench.XXXXXX")
trap 'rm -rf "$work_shm" "$work_disk"' EXIT

if [ $tiny = 1 ]; then
  cases=("64x48 grey 40" "32x24 rgb24 20")
  tiny_frames=200
  memory_lengths=(20 60)
  small_case="64x48 40"
else
  cases=("640x480 grey 2000" "1920x1080 rgb24 300" "4096x3000 grey 100")
  tiny_frames=20000
  memory_lengths=(2000 10000)
  small_case="640x480 2000"
fi
contenders=(dll vfw ffmpeg bound)

now() { date +%s.%N; }
# Whole MB at least as large as the bytes given.
whole_mb() { echo $(( $1 / 1048576 + 1 )); }
# Writes a file of MB megabytes of zeros and deletes it.
write_and_delete() { dd if=/dev/zero of="$1" bs=1M count="$2" status=none; rm -f "$1"; }
# The frame rate a Wine bench host printed.
fps_of() { sed -n 's/.* fps=\([0-9.]*\).*/\1/p' <<<"$1"; }
# fps of one run, on stdout; the contender's own output goes to the log.
run_one() {
  local who=$1 src=$2 w=$3 h=$4 fmt=$5 n=$6 dest=$7 warm_mb=$8 t0 t1 line pixfmt
  case $who in
    dll | vfw)
      # The host warms the target itself, after its start-up (see below).
      line=$(run_wine "$bin/${who}_record_bench.exe" "$(winpath "$src")" "$w" "$h" "$fmt" "$n" "$(winpath "$dest")" \
        $(( warm_mb * 1048576 )))
      echo "$line" >>"$log"
      fps_of "$line" ;;
    ffmpeg)
      pixfmt=gray; [ "$fmt" = rgb24 ] && pixfmt=bgr24
      t0=$(now)
      ffmpeg -v error -y -f rawvideo -pix_fmt $pixfmt -s "${w}x$h" -r 25 -i "$src" -frames:v "$n" -c:v rawvideo \
        "$dest" >>"$log" 2>&1
      t1=$(now)
      awk -v n="$n" -v a="$t0" -v b="$t1" 'BEGIN { printf "%.1f\n", n / (b - a) }' ;;
    bound)
      t0=$(now)
      dd if="$src" of="$dest" bs=1M status=none
      t1=$(now)
      awk -v n="$n" -v a="$t0" -v b="$t1" 'BEGIN { printf "%.1f\n", n / (b - a) }' ;;
  esac
  rm -f "$dest"
}

# "median (min-max)" of numbers on stdin; the median alone with --median.
stats() {
  sort -g | awk -v only="${1:-}" '{ v[NR] = $1 } END {
    if (NR == 0) { print "n/a"; exit }
    m = NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2
    if (only == "--median") printf "%.1f\n", m; else printf "%.0f (%.0f-%.0f)\n", m, v[1], v[NR] }'
}
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (b > 0) printf "%.2f", a / b; else printf "n/a" }'; }

log=$work_disk/runs.log
declare -A figures
table="| target | frames | DLL | ffmpeg \`-c:v rawvideo\` | VfW AVIFile (Wine) | bound (dd) | DLL / bound | DLL / ffmpeg |
|---|---|---|---|---|---|---|---|"
copies_table="| frames | dd under Wine | 3 copies, one thread | 3 copies, write on its own thread | DLL / that |
|---|---|---|---|---|"
phases_table="| frames | one frame (1 / DLL's rate) | host gets the frame | host inside AddMovieFrame2 | one memcpy of the frame | hand-over beyond that copy |
|---|---|---|---|---|---|"
for spec in "${cases[@]}"; do
  read -r size fmt n <<<"$spec"
  w=${size%x*}; h=${size#*x}
  bpp=1; [ "$fmt" = rgb24 ] && bpp=3
  bytes=$(( w * bpp * h * n ))
  [ "$bytes" -gt "${max_bytes:-0}" ] && max_bytes=$bytes
  warm_mb=$(whole_mb "$bytes")
  src=$work_shm/frames.raw
  pixfmt=gray; [ "$fmt" = rgb24 ] && pixfmt=bgr24
  ffmpeg -v error -y -f lavfi -i "testsrc=size=${w}x$h:rate=25" -frames:v "$n" -pix_fmt $pixfmt -f rawvideo "$src"
  for target in shm disk; do
    dir=$work_shm; [ $target = disk ] && dir=$work_disk
    for c in "${contenders[@]}"; do figures[$c]=""; done
    phases=""
    for (( r = 0; r < rounds; r++ )); do
      for (( i = 0; i < ${#contenders[@]}; i++ )); do
        c=${contenders[$(( (i + r) % ${#contenders[@]} ))]}
        # A same-size file written and deleted first, on the same target, just
        # before the first write: by the script for ffmpeg and dd, by the Wine
        # hosts themselves after their start-up (a virtual machine may hand
        # memory freed a few seconds earlier back to its host; see
        # "The machine" in the report).
        if [ "$c" = ffmpeg ] || [ "$c" = bound ]; then write_and_delete "$dir/prewrite" "$warm_mb"; fi
        fps=$(run_one "$c" "$src" "$w" "$h" "$fmt" "$n" "$dir/$c.avi" "$warm_mb")
        figures[$c]+="$fps"$'\n'
        [ "$c" = dll ] && [ $target = shm ] && phases+="$(tail -1 "$log")"$'\n'
      done
    done
    med() { printf '%s' "${figures[$1]}" | stats --median; }
    row="| $target | $size $fmt x$n |"
    for c in dll ffmpeg vfw bound; do row+=" $(printf '%s' "${figures[$c]}" | stats) |"; done
    row+=" $(ratio "$(med dll)" "$(med bound)") | $(ratio "$(med dll)" "$(med ffmpeg)") |"
    table+=$'\n'"$row"
    echo "$row"
    if [ $target = shm ]; then
      dll_shm=$(med dll)
      # The DLL's tmpfs runs, split per frame (dll_record_bench.exe prints them).
      phase() { printf '%s' "$phases" | sed -n "s/.* $1=\([0-9.]*\).*/\1/p" | stats --median; }
      row="| $size $fmt x$n | $(awk -v f="$dll_shm" 'BEGIN { printf "%.0f", 1e6 / f }') µs | $(phase read_us) µs |"
      row+=" $(phase handover_us) µs | $(phase memcpy_us) µs |"
      row+=" $(awk -v h="$(phase handover_us)" -v c="$(phase memcpy_us)" 'BEGIN { printf "%.0f", h - c }') µs |"
      phases_table+=$'\n'"$row"
      [ -z "${first_case:-}" ] && first_case="$size $fmt" && first_ffmpeg=$(med ffmpeg)
    fi
  done
  # The copies alone, to tmpfs (the program interleaves its ways itself).
  copies=$(run_wine "$bin/copy_bound_bench.exe" "$(winpath "$src")" "$w" "$h" "$fmt" "$n" \
    "$(winpath "$work_shm/copies.out")" "$rounds")
  echo "$copies" >>"$log"
  way() { sed -n "s/^$1 *fps=\([0-9.]*\) (\([0-9.]*\)-\([0-9.]*\)).*/\1 (\2-\3)/p" <<<"$copies"; }
  row="| $size $fmt x$n | $(way dd) | $(way serial) | $(way threaded) |"
  row+=" $(ratio "$dll_shm" "$(way threaded | cut -d' ' -f1)") |"
  copies_table+=$'\n'"$row"
  echo "$row"
  rm -f "$src"
done

# Small samples: the AVI Mux writes them on the streaming thread while its
# queue is idle; TAV_PACK_QUEUE_EVERY_SAMPLE=1 hands them to its writer
# thread instead. Painted grey frames into tmpfs, both ways interleaved.
read -r small_size small_n <<<"$small_case"
small_w=${small_size%x*}; small_h=${small_size#*x}
small_warm_mb=$(whole_mb $(( small_w * small_h * small_n )))
written_here="" handed_over=""
for (( r = 0; r < rounds; r++ )); do
  ways="here queued"; (( r % 2 == 0 )) || ways="queued here"
  for way in $ways; do
    queue_every=0; [ $way = queued ] && queue_every=1
    line=$(TAV_PACK_QUEUE_EVERY_SAMPLE=$queue_every run_wine "$bin/dll_record_bench.exe" - "$small_w" "$small_h" grey \
      "$small_n" "$(winpath "$work_shm/small.avi")" $(( small_warm_mb * 1048576 )))
    echo "$way: $line" >>"$log"
    rm -f "$work_shm/small.avi"
    fps=$(fps_of "$line")
    if [ $way = here ]; then written_here+="$fps"$'\n'; else handed_over+="$fps"$'\n'; fi
  done
done
small_table="| frames | written on the streaming thread (frames/s) | handed to the writer thread (frames/s) | first / second |
|---|---|---|---|
| $small_size grey x$small_n | $(printf '%s' "$written_here" | stats) | $(printf '%s' "$handed_over" | stats) |"
small_table+=" $(ratio "$(printf '%s' "$written_here" | stats --median)" "$(printf '%s' "$handed_over" | stats --median)") |"
echo "$small_table"

# Tiny frames: the hand-over itself, next to the event ping-pong floor.
handover="" pingpong=""
for (( r = 0; r < rounds; r++ )); do
  line=$(run_wine "$bin/dll_record_bench.exe" - 16 16 grey "$tiny_frames" "$(winpath "$work_shm/tiny.avi")")
  echo "$line" >>"$log"
  handover+="$(fps_of "$line")"$'\n'
  rm -f "$work_shm/tiny.avi"
  line=$(run_wine "$bin/event_pingpong_bench.exe" "$tiny_frames")
  echo "$line" >>"$log"
  pingpong+="$(sed -n 's/.* per_second=\([0-9.]*\).*/\1/p' <<<"$line")"$'\n'
done
handover_med=$(printf '%s' "$handover" | stats --median)
pingpong_med=$(printf '%s' "$pingpong" | stats --median)
tiny_table="| 16x16 grey frames through the DLL (frames/s) | Wine event ping-pong (round trips/s) |
|---|---|
| $(printf '%s' "$handover" | stats) = $(awk -v f="$handover_med" 'BEGIN { printf "%.0f", 1e6 / f }') µs each | $(printf '%s' "$pingpong" | stats) = $(awk -v f="$pingpong_med" 'BEGIN { printf "%.0f", 1e6 / f }') µs each |"
echo "$tiny_table"
# The hand-over's floor: 9 wineserver requests per frame (bench/server-requests.sh),
# 4 in each ping-pong round trip (2 signals, 2 waits).
floor_us=$(awk -v p="$pingpong_med" 'BEGIN { printf "%.0f", 9 / 4 * 1e6 / p }')
floor_fps=$(awk -v p="$pingpong_med" 'BEGIN { printf "%.0f", p * 4 / 9 }')
if awk -v t="$handover_med" -v f="$first_ffmpeg" 'BEGIN { exit !(t < f) }'; then
  reach="Here it is below ffmpeg's rate for $first_case ($first_ffmpeg frames/s, first
table): under Wine 8 and with this hand-over, that rate cannot be reached for
that size, whatever the pack does."
else
  reach="Here it is not below ffmpeg's rate for $first_case ($first_ffmpeg frames/s,
first table): the hand-over alone does not keep the DLL from that rate."
fi

# Peak committed memory of the DLL's host at two recording lengths.
memory_table="| 640x480 grey frames recorded | peak committed memory of the host |
|---|---|"
for n in "${memory_lengths[@]}"; do
  line=$(run_wine "$bin/dll_record_bench.exe" - 640 480 grey "$n" "$(winpath "$work_shm/memory.avi")")
  echo "$line" >>"$log"
  rm -f "$work_shm/memory.avi"
  memory_table+=$'\n'"| $n | $(sed -n 's/.*peak_commit_mb=\([0-9.]*\).*/\1/p' <<<"$line") MB |"
done
echo "$memory_table"

# The machine: writing into tmpfs memory freed just before, and freed a few
# seconds before (a virtual machine may hand freed memory back to its host
# meanwhile, and then every page written costs a fault on the host too).
machine_mb=$(whole_mb "$max_bytes")
machine_wait=5; [ $tiny = 1 ] && machine_wait=1
just_freed="" freed_before=""
write_zeros_mb_s() {
  local t0 t1
  t0=$(now)
  dd if=/dev/zero of="$work_shm/zeros" bs=1M count="$machine_mb" status=none
  t1=$(now)
  rm -f "$work_shm/zeros"  # not timed: only the write is
  awk -v m="$machine_mb" -v a="$t0" -v b="$t1" 'BEGIN { printf "%.1f\n", m / (b - a) }'
}
for (( r = 0; r < rounds; r++ )); do
  write_and_delete "$work_shm/prewrite" "$machine_mb"
  just_freed+="$(write_zeros_mb_s)"$'\n'
  sleep "$machine_wait"
  freed_before+="$(write_zeros_mb_s)"$'\n'
done
machine_table="| MB of zeros written to tmpfs | just after the same size was freed (MB/s) | $machine_wait s after it was freed (MB/s) |
|---|---|---|
| $machine_mb | $(printf '%s' "$just_freed" | stats) | $(printf '%s' "$freed_before" | stats) |"
echo "$machine_table"

tiny_flag=""; [ $tiny = 1 ] && tiny_flag=" --tiny"
cpu=$(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -1)
report="# Benchmarks: recording raw frames to AVI

Made by \`bash bench/compare.sh$tiny_flag --rounds $rounds\` on $(date -u '+%Y-%m-%d %H:%M UTC').
Machine: $(nproc) cores ($cpu), $(awk '/MemTotal/ { printf "%.0f GB", $2 / 1048576 }' /proc/meminfo) RAM,
Linux $(uname -r), $(wine --version 2>/dev/null || echo Wine), $(ffmpeg -version | head -1 | cut -d' ' -f1-3).
Other programs may have run at the same time (load average $load_start at the start, $(cut -d' ' -f1 /proc/loadavg) at the end), so
single figures vary; the medians of interleaved rounds are what to compare.

## The machine

Written to tmpfs with dd, medians of $rounds rounds (min-max): a file of
the largest case's size, once right after a file of the same size was
deleted, once $machine_wait s after.

$machine_table

Where the second figure is far below the first, the machine hands freed
memory back to its host within seconds (on Linux guests, free page
reporting), and writing into it costs a fault on the host for every page.
Every contender below is therefore timed right after a same-size file was
written and deleted on its target: the script does that just before ffmpeg
and dd start, the Wine hosts (\`dll_record_bench.exe\`,
\`vfw_record_bench.exe\`) after their own start-up, just before their first
frame. A contender whose run still outlasts the freed memory (or the
machine's limit on how much freed memory it keeps) meets the slow pages;
that is the low end of the min-max ranges.

## Frames per second

Medians of $rounds rounds (min-max). Every contender writes the same raw
frames, read from a file in tmpfs, into an uncompressed AVI (dd copies the
raw bytes: the bound). Contenders run interleaved, in an order rotated each
round, each after a same-size file was written to its target and deleted.

$table

Goals for the tmpfs rows: 1920x1080 RGB24 and 4096x3000 grey at least 0.9 of
the bound; 640x480 grey at least ffmpeg's rate (DLL / ffmpeg >= 1).

## Small samples: the streaming thread writes them

The AVI Mux hands a sample to its writer thread only when the sample is at
least half its 1 MB write buffer or the thread is still busy; a smaller one
it writes in \`Receive\`, on the source's streaming thread (the layout
writer gathers it into its buffer: a copy, and a 1 MB write now and then).
Handing a sample over costs two thread wake-ups, which under Wine on two
cores take longer than that copy. Painted frames through the DLL into tmpfs,
$rounds rounds of each way interleaved, medians (min-max); the second way is
the AVI Mux run with \`TAV_PACK_QUEUE_EVERY_SAMPLE=1\`.

$small_table

## Hand-over of tiny frames

$tiny_frames frames of 16x16 grey through the DLL into tmpfs, next to two Wine
threads passing the turn through two auto-reset events (what each hand-over
must do at least), medians of $rounds interleaved rounds (min-max).

$tiny_table

Where a small frame's time goes: \`bash bench/server-requests.sh\` counts the
wineserver requests one frame makes (each a round trip of tens of
microseconds under Wine 8), whoever makes them: 9, all of them the DLL's
hand-over on the host's and the source pin's threads (5 waits, 3 event
signals, 1 release of the main mutex), which stays as it is. The pack makes
none: the AVI Mux's allocator and queue wait on critical sections, and the
File Writer writes without an OVERLAPPED (under Wine, a write given one
posts its completion through the wineserver: one more request per write).

The floor: a ping-pong round trip is 4 requests (2 signals, 2 waits), so
the hand-over's 9 cost at least 9/4 round trips, $floor_us µs per frame here, at
most $floor_fps frames per second whatever the frame size. A 16x16 frame
through the whole DLL takes the time in the left column; a larger frame
only adds its copies, so that rate is the ceiling for every size.
$reach

## The copies alone

\`copy_bound_bench.exe\` (bench/CopyBoundBench.c) moves the same frames to
tmpfs without the graph, $rounds interleaved rounds, medians (min-max),
frames per second: as dd does (read and write, two copies of each byte),
and as the DLL must (the host reads the frame, the source pin copies it
into the AVI Mux's buffer, the write copies it into the page cache: three
copies), once on one thread and once with the write on a thread of its own
fed through 3 buffers, as the AVI Mux does. \`DLL / that\` is the DLL's rate
to tmpfs from the first table over the last.

$copies_table

Where a large frame's time goes: the host's read and the source pin's copy
never overlap, since the host waits in the hand-over while the pin copies;
only the write runs beside them, on the AVI Mux's writer thread. On two
cores the threads also share the memory bandwidth, so the third copy is
not free even where it overlaps. \`DLL / that\` near 1 means the pack adds
little to the copies the DLL's way needs, and the distance from dd is that
third copy. The AVI Mux writes a sample of at least half its 1 MB write
buffer straight from the sample (the chunk header, then the data: two
writes), on its writer thread; smaller samples are gathered and written
1 MB at a time, on the streaming thread while the writer thread is idle
(see the small samples above). Tried on a busy machine and not kept (no gain
in interleaved medians at 640x480): writing samples from 64 KB straight,
and a deeper queue (6 samples, 8 buffers).

## One frame through the DLL, split

The DLL's tmpfs runs of the first table, split per frame (medians of the
rounds' averages): the time the host takes to get the frame (reading it from
the raw file), the time it spends inside \`TavMovieMakerAddMovieFrame2\`, one
memcpy of a frame in the same process, and what the hand-over costs beyond
that copy (the source pin's copy is the one memcpy inside it): the hand-over's
events and thread wake-ups and, when every buffer of the AVI Mux is waiting to
be written, the wait for its writer thread to free one.

$phases_table

A 16x16 frame's whole hand-over costs the time in the tiny-frame table above.
Where the host's time inside \`TavMovieMakerAddMovieFrame2\` is far above that
plus one memcpy, the rest is waiting: for a free buffer of the AVI Mux
(all of them queued for its writer thread, so the writing sets the pace) or
for a core (host, source pin, writer thread and wineserver share two), or
for the memory the written pages go to. On the machine these figures were
first made on, a profile (\`perf record -a\`) of 1920x1080 recordings that
fell to under 100 frames per second had four fifths of all samples in the
kernel copying the writes into tmpfs pages that the machine's host had taken
back (see the machine's table at the top); the same slump hit dd.

## Memory

Peak committed bytes of the host process recording through the DLL (the
AVI Mux holds at most two samples and grants the source at most four
buffers). Goal: flat with the recording's
length.

$memory_table
"
if [ "$out" != - ]; then
  printf '%s' "$report" >"$out"
  echo "compare.sh: wrote $out"
fi
