#!/usr/bin/env bash
# Cross-builds the Windows dependencies from Debian's own source packages
# into PREFIX, once: libsoxr, FFmpeg's libavutil (all the FFT adapter needs;
# no programs, no other libraries, no external dependencies) and GoogleTest.
# The sources come through a private apt sources list with deb-src lines;
# the system's apt configuration is not touched.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
work=${1:?usage: build-windows-deps.sh WORK_DIR}
mkdir -p "$work"
work=$(cd "$work" && pwd)
prefix=$work/prefix
stamp=$prefix/.lxfx-deps-1
jobs=${JOBS:-2}
host=x86_64-w64-mingw32
[ -f "$stamp" ] && exit 0

apt_dir=$work/apt
mkdir -p "$apt_dir/lists/partial" "$apt_dir/cache/archives/partial" "$work/src"
cat > "$apt_dir/sources.list" <<LIST
deb-src http://deb.debian.org/debian bookworm main
deb-src http://deb.debian.org/debian-security bookworm-security main
LIST
apt_options=(-o "Dir::Etc::SourceList=$apt_dir/sources.list" -o Dir::Etc::SourceParts=/dev/null
             -o "Dir::State::Lists=$apt_dir/lists" -o "Dir::Cache=$apt_dir/cache" -o Debug::NoLocking=1
             -o APT::Sandbox::User=root)
apt-get "${apt_options[@]}" update -qq
cd "$work/src"
apt-get "${apt_options[@]}" source -qq libsoxr ffmpeg googletest

toolchain=$root/cmake/mingw-w64-x86_64.cmake

# libsoxr: static, without OpenMP (the library is called from one thread).
soxr_src=$(find "$work/src" -maxdepth 1 -type d -name 'libsoxr-*' | head -1)
cmake -S "$soxr_src" -B "$work/build-soxr" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_INSTALL_PREFIX="$prefix" -DBUILD_SHARED_LIBS=OFF -DWITH_OPENMP=OFF -DBUILD_TESTS=OFF \
  -DBUILD_EXAMPLES=OFF -DWITH_LSR_BINDINGS=OFF -DCMAKE_POLICY_DEFAULT_CMP0077=NEW > "$work/soxr.log"
cmake --build "$work/build-soxr" -j "$jobs" >> "$work/soxr.log"
cmake --install "$work/build-soxr" >> "$work/soxr.log"

# FFmpeg: libavutil alone, static.
ffmpeg_src=$(find "$work/src" -maxdepth 1 -type d -name 'ffmpeg-*' | head -1)
mkdir -p "$work/build-ffmpeg"
(cd "$work/build-ffmpeg" &&
  "$ffmpeg_src/configure" --prefix="$prefix" --target-os=mingw32 --arch=x86_64 --cross-prefix=$host- \
    --enable-static --disable-shared --disable-programs --disable-doc --disable-avdevice --disable-avcodec \
    --disable-avformat --disable-swresample --disable-swscale --disable-postproc --disable-avfilter \
    --disable-network --disable-autodetect --disable-debug --enable-pic > "$work/ffmpeg.log" &&
  make -j "$jobs" >> "$work/ffmpeg.log" && make install >> "$work/ffmpeg.log")

# GoogleTest, static, with gmock.
gtest_src=$(find "$work/src" -maxdepth 1 -type d -name 'googletest-*' | head -1)
cmake -S "$gtest_src" -B "$work/build-gtest" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_INSTALL_PREFIX="$prefix" -DBUILD_SHARED_LIBS=OFF -Dgtest_force_shared_crt=ON > "$work/gtest.log"
cmake --build "$work/build-gtest" -j "$jobs" >> "$work/gtest.log"
cmake --install "$work/build-gtest" >> "$work/gtest.log"

touch "$stamp"
