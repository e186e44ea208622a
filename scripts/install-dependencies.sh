#!/usr/bin/env bash
# Installs what building the library needs, on Debian 12.
#
#   install-dependencies.sh           to build and test
#   install-dependencies.sh build     to build the library alone
#   install-dependencies.sh ci        the checks of the continuous integration as well
#   install-dependencies.sh bench     the benchmark and what it compares with as well
#   install-dependencies.sh packages  the Debian packages as well
#
# Does nothing when all of it is there. Needs root, or sudo.
set -euo pipefail

build=(cmake ninja-build g++ libxml2-dev)
packages=("${build[@]}" libgtest-dev pkg-config libcli11-dev nlohmann-json3-dev
          gdal-data ismrmrd-schema opensaml-schemas xmltooling-schemas)  # schemas that tests generate from
case ${1-} in
  '') ;;
  build) packages=("${build[@]}") ;;
  ci) packages+=(clang clang-tidy clang-format valgrind libclang-rt-14-dev python3 doxygen locales) ;;
  bench) packages+=(libbenchmark-dev libyang2-dev xsdcxx libxerces-c-dev libsqlite3-dev python3) ;;
  packages) packages+=(dpkg-dev file lintian) ;;
  *)
    echo "usage: $(basename "$0") [build | ci | bench | packages]" >&2
    exit 2
    ;;
esac

fail() {
  echo "install-dependencies.sh: $*" >&2
  exit 1
}

if ! command -v dpkg >/dev/null || ! command -v apt-get >/dev/null; then
  fail "this is no Debian system; install by its own means: ${packages[*]}"
fi

is_installed() { [[ $(dpkg -s "$1" 2>/dev/null) == *'Status: install ok installed'* ]]; }

missing=()
for package in "${packages[@]}"; do
  is_installed "$package" || missing+=("$package")
done
if [[ ${#missing[@]} == 0 ]]; then
  exit 0
fi

as_root=()
if [[ $(id -u) != 0 ]]; then
  command -v sudo >/dev/null || fail "run it as root, or install sudo; missing: ${missing[*]}"
  as_root=(sudo)
fi
apt() { "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq "$@"; }
install() { apt install -y --no-install-recommends "${missing[@]}" >/dev/null; }

# An image without package lists, or with old ones, needs an update first.
is_known() { apt-cache show "$1" >/dev/null 2>&1; }
for package in "${missing[@]}"; do
  if ! is_known "$package"; then
    apt update || fail "the package lists could not be updated"
    break
  fi
done
if ! install 2>/dev/null; then
  apt update || fail "the package lists could not be updated"
  install || fail "could not install: ${missing[*]}"
fi
