#!/usr/bin/env bash
# Installs the Debian packages the build needs, when run as root; otherwise
# names what is missing and stops.
set -euo pipefail

packages=(cmake g++ make pkg-config libsoxr-dev libavutil-dev libgtest-dev libgmock-dev
          libbenchmark-dev libsndfile1-dev libcli11-dev nlohmann-json3-dev libtag1-dev libebur128-dev
          libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev gstreamer1.0-tools gstreamer1.0-plugins-base
          gstreamer1.0-plugins-good
          clang libclang-rt-14-dev mingw-w64 wine64 nasm dpkg-dev)
# tools/gen only, which the library does not link: libmysofa reads the MIT KEMAR
# measurement that libmysofa1 ships, from which rotate 3D's tables are made.
packages+=(libmysofa-dev libmysofa1)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
  echo "Installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
else
  echo "Missing packages: ${missing[*]}" >&2
  echo "Install them as root: apt-get install ${missing[*]}" >&2
  exit 1
fi
