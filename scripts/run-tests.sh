#!/usr/bin/env bash
# Installs what is needed, builds the library and runs all its tests.
#
#   run-tests.sh                  in the preset "release"
#   run-tests.sh PRESET ...       in each of these: release, debug, asan, tsan
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"  # presets are looked up here
scripts/install-dependencies.sh

for preset in "${@:-release}"; do
  echo "== $preset =="
  cmake --preset "$preset" -DCFGEX_BUILD_TESTS=ON \
    "-DCFGEX_WARNINGS_AS_ERRORS=${CFGEX_WARNINGS_AS_ERRORS:-OFF}" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset" -j "$(nproc)"
done
