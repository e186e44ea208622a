#!/usr/bin/env bash
# Builds the reference of the public interface: build/reference/html/index.html.
# Fails at a public member without a contract. Needs doxygen: install-dependencies.sh ci
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
if ! command -v doxygen >/dev/null; then
  echo "build-reference.sh: doxygen is missing" >&2
  exit 1
fi
[[ -f build/release/include/cfgex/version.h ]] || cmake --preset release >/dev/null

export CFGEX_REFERENCE=build/reference CFGEX_GENERATED_INCLUDE=build/release/include
CFGEX_VERSION=$(sed -n 's/^#define CFGEX_VERSION_TEXT L"\(.*\)"/\1/p' "$CFGEX_GENERATED_INCLUDE/cfgex/version.h")
export CFGEX_VERSION
rm -rf "$CFGEX_REFERENCE"
mkdir -p "$CFGEX_REFERENCE"
doxygen docs/Doxyfile
echo "the reference is in $CFGEX_REFERENCE/html"
