#!/usr/bin/env bash
# Builds the Debian packages, with the flags of Debian's own builds, and has lintian look at them:
# build/packages/packages/*.deb. Fails at an error of lintian's; its warnings are shown.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
scripts/install-dependencies.sh packages

build=$root/build/packages
flags() { DEB_BUILD_MAINT_OPTIONS=hardening=+all dpkg-buildflags --get "$1"; }
rm -rf "$build/packages"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_INSTALL_PREFIX=/usr \
  "-DCMAKE_CXX_FLAGS=$(flags CXXFLAGS) $(flags CPPFLAGS)" \
  "-DCMAKE_SHARED_LINKER_FLAGS=$(flags LDFLAGS)" "-DCMAKE_EXE_LINKER_FLAGS=$(flags LDFLAGS)" \
  -DCFGEX_BUILD_TESTS=OFF -DCFGEX_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$build"
(cd "$build" && cpack >cpack.log 2>&1) || { cat "$build/cpack.log" >&2; exit 1; }

as_user=()
if [[ $(id -u) == 0 ]]; then as_user=(--allow-root); fi
lintian "${as_user[@]}" --fail-on error "$build"/packages/*.deb
ls "$build"/packages/*.deb
