#!/usr/bin/env bash
# Takes the README's pictures of tavcam into docs/images/ (tavcam-recording.png
# and tavcam-audio-format.png): the recording and audio dialog tests run with
# TAVCAM_SCREENSHOTS set, under Xvfb at 1280x800 in 24-bit colour. No window
# manager runs there, so Wine draws the title bars itself (its X11 driver's
# "Decorated" set to N), in a prefix of its own: build/wineprefix-screenshots.
# Usage: bash tools/tavcam/screenshots.sh   (Debian 12, as root)
set -euo pipefail
cd "$(dirname "$0")/../.."
bash scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default --target tavcam_test

export TAV_WINEPREFIX=$PWD/build/wineprefix-screenshots
# The first run makes the prefix and registers the platform pack.
bash cmake/wine-run.sh build/bin/tavcam_test.exe --gtest_list_tests >/dev/null
# Wine finds its Marlett (the title bar buttons' glyphs) only in the prefix.
cp /usr/share/wine/fonts/marlett.ttf "$TAV_WINEPREFIX/drive_c/windows/Fonts/"
WINEPREFIX=$TAV_WINEPREFIX /usr/lib/wine/wine64 reg add 'HKCU\Software\Wine\X11 Driver' \
  /v Decorated /t REG_SZ /d N /f >/dev/null 2>&1

mkdir -p docs/images
status=0
TAVCAM_SCREENSHOTS=$PWD/docs/images xvfb-run -a -s "-screen 0 1280x800x24" \
  bash cmake/wine-run.sh build/bin/tavcam_test.exe \
  --gtest_filter='TavCam.RecordsThree*:TavCam.ListsTheDlls*' || status=$?
WINEPREFIX=$TAV_WINEPREFIX wineserver -k 2>/dev/null || true
ls -l docs/images/tavcam-recording.png docs/images/tavcam-audio-format.png
exit $status
