#!/usr/bin/env bash
# tavrec as a user runs it: one case per call, each in a fresh folder, with
# the movie read back by ffprobe and ffmpeg.
# Usage: tavrec-test.sh <build/bin> <case>
set -euo pipefail

bin=$(cd "$1" && pwd)
case_name=$2
here=$(cd "$(dirname "$0")" && pwd)
runner=$here/../../cmake/wine-run.sh

work=$(mktemp -d /tmp/tavrec-test-XXXXXX)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() {
  echo "FAIL: $*"
  for f in out err; do [ -f $f ] && { echo "--- std$f:"; cat $f; }; done
  exit 1
}
expect_eq() { [ "$1" = "$2" ] || fail "$3: expected '$2', got '$1'"; }
expect_grep() { grep -qF -- "$2" "$1" || fail "$1 lacks: $2"; }

# tavrec with its output in out and err, its exit code in rc.
tavrec() {
  rc=0
  bash "$runner" "$bin/tavrec.exe" "$@" >out 2>err </dev/null || rc=$?
}
# The same, reading standard input: call it as `tavrec_piped ... < <(producer)`
# so that rc is set in this shell.
tavrec_piped() {
  rc=0
  bash "$runner" "$bin/tavrec.exe" "$@" >out 2>err || rc=$?
}
# A summary figure ("frames handed in: 45" -> "45").
figure() { sed -n "s/^$1: //p" out; }
# One entry of a stream, as ffprobe prints it.
probe() { ffprobe -v error -select_streams "$2" -show_entries stream="$3" -of default=nw=1:nk=1 "$1"; }
# The video packets' time slots (pts in frame units), one line each; empty
# slots have no packet.
slots() { ffprobe -v error -select_streams v:0 -show_entries packet=pts -of csv=p=0 "$1" | tr '\n' ' '; }
# Frame n of a movie as raw bytes in a pixel format.
movie_frame() { ffmpeg -v error -i "$1" -vf "select=eq(n\,$2)" -frames:v 1 -f rawvideo -pix_fmt "$3" -y "$4"; }
# testsrc frames as raw bytes.
testsrc() { # size frames pix_fmt [extra filter]
  ffmpeg -v error -f lavfi -i "testsrc=size=$1:rate=25" -frames:v "$2" ${4:+-vf $4} -f rawvideo -pix_fmt "$3" -
}
usage_line="usage: tavrec [OPTIONS] OUTPUT.avi (tavrec --help for more)"

case_help() {
  tavrec --help
  expect_eq "$rc" 0 "exit code"
  for word in NAME SYNOPSIS DESCRIPTION EXAMPLES "EXIT CODES" \
      --input --size --fps --pixel-format --bottom-up --duration --frames --tone --audio-bits \
      --drop-every --drop-by --break-every --list-compressors --video-compressor --audio-compressor \
      --log --log-layout --log-severity --quiet --help; do
    expect_grep out "$word"
  done
  for code in 0 1 2 3; do grep -qE "^    $code   " out || fail "exit code $code is not described"; done
  [ ! -s err ] || fail "stderr not empty"
  tavrec -h
  expect_eq "$rc" 0 "exit code of -h"
}

case_usage_errors() {
  check() { # expected message, arguments...
    local message=$1; shift
    tavrec "$@"
    expect_eq "$rc" 1 "exit code of: $*"
    expect_eq "$(cat err)" "tavrec: $message
$usage_line" "stderr of: $*"
    [ ! -s out ] || fail "stdout not empty for: $*"
  }
  # Each message is checked by the options' unit test; here the exit code
  # and the usage line, for a problem of each kind.
  check "unknown option --bogus" --bogus a.avi
  check 'bad value for --size: "0x10"' --size 0x10 a.avi
  check "--input needs --size WxH" --input - a.avi
  check 'there is no video compressor named "No Such Codec" (tavrec --list-compressors lists them)' \
    --frames 2 --video-compressor "No Such Codec" a.avi
  check "the output's full path has $(( 2 + ${#work} + 1 + 300 + 4 )) characters; the DLL takes at most 259" \
    --frames 2 "$(printf 'x%.0s' {1..300}).avi"
  [ -z "$(ls)" ] || [ "$(ls)" = "$(printf 'err\nout')" ] || fail "files were made: $(ls)"
}

case_pipe_from_ffmpeg() {
  testsrc 320x240 40 bgr24 >source.raw
  tavrec_piped --input - --size 320x240 --fps 25 movie.avi < <(testsrc 320x240 40 bgr24)
  expect_eq "$rc" 0 "exit code"
  expect_eq "$(probe movie.avi v:0 codec_name,width,height,r_frame_rate,nb_frames | tr '\n' ' ')" \
    "rawvideo 320 240 25/1 40 " "video stream"
  expect_eq "$(figure 'frames handed in')" 40 "frames handed in"
  movie_frame movie.avi 17 bgr24 frame17.raw
  dd if=source.raw of=source17.raw bs=230400 skip=17 count=1 status=none
  cmp -s frame17.raw source17.raw || fail "frame 17 differs from the source"
  [ ! -s err ] || fail "stderr not empty (no progress line in a pipe)"
}

case_pixel_formats() {
  # Each pixel format from a file, at an odd width where rows need padding
  # (YUY2 needs an even one).
  # Grey frames come back as palette indexes (the palette is the grey ramp),
  # and 32-bit ones are compared without their unused fourth byte.
  for entry in 0:bgr24:161 1:bgr0:161 2:gray:161 3:yuyv422:160; do
    IFS=: read -r code fmt width <<<"$entry"
    compare=$fmt; [ "$fmt" = bgr0 ] && compare=bgr24
    # Six frames (0.24 s), written in two pixel formats by one ffmpeg.
    ffmpeg -v error -f lavfi -i "testsrc=size=${width}x90:rate=25:duration=0.24" \
      -f rawvideo -pix_fmt "$fmt" -y top-down.raw -f rawvideo -pix_fmt "$compare" -y source.raw
    frame_bytes=$(( $(stat -c %s source.raw) / 6 ))
    dd if=source.raw of=source4.raw bs=$frame_bytes skip=4 count=1 status=none
    # Bottom-up input too for YUY2, whose rows the movie keeps top-down; its
    # rows reversed without a conversion, so every byte stays as it was.
    orders=top-down
    if [ $code = 3 ]; then
      orders="top-down bottom-up"
      ffmpeg -v error -f rawvideo -pix_fmt "$fmt" -s ${width}x90 -i top-down.raw -vf vflip \
        -f rawvideo -pix_fmt "$fmt" -y bottom-up.raw
    fi
    for order in $orders; do
      flag=; [ $order = bottom-up ] && flag=--bottom-up
      tavrec --input $order.raw --size ${width}x90 --pixel-format $code $flag movie.avi
      expect_eq "$rc" 0 "exit code for $fmt $order"
      if [ "$fmt" = gray ]; then
        movie_frame movie.avi 4 pal8 indexes.raw
        head -c $frame_bytes indexes.raw >frame4.raw
      else
        movie_frame movie.avi 4 "$compare" frame4.raw
      fi
      cmp -s frame4.raw source4.raw || fail "frame 4 of $fmt $order differs from the source"
    done
  done
}

case_input_ends_inside_a_frame() {
  testsrc 64x48 3 bgr24 | head -c $(( 64 * 48 * 3 * 5 / 2 )) >cut.raw
  # From a file: an input error, after the two whole frames are recorded.
  tavrec --input cut.raw --size 64x48 movie.avi
  expect_eq "$rc" 3 "exit code for a file"
  expect_eq "$(cat err)" "tavrec: the input ends inside a frame (4608 of 9216 bytes)" "stderr"
  expect_eq "$(probe movie.avi v:0 nb_frames)" 2 "frames kept"
  expect_eq "$(figure 'frames handed in')" 2 "frames handed in"
  # Through a pipe: the normal end.
  rm movie.avi
  tavrec_piped --input - --size 64x48 movie.avi < <(cat cut.raw)
  expect_eq "$rc" 0 "exit code for a pipe"
  expect_eq "$(probe movie.avi v:0 nb_frames)" 2 "frames from the pipe"
}

case_input_unreadable() {
  tavrec --input no-such-file.raw --size 64x48 movie.avi
  expect_eq "$rc" 3 "exit code"
  expect_eq "$(cat err)" "tavrec: cannot open no-such-file.raw: No such file or directory" "stderr"
  [ ! -e movie.avi ] || fail "a movie was made"
}

case_drops_by_number() {
  tavrec --frames 50 --drop-every 10 --size 160x120 movie.avi
  expect_eq "$rc" 0 "exit code"
  expect_eq "$(figure 'frames handed in')" 45 "frames handed in"
  expect_eq "$(figure 'slots written')" 49 "slots written"
  expect_eq "$(figure drops)" 5 "drops"
  expect_eq "$(figure 'empty slots')" 4 "empty slots"
  expect_eq "$(figure duration)" "1.960 s" "duration"
  # Frames 9, 19, 29, 39 and 49 left out: their slots are empty (49, the
  # last, has no later frame to make a slot).
  expected=$(seq 0 48 | grep -vxE '9|19|29|39' | tr '\n' ' ')
  expect_eq "$(slots movie.avi)" "$expected" "time line"
  expect_eq "$(figure bytes)" "$(stat -c %s movie.avi)" "bytes"
}

case_drops_by_time() {
  tavrec --frames 25 --drop-every 10 --drop-by time --size 160x120 movie.avi
  expect_eq "$rc" 0 "exit code"
  # By capture time the DLL leaves one slot more empty than frames left out;
  # frame 19's gap then falls inside that spare slot.
  expect_eq "$(figure 'frames handed in')" 23 "frames handed in"
  expect_eq "$(figure 'slots written')" 25 "slots written"
  expect_eq "$(figure drops)" 2 "drops"
  expect_eq "$(figure 'empty slots')" 2 "empty slots"
  expected=$( (seq 0 8; seq 11 24) | tr '\n' ' ')
  expect_eq "$(slots movie.avi)" "$expected" "time line"
}

case_breaks() {
  tavrec --frames 30 --break-every 10 --size 160x120 movie.avi
  expect_eq "$rc" 0 "exit code"
  expect_eq "$(figure 'frames handed in')" 27 "frames handed in"
  expect_eq "$(figure 'slots written')" 27 "slots written"
  expect_eq "$(figure breaks)" 3 "breaks"
  expect_eq "$(figure drops)" 0 "drops"
  expect_eq "$(figure 'empty slots')" 0 "empty slots"
  expect_eq "$(slots movie.avi)" "$(seq 0 26 | tr '\n' ' ')" "time line"
}

case_test_card_and_tone() {
  tavrec --duration 1 --fps 10 --size 320x240 --pixel-format 2 --audio-bits 24 movie.avi
  expect_eq "$rc" 0 "exit code"
  expect_eq "$(probe movie.avi v:0 codec_name,width,height,r_frame_rate,nb_frames | tr '\n' ' ')" \
    "rawvideo 320 240 10/1 10 " "video"
  expect_eq "$(probe movie.avi a:0 codec_name,sample_rate,channels | tr '\n' ' ')" "pcm_s24le 48000 2 " "audio"
  expect_eq "$(figure 'audio blocks')" 10 "audio blocks"
  # One block of 4800 sample frames per video frame.
  expect_eq "$(ffmpeg -v error -i movie.avi -map 0:a -f s24le - | wc -c)" $(( 48000 * 2 * 3 )) "audio bytes"
  tavrec --frames 5 --size 64x48 --tone movie16.avi
  expect_eq "$(probe movie16.avi a:0 codec_name)" pcm_s16le "16-bit tone"
}

case_log() {
  # (layout 2 is read by the compressors case)
  tavrec --frames 2 --size 64x48 --log=plain.log --log-layout=1 --log-severity=1 movie.avi
  expect_eq "$rc" 0 "exit code"
  expect_eq "$(head -1 plain.log | tr -d '\r')" "TRACE: 0; TavMovieMakerInitEx -> Enter" "layout 1"
  tavrec --frames 2 --size 64x48 --log errors.log --log-severity error movie.avi
  expect_eq "$rc" 0 "exit code"
  [ -e errors.log ] && [ ! -s errors.log ] || fail "errors.log should exist and be empty"
}

case_quiet() {
  tavrec --frames 3 --size 64x48 --quiet movie.avi
  expect_eq "$rc" 0 "exit code"
  [ ! -s out ] && [ ! -s err ] || fail "--quiet printed something"
  expect_eq "$(probe movie.avi v:0 nb_frames)" 3 "frames"
}

case_compressors() {
  tavrec --list-compressors
  expect_eq "$rc" 0 "exit code"
  expect_eq "$(sed -n 1,2p out)" "video compressors:
  Uncompressed" "first lines"
  expect_grep out "audio compressors:"
  expect_grep out "  IMA ADPCM"
  # Wine's run-length compressor takes 8-bit frames.
  tavrec --duration 1 --size 64x48 --pixel-format 2 --video-compressor "Wine MS-RLE video codec" movie.avi
  expect_eq "$rc" 0 "exit code"
  expect_eq "$(probe movie.avi v:0 codec_name,nb_frames | tr '\n' ' ')" "msrle 25 " "video codec"
  # The platform pack converts the 48 kHz stereo tone to a rate the codec
  # takes, so the named audio compressor records.
  tavrec --frames 2 --size 64x48 --tone --audio-compressor "IMA ADPCM" --log tav.log --log-layout 2 movie.avi
  expect_eq "$rc" 0 "exit code with IMA ADPCM"
  expect_eq "$(probe movie.avi a:0 codec_name)" "adpcm_ima_wav" "audio codec"
  expect_grep tav.log "MSG=TavMovieMakerSetAudioCompressor -> Enter"
}

case_library_failure() {
  # The log file cannot be opened: the export, its HRESULT and the system text.
  tavrec --frames 2 --size 64x48 --log no-such-dir/tav.log movie.avi
  expect_eq "$rc" 2 "exit code"
  expect_eq "$(cat err)" "tavrec: TavLogAttachFile failed: 0x80070003 (Path not found)" "stderr"
  # A movie in a folder that does not exist: the first frame, which runs the
  # graph, returns the File Writer's error; tavrec stops there.
  tavrec --frames 2 --size 64x48 no-such-dir/movie.avi
  expect_eq "$rc" 2 "exit code"
  expect_eq "$(head -1 err)" "tavrec: TavMovieMakerAddMovieFrame2 failed: 0x80070003 (Path not found)" "first line"
  [ ! -e no-such-dir ] || fail "the missing folder was made"
}

case_refusal_without_pack() {
  rc=0
  TAV_NO_PACK=1 bash "$runner" "$bin/tavrec.exe" --frames 2 --size 64x48 movie.avi >out 2>err </dev/null || rc=$?
  expect_eq "$rc" 2 "exit code"
  expect_eq "$(wc -l <err)" 1 "one line"
  expect_grep err "is Wine's own ("
  expect_grep err "register the pack first with WINEPREFIX="
  expect_grep err "bash wine/register-pack.sh build/bin/TavPlatformPack.dll"
  [ ! -e movie.avi ] || fail "a movie was made"
}

case_progress_on_a_terminal() {
  # On a pseudo-terminal: the line, rewritten with carriage returns.
  script -qec "bash '$runner' '$bin/tavrec.exe' --duration 2 --size 320x240 movie.avi" /dev/null </dev/null >tty.raw
  sed 's/\x1b\[[0-9;?]*[a-zA-Z]//g' tty.raw >tty.txt
  # (Wine's console may move the cursor over spaces instead of writing them)
  grep -qE 'frame[0-9. ]+fps *[0-9.]+ *MB/s *drops *0 *elapsed *[0-9:.]+ *size *[0-9.]+ *MB' tty.txt ||
    fail "no progress line on the terminal: $(cat -v tty.txt)"
  grep -q $'\r' tty.txt || fail "the line is not rewritten in place"
  # (the terminal moves the cursor over spaces)
  grep -qE 'frames ?handed ?in: ?50' tty.txt || fail "no summary on the terminal"
  # In a pipe: only the summary.
  tavrec --duration 2 --size 320x240 movie.avi
  expect_eq "$rc" 0 "exit code"
  [ ! -s err ] || fail "stderr in a pipe: $(cat -v err)"
  expect_eq "$(head -1 out)" "recorded $(sed -n 's/^recorded //p' out)" "summary first"
  ! grep -q elapsed out || fail "progress line in a pipe"
}

case_runner_prints_only_the_program() {
  # A wineserver that ends between pgrep and the runner's look at /proc.
  mkdir stub
  printf '#!/bin/sh\necho 999999999\nexec %s "$@"\n' "$(command -v pgrep)" >stub/pgrep
  chmod +x stub/pgrep
  rc=0
  PATH=$work/stub:$PATH bash "$runner" "$bin/tavrec.exe" --help >out 2>err </dev/null || rc=$?
  expect_eq "$rc" 0 "exit code"
  [ ! -s err ] || fail "the runner printed: $(cat err)"
  expect_eq "$(head -1 out)" "NAME" "first line"
}

case_demo_host_help() {
  rc=0
  bash "$runner" "$bin/TavDemoHost.exe" --help >out 2>err </dev/null || rc=$?
  expect_eq "$rc" 0 "exit code"
  expect_eq "$(head -1 out | tr -d '\r')" "usage: TavDemoHost [movie.avi] [--seconds N] [--no-audio] [--log log.txt]" "usage"
  rc=0
  bash "$runner" "$bin/TavDemoHost.exe" --bogus >out 2>err </dev/null || rc=$?
  expect_eq "$rc" 1 "exit code for an unknown option"
  [ -z "$(ls -- *-* 2>/dev/null)" ] || fail "a file named after an option was made"
}

"case_$case_name"
echo "PASS: $case_name"
