#!/usr/bin/env bash
# Installs what is needed, builds the benchmark and runs it; then prints the tables.
#
#   run-benchmarks.sh            all sizes, about ten minutes; renews docs/performance.md and its plot
#   run-benchmarks.sh --quick    small sizes, once each, well under a minute; docs stay as they are
#   run-benchmarks.sh ... ARG    any other argument goes to the benchmark (--benchmark_filter=...);
#                                docs stay as they are then
#
# The figures as JSON: build/bench/results.json.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

scripts/install-dependencies.sh bench

build=$root/build/bench
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCFGEX_BUILD_BENCHMARKS=ON \
  -DCFGEX_BUILD_TESTS=OFF -DCFGEX_BUILD_EXAMPLES=OFF -DCFGEX_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" --target cfgex_bench

results=$build/results.json
files=$build/files
trap 'rm -rf "$files"' EXIT
"$build/bench/cfgex_bench" --directory="$files" --benchmark_out="$results" \
  --benchmark_out_format=json "$@"

outputs=()
if [[ $# == 0 ]]; then
  outputs=(--markdown=docs/performance.md --plot=docs/commit-time.svg --directory="$build")
fi
python3 bench/report.py "$results" "${outputs[@]}"
