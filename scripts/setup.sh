#!/usr/bin/env bash
# Installs the Debian packages that building and testing need and that are missing. Does nothing where all are there.
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config          # build
  clang libclang-rt-14-dev                  # fuzz targets (libFuzzer)
  libassimp-dev zlib1g-dev                  # open interchange formats
  libpng-dev libjpeg-dev libtiff-dev        # images
  libegl-dev libgl-dev libegl-mesa0 libgl1-mesa-dri # pictures without a display
  libmeshoptimizer-dev                      # vertex unification
  libglu1-mesa-dev                          # triangles of trimmed surfaces
  libxxhash-dev                             # checksums of the binary scene form
  libcli11-dev nlohmann-json3-dev           # the command line and its JSON
  libgtest-dev libgmock-dev librapidcheck-dev libbenchmark-dev
  libtinygltf-dev                           # a peer of the export benchmark
  python3                                   # generator of the example scene, test drivers
)

missing=()
for package in "${packages[@]}"; do
  [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}" >&2
as_root=()
[ "$(id -u)" = 0 ] || as_root=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq >&2
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
