#!/usr/bin/env bash
# What takes too long for .ci/run: the sanitizers over all tests at full length, the command
# included, more sequences of the model, and the fuzz targets for longer. Takes hours.
#
#   run-nightly.sh [SECONDS]   for each fuzz target; 600 if not given
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"  # presets are looked up here
seconds=${1-600}
scripts/install-dependencies.sh ci

for preset in asan tsan; do
  build=build/nightly-$preset
  settings=(-DCFGEX_TEST_SAMPLE=OFF -DCFGEX_BUILD_FUZZERS=OFF)
  if [[ $preset == asan ]]; then settings+=(-DCFGEX_BUILD_TOOLS=ON); fi
  cmake --preset "$preset" -B "$build" "${settings[@]}" >/dev/null
  cmake --build "$build"
  ctest --test-dir "$build" --output-on-failure --timeout 7200 -j "$(nproc)"
done

# Other sequences each night.
CFGEX_MODEL_SEED=$(($(date +%s) / 86400 * 1000)) CFGEX_MODEL_SEQUENCES=1000 \
  build/nightly-asan/tests/cfgex_tests --gtest_filter='StoreModelTest.*'

scripts/run-fuzzers.sh --seconds "$seconds"
