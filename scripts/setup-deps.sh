#!/usr/bin/env bash
# Installs the Debian packages that building, testing and benchmarking need.
# Idempotent: packages already present are not touched, and nothing asks questions.
set -euo pipefail

PACKAGES=(
  # build and test
  cmake g++ ninja-build pkg-config libgtest-dev libgmock-dev libbenchmark-dev
  # VTK
  libvtk9-dev
  # OpenGL, headless through EGL on Mesa
  libegl1-mesa-dev libgl1-mesa-dri libglew-dev libglu1-mesa-dev
  # geometry
  libpolyclipping-dev libcgal-dev
  # GIS host
  libgdal-dev libproj-dev
  # brick compression and checksums
  libzstd-dev libxxhash-dev
  # viewer window and panel; a real X server and real input for its tests
  libglfw3-dev libimgui-dev xvfb xauth xdotool x11-utils
  # images, command line
  libpng-dev libcli11-dev
  # independent SEG-Y implementation: test oracle and benchmark peer
  python3 python3-segyio python3-numpy libsegyio-dev
  # fuzzing the file readers: clang with libFuzzer and the sanitizer runtimes
  clang libclang-rt-14-dev
)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
echo "setup-deps: installing ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
