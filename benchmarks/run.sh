#!/bin/sh
# Builds the release and prints all figures as Markdown tables: benchmarks/run.sh
# Takes about 5 minutes. The machine should have nothing else to do meanwhile. The part with the
# real pcscd needs root.
set -eu
cd "$(dirname "$0")/.."

scripts/install.sh build test linux-test benchmark
{
  cmake --preset release
  cmake --build --preset release --target kv500-simulator KV500Service ifdkv500sim benchmarks
} >&2

echo "$(nproc) cores of $(sed -n 's/^model name.*: //p' /proc/cpuinfo | head -n 1)," \
  "Linux $(uname -r), load $(cut -d' ' -f1 /proc/loadavg) at the begin"
python3 -B benchmarks/simulator.py
/usr/bin/python3 -B benchmarks/linux.py
