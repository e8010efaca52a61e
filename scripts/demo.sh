#!/usr/bin/env bash
# Installs what is missing, builds, and runs the main job: imports the example car, shows its tree and statistics, and
# writes it as an OpenSG scene to out/demo/car.osb.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

cmake --preset release > /dev/null
cmake --build --preset release --target zyscene -- --quiet
zyscene=out/release/bin/zyscene
mkdir -p out/demo

echo "\$ zyscene info --tree examples/car/car.ka"
"$zyscene" info --tree examples/car/car.ka
echo
echo "\$ zyscene convert examples/car/car.ka out/demo/car.osb"
"$zyscene" convert examples/car/car.ka out/demo/car.osb
ls -l out/demo/car.osb
