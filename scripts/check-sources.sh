#!/usr/bin/env bash
# Formatting, includes that go up, and clang-tidy's findings, over all sources.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

mapfile -t sources < <(git ls-files '*.cpp' '*.h')
clang-format --dry-run --Werror "${sources[@]}"

# The rooms, each with those that it may include: all includes go down (docs/reading-order.md). Only
# the command and the tests look at the engine from above.
includes_go_down() {
  local room=$1 below=$2 up
  up=$(git grep -nE '#include "(platform|src|tools|tests)/' -- "$room" |
    grep -vE "#include \"($below)/" || true)
  [[ -z $up ]] && return
  printf 'includes that go up:\n%s\n' "$up" >&2
  return 1
}
includes_go_down platform/os 'platform/os'
includes_go_down platform/tree 'platform/(os|tree)'
includes_go_down platform/schema 'platform/(os|tree|schema)'
includes_go_down platform/dom 'platform/(os|tree|schema|dom)'
includes_go_down src 'platform/(os|schema|dom)|src'
if git grep -nE '#include <libxml' -- include src platform/os 'tools/*.h' 'tools/*.cpp' ':!tools/engine'; then
  echo "libxml2 is included outside of platform/ and tools/engine" >&2
  exit 1
fi

# A header is checked with the sources that include it; tests are held to the warnings alone. The
# checker reads the units of a unity build, which takes a fourth of the time. Only these units may
# include a source.
cmake --preset asan -B build/tidy -DCFGEX_BUILD_EXAMPLES=ON -DCFGEX_BUILD_TOOLS=ON \
  -DCFGEX_BUILD_TESTS=OFF -DCFGEX_BUILD_FUZZERS=OFF >/dev/null
find build/tidy -path '*/Unity/*.cxx' -print0 |
  xargs -0 -P "$(nproc)" -n 1 clang-tidy -p build/tidy --quiet --checks=-bugprone-suspicious-include 2>/dev/null
