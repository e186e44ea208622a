#!/usr/bin/env bash
# Installs what is needed, builds the example and runs it on a fresh copy of its configuration.
#
#   run-example.sh            prints what it prints
#   run-example.sh --check    compares that with examples/building/expected-output.txt
set -euo pipefail

usage() {
  echo "usage: $(basename "$0") [--check]" >&2
  exit 2
}

check=false
case $# in
  0) ;;
  1) [[ $1 == --check ]] || usage; check=true ;;
  *) usage ;;
esac

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
example=$root/examples/building
cd "$root"  # presets are looked up here

scripts/install-dependencies.sh

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

build() {
  [[ -f build/release/build.ninja ]] || cmake --preset release || return
  cmake --build --preset release --target building_demo
}
if ! build >"$work/build.log" 2>&1; then
  cat "$work/build.log" >&2
  echo "run-example.sh: the build failed" >&2
  exit 1
fi

cp "$example/building.xml" "$work/"
demo=("$root/build/release/examples/building_demo" "$example/building.xsd" "$work/building.xml")

if [[ $check == false ]]; then
  "${demo[@]}"
  exit
fi

status=0
"${demo[@]}" >"$work/output.txt" || status=$?
diff -u "$example/expected-output.txt" "$work/output.txt" || {
  echo "run-example.sh: the output is not the expected one" >&2
  exit 1
}
if [[ $status != 0 ]]; then
  echo "run-example.sh: the program ended with $status" >&2
  exit 1
fi
echo "the example prints what is expected"
