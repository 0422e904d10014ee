#!/usr/bin/env bash
# The installed package as a host developer meets it.
# Usage: package-test.sh <step> <source dir> <build dir>
#   install  cmake --install into build/package-test/stage, check the binaries
#            (stripped, debug files, import libraries naming the .def's exports),
#            build the hosts of tests/package/hosts against it with
#            find_package, and register the installed pack into the package
#            tests' own Wine prefix with the installed script
#   hosts    run the C host, the C++ host and the README's example; ffprobe
#            reads their movies
#   msvc     build tests/package/msvc_host.c with clang for the Microsoft ABI,
#            link it with lld-link against lib/TavMovieMaker.lib, run it
#   zip      cpack's ZIP holds exactly the package layout
#   cleanup  stop the package prefix's wineserver
set -euo pipefail
step=$1
src=$(cd "$2" && pwd)
build=$(cd "$3" && pwd)
work=$build/package-test
stage=$work/stage
hosts=$work/hosts
prefix=$build/wineprefix-package
export TAV_WINEPREFIX=$prefix

fail() { echo "FAIL: $*" >&2; exit 1; }

# Runs a Windows program of the package in the prefix, in folder $1.
run_in() {
  local dir=$1; shift
  (cd "$dir" && bash "$src/cmake/wine-run.sh" "$@")
}

# ffprobe's view of one stream: "key=value" lines.
probe() {
  ffprobe -v error -select_streams "$2" -show_entries "stream=$3" -of default=noprint_wrappers=1 "$1"
}

expect_equal() {
  [ "$1" = "$2" ] || fail "$3: expected [$2], got [$1]"
}

# The exports of the .def, sorted.
def_exports() {
  sed -n 's/^ \{4\}\([A-Za-z0-9_]*\)$/\1/p' "$src/api/TavMovieMaker.def" | sort
}

# The functions an import library lets a host call, sorted.
library_functions() {
  llvm-nm "$1" 2>/dev/null | sed -n 's/^.* [TI] __imp_\([A-Za-z0-9_]*\)$/\1/p' | sort -u
}

# The README's example under "## Using the package": its first ```cpp block.
readme_example() {
  awk '/^## Using the package/ {in_section = 1; next}
       in_section && /^## / {exit}
       in_section && /^```cpp/ {in_code = 1; next}
       in_code && /^```/ {exit}
       in_code {print}' "$src/README.md"
}

case $step in
  install)
    rm -rf "$work"
    mkdir -p "$work"
    cmake --install "$build" --prefix "$stage" >/dev/null
    for dll in bin/TavMovieMaker.dll wine/TavPlatformPack.dll; do
      name=$(basename "$dll")
      sections=$(x86_64-w64-mingw32-objdump -h "$stage/$dll")
      ! grep -q '\.debug_' <<<"$sections" || fail "$dll still carries debug information"
      grep -q '\.gnu_debuglink' <<<"$sections" || fail "$dll names no debug file"
      x86_64-w64-mingw32-objdump -h "$stage/debug/$name.debug" | grep -q '\.debug_info' ||
        fail "debug/$name.debug holds no debug information"
      strings -a "$stage/$dll" | grep -qx "$name.debug" || fail "$dll does not name debug/$name.debug"
    done
    expect_equal "$(library_functions "$stage/lib/TavMovieMaker.lib")" "$(def_exports)" "lib/TavMovieMaker.lib"
    expect_equal "$(library_functions "$stage/lib/libTavMovieMaker.dll.a")" "$(def_exports)" "lib/libTavMovieMaker.dll.a"

    mkdir -p "$hosts"
    readme_example >"$hosts/readme_example.cpp"
    [ -s "$hosts/readme_example.cpp" ] || fail "README.md has no \`\`\`cpp example under '## Using the package'"
    cmake -S "$src/tests/package/hosts" -B "$hosts" -DCMAKE_TOOLCHAIN_FILE="$src/cmake/toolchain-mingw64.cmake" \
      -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$stage" -DREADME_EXAMPLE="$hosts/readme_example.cpp" >/dev/null
    cmake --build "$hosts" -j2 >/dev/null

    # The first program makes the prefix; then the pack is registered the way
    # its guide tells a user to.
    version=$(run_in "$hosts" "$hosts/c_host.exe" --version | tr -d '\r')
    expect_equal "$version" "header 1.0.0 dll 1.0.0" "c_host --version"
    WINEPREFIX=$prefix bash "$stage/wine/register-pack.sh" "$stage/wine/TavPlatformPack.dll"
    echo "installed, hosts built, pack registered"
    ;;

  hosts)
    run=$work/run-hosts
    rm -rf "$run" && mkdir -p "$run"
    run_in "$run" "$hosts/c_host.exe" c-host.avi | tr -d '\r' | tee "$run/c-host.txt"
    grep -qx "video compressor: Uncompressed" "$run/c-host.txt" || fail "c_host listed no Uncompressed"
    expect_equal "$(probe "$run/c-host.avi" v:0 codec_name,width,height,nb_frames)" \
      $'codec_name=rawvideo\nwidth=32\nheight=16\nnb_frames=10' "c-host.avi"

    run_in "$run" "$hosts/cpp_host.exe" cpp-host.avi | tr -d '\r' | tee "$run/cpp-host.txt"
    grep -qx "audio compressor: PCM (Uncompressed)" "$run/cpp-host.txt" || fail "cpp_host listed no PCM (Uncompressed)"
    expect_equal "$(probe "$run/cpp-host.avi" v:0 codec_name,width,height,nb_frames)" \
      $'codec_name=rawvideo\nwidth=48\nheight=32\nnb_frames=8' "cpp-host.avi video"
    expect_equal "$(probe "$run/cpp-host.avi" a:0 codec_name,sample_rate,channels)" \
      $'codec_name=pcm_s16le\nsample_rate=48000\nchannels=2' "cpp-host.avi audio"
    # Its log took ERROR lines and up: SetAudioStream logs every line at ERROR.
    expect_equal "$(tr -d '\r' <"$run/cpp-host.avi.log")" \
      $'ERROR: 0; SetAudioStream() -> Enter\nERROR: 0; SetAudioStream() -> Leave' "cpp_host's log"

    run_in "$run" "$hosts/readme_example.exe"
    movie=$(grep -o 'L"[^"]*\.avi"' "$hosts/readme_example.cpp" | head -1 | sed 's/^L"//; s/"$//')
    [ -n "$movie" ] || fail "the README's example names no .avi file"
    [ -s "$run/$movie" ] || fail "the README's example recorded no $movie"
    ffprobe -v error -select_streams v:0 -show_entries stream=nb_frames -of csv=p=0 "$run/$movie" | grep -qx '[1-9][0-9]*' ||
      fail "ffprobe reads no frames in the README's $movie"
    echo "hosts recorded their movies"
    ;;

  msvc)
    run=$work/run-msvc
    rm -rf "$run" && mkdir -p "$run"
    clang --target=x86_64-pc-windows-msvc -ffreestanding -fno-builtin -O1 -Wall -Wextra -Werror \
      -c "$src/tests/package/msvc_host.c" -o "$run/msvc_host.obj"
    llvm-dlltool -m i386:x86-64 -d "$src/tests/package/kernel32.def" -l "$run/kernel32.lib"
    lld-link /nologo /entry:HostMain /subsystem:console /nodefaultlib /out:"$run/msvc_host.exe" \
      "$run/msvc_host.obj" "$stage/lib/TavMovieMaker.lib" "$run/kernel32.lib"
    cp "$stage/bin/TavMovieMaker.dll" "$run/"
    run_in "$run" "$run/msvc_host.exe" | tr -d '\r'
    expect_equal "$(probe "$run/msvc-host.avi" v:0 codec_name,width,height,nb_frames)" \
      $'codec_name=rawvideo\nwidth=24\nheight=10\nnb_frames=6' "msvc-host.avi"
    echo "the Microsoft-ABI host recorded its movie"
    ;;

  zip)
    out=$work/zip
    rm -rf "$out"
    (cd "$build" && cpack -G ZIP -B "$out" >/dev/null)
    zip=$out/TavMovieMaker-1.0.0-win64.zip
    [ -f "$zip" ] || fail "no $zip"
    top=TavMovieMaker-1.0.0-win64
    expected=$( { cat "$src/tests/package/package-files.txt"
                  while read -r program; do
                    if [ -n "$program" ]; then printf 'bin/%s\ndebug/%s.debug\n' "$program" "$program"; fi
                  done <"$build/package-test-programs.txt"; } | sed "s|^|$top/|" | sort)
    actual=$(cd "$out" && cmake -E tar tf "$zip" | grep -v '/$' | sort)
    expect_equal "$actual" "$expected" "the ZIP's files"
    echo "the ZIP holds the package layout"
    ;;

  cleanup)
    WINEPREFIX=$prefix wineserver -k 2>/dev/null || true
    ;;

  *) fail "unknown step $step" ;;
esac
