#!/usr/bin/env bash
# Formatting, and clang-tidy's findings, over all sources. Needs a configured build/asan.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

mapfile -t sources < <(git ls-files '*.cpp' '*.h')
clang-format --dry-run --Werror "${sources[@]}"

# A header is checked with the sources that include it; tests are held to the warnings alone.
mapfile -t checked < <(git ls-files 'src/*.cpp' 'platform/*.cpp' 'tools/*.cpp' 'examples/*.cpp')
printf '%s\n' "${checked[@]}" | xargs -P "$(nproc)" -n 4 clang-tidy -p build/asan --quiet 2>/dev/null
