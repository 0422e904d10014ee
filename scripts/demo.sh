#!/usr/bin/env bash
# Records a demo movie with the sample host and shows ffprobe's view of it.
# Installs what is missing (Debian 12, as root), builds the DLL, the platform
# pack and the host in build/, runs the host under Wine (the runner registers
# the pack into build/wineprefix) and prints the movie's streams.
# Usage: bash scripts/demo.sh [extra TavDemoHost arguments, e.g. --seconds 8]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default --target TavMovieMaker TavPlatformPack TavDemoHost

out_dir=$(mktemp -d /tmp/tavdemo-XXXXXX)
movie=$out_dir/demo.avi
status=0
# The host takes a Windows path: Wine's Z: drive is the Unix root.
bash cmake/wine-run.sh build/bin/TavDemoHost.exe "Z:${movie//\//\\}" "$@" || status=$?
WINEPREFIX=$PWD/build/wineprefix wineserver -k 2>/dev/null || true
if [ $status -ne 0 ] || [ ! -s "$movie" ]; then
  echo "the demo host failed (exit $status)" >&2
  exit 1
fi
echo "movie: $movie"
ffprobe -v error -show_entries format=duration,size:stream=index,codec_type,codec_name,width,height,pix_fmt,r_frame_rate,nb_frames,duration,sample_rate,channels,bits_per_sample \
  -of default=noprint_wrappers=0 "$movie"
