#!/usr/bin/env bash
# Installs build/release, moves the installed tree elsewhere, and builds and runs tests/consumer with
# it: by find_package, by pkg-config, and with the library as a subproject. The subproject compiles
# each source separately, which finds missing includes.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
work=$root/build/check-install
rm -rf "$work"
mkdir -p "$work"

fail() {
  echo "check-install.sh: $*" >&2
  exit 1
}
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; fail "failed: $*"; }; }

# The consumer, with a configuration of its own to change; its schema includes the installed one.
try() {
  cp examples/building/building.{xsd,xml} "$work"
  "$@" "$work/building.xsd" "$work/building.xml" || fail "failed: $*"
}
consumer() {  # NAME CMAKE-ARGUMENT ...
  quietly cmake -S tests/consumer -B "$work/$1" -G Ninja "${@:2}"
  quietly cmake --build "$work/$1"
  try "$work/$1/consumer"
}

DESTDIR=$work/staged quietly cmake --install build/release --prefix /opt/cfgex
strangers=$(cd "$work/staged" && find . -type f -not -path './opt/cfgex/*')
[[ -z $strangers ]] || fail "installed outside of the prefix: $strangers"
installed=$work/moved
mv "$work/staged/opt/cfgex" "$installed"
if grep -rlF -e /opt/cfgex -e "$root" "$installed" --include='*.cmake' --include='*.pc'; then
  fail "these files name a place where they do not lie"
fi

description=$(find "$installed" -name cfgex.pc)
pkg() { PKG_CONFIG_PATH=${description%/*} pkg-config "$@" cfgex; }
cp "$(pkg --variable=schemadir)/cfgex-types.xsd" "$work"

consumer find_package -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_PREFIX_PATH=$installed"

[[ $(pkg --modversion) == "$(sed -n 's/^project(cfgex VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)" ]] ||
  fail "pkg-config tells version $(pkg --modversion)"
read -ra flags <<<"$(pkg --cflags --libs)"
quietly g++ -std=c++20 tests/consumer/consumer.cpp -o "$work/by_pkg_config" "${flags[@]}"
LD_LIBRARY_PATH=$(pkg --variable=libdir) try "$work/by_pkg_config"

g++ -std=c++17 -fsyntax-only -include cfgex/cfgex.h -x c++ /dev/null "${flags[@]}" 2>"$work/log" &&
  fail "the headers take C++17"
[[ $(grep -c 'error:' "$work/log") == 1 && $(<"$work/log") == *'cfgex needs C++20'* ]] ||
  fail "the headers do not say in one line that they need C++20"

consumer subproject -DCMAKE_BUILD_TYPE= -DCMAKE_CXX_FLAGS=-O0 "-DCFGEX_SOURCE_DIR=$root"
quietly cmake --install "$work/subproject" --prefix "$work/installed_with_subproject"
[[ $(cd "$work/installed_with_subproject" && find . -type f) == ./bin/consumer ]] ||
  fail "the subproject installs more than its user asked for"
echo "the installed library and the subproject work"
