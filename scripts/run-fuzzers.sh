#!/usr/bin/env bash
# Builds the fuzz targets and runs them over the kept inputs, then on from there.
#
#   run-fuzzers.sh                            every target, the kept inputs alone
#   run-fuzzers.sh --seconds N [TARGET ...]   N seconds each (0: the kept inputs alone)
#
# Nothing is added to the kept inputs; an input that shows a fault is left in build/asan/findings, and
# the result is not 0. Needs clang with its sanitizer libraries.
set -euo pipefail

usage() {
  echo "usage: $(basename "$0") [--seconds N] [TARGET ...]" >&2
  exit 2
}

seconds=0
if [[ ${1-} == --seconds ]]; then
  [[ ${2-} =~ ^[0-9]+$ ]] || usage
  seconds=$2
  shift 2
fi
[[ ${1-} != -* ]] || usage

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"  # presets are looked up here
scripts/install-dependencies.sh ci

mapfile -t all < <(cd fuzz && printf '%s\n' *_fuzz.cpp | sed 's/\.cpp$//')
targets=("${@:-${all[@]}}")
for target in "${targets[@]}"; do
  [[ -f fuzz/$target.cpp ]] || { echo "run-fuzzers.sh: no target $target; there are: ${all[*]}" >&2; exit 2; }
done

cmake --preset asan "-DCFGEX_WARNINGS_AS_ERRORS=${CFGEX_WARNINGS_AS_ERRORS:-OFF}" >/dev/null
cmake --build --preset asan --target cfgex_fuzzers

# Files in memory, if the system has such a place: every commit syncs.
memory=${TMPDIR-}
[[ -n $memory ]] || { [[ -w /dev/shm ]] && memory=/dev/shm; } || memory=/tmp
work=$(TMPDIR=$memory mktemp -d)
trap 'rm -rf "$work"' EXIT
findings=build/asan/findings
mkdir -p "$findings"

run() {
  local target=$1 options=(-timeout=60 -rss_limit_mb=4096 -print_final_stats=1)
  options+=("-artifact_prefix=$findings/$target-")
  mkdir "$work/$target" "$work/$target.new"
  if ((seconds > 0)); then
    options+=("-max_total_time=$seconds")
    local dictionary=fuzz/document.dict
    case $target in
      schema_fuzz) dictionary=fuzz/schema.dict ;;
      model_fuzz) dictionary= ;;
    esac
    [[ -z $dictionary ]] || options+=("-dict=$dictionary")
  else
    options+=(-runs=0)
  fi
  local status=0
  TMPDIR=$work/$target "build/asan/fuzz/$target" "${options[@]}" "$work/$target.new" \
    "fuzz/corpus/$target" >"$work/$target.log" 2>&1 || status=$?
  echo "$status" >"$work/$target.status"
}

# As many at a time as there are processors.
for target in "${targets[@]}"; do
  while (($(jobs -rp | wc -l) >= $(nproc))); do wait -n; done
  run "$target" &
done
wait

failed=()
for target in "${targets[@]}"; do
  if [[ $(<"$work/$target.status") == 0 ]]; then
    executed=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/$target.log")
    printf '%-18s %8d runs without a finding\n' "$target" "$executed"
  else
    failed+=("$target")
    grep -v -E '^#[0-9]+[[:space:]]+(NEW|REDUCE|pulse|RELOAD)' "$work/$target.log" >&2
  fi
done
if ((${#failed[@]} > 0)); then
  echo "run-fuzzers.sh: a fault was found by: ${failed[*]}; the inputs are in $findings" >&2
  exit 1
fi
