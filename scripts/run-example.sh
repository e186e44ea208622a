#!/usr/bin/env bash
# Installs what is needed, builds the example and runs it on a fresh copy of its configuration.
#
#   run-example.sh            shows what it does
#   run-example.sh --check    compares that with examples/building/expected-output.txt
#
# Builds in build/release if that is set up, else in build/example: the library and the example
# alone, in the quickest way.
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
say() { printf '\n== %s\n' "$*"; }
fail() {
  echo "run-example.sh: $*" >&2
  exit 1
}

say "1 of 3: the packages for building, where they are missing"
"$root/scripts/install-dependencies.sh" build

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

build=$root/build/release
[[ -f $build/build.ninja ]] || build=$root/build/example
say "2 of 3: the library and the example, built in ${build#"$root"/}"
# Ninja shows on a terminal how far it is.
quietly() {
  if [[ -t 1 ]]; then "$@"; else "$@" >"$work/build.log" 2>&1 || { cat "$work/build.log" >&2; return 1; }; fi
}
if [[ $build == */example ]]; then
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_CXX_FLAGS=-O1 -DCMAKE_UNITY_BUILD=ON \
    -DCFGEX_BUILD_TESTS=OFF -DCFGEX_BUILD_TOOLS=OFF -DCFGEX_INSTALL=OFF >"$work/cmake.log" 2>&1 ||
    { cat "$work/cmake.log" >&2; fail "the build could not be set up"; }
fi
quietly cmake --build "$build" --target building_demo || fail "the build failed"

say "3 of 3: the example, on a copy of examples/building/building.xml"
cp "$example/building.xml" "$work/"
demo=("$build/examples/building_demo" "$example/building.xsd" "$work/building.xml")

if [[ $check == false ]]; then
  "${demo[@]}"
  cat <<'END'

== Where to go on
  examples/building/building.xsd        the schema: all that the library knows of the application
  examples/building/building_demo.cpp   the program that has just run
  docs/tutorial.md                      an application of your own, step by step
  README.md                             the library in your build, and all pages
END
  exit
fi

status=0
"${demo[@]}" >"$work/output.txt" || status=$?
diff -u "$example/expected-output.txt" "$work/output.txt" || fail "the output is not the expected one"
[[ $status == 0 ]] || fail "the program ended with $status"
echo "the example's output is as expected"
