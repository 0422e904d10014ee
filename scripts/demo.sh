#!/usr/bin/env bash
# Records demo.avi with tavrec and shows what is in it: five seconds of the
# moving test card with a tone and one simulated drop. Installs what is
# missing (Debian 12, as root), builds the DLL, the platform pack and tavrec
# in build/, records under Wine (the runner creates build/wineprefix and
# registers the pack into it), prints ffprobe's view of the movie and writes
# one of its frames as demo.png. Both files land in the current folder.
# Usage: bash scripts/demo.sh [more tavrec options, e.g. --size 1280x720]
set -euo pipefail
out_dir=$PWD
repo=$(cd "$(dirname "$0")/.." && pwd)
cd "$repo"
bash scripts/install-deps.sh
cmake --preset default >/dev/null
# The build's own output only when it fails.
cmake --build --preset default --target TavMovieMaker TavPlatformPack tavrec >build/demo-build.log 2>&1 ||
  { cat build/demo-build.log; exit 1; }

cd "$out_dir"
status=0
# Frame 99 of 125 is left out: its slot stays empty and the picture's burnt-in
# frame number jumps from 98 to 100.
bash "$repo/cmake/wine-run.sh" "$repo/build/bin/tavrec.exe" --duration 5 --tone --drop-every 100 "$@" demo.avi ||
  status=$?
WINEPREFIX=$repo/build/wineprefix wineserver -k 2>/dev/null || true
if [ $status -ne 0 ]; then
  echo "tavrec failed (exit $status)" >&2
  exit $status
fi
echo
ffprobe -v error -show_entries \
  format=duration,size:stream=index,codec_type,codec_name,width,height,pix_fmt,r_frame_rate,nb_frames,sample_rate,channels,bits_per_sample \
  -of default=noprint_wrappers=0 demo.avi
# The frame after the drop: "FRAME 000100".
ffmpeg -v error -y -i demo.avi -vf "select=eq(n\,99)" -frames:v 1 demo.png
echo
echo "movie: $out_dir/demo.avi; frame 100 as a picture: $out_dir/demo.png"
