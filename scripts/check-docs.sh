#!/usr/bin/env bash
# Builds and runs the programs that the pages show, and compares the pages with them: the code, what
# the programs print and write. Also checks the links.
#
#   check-docs.sh             says where a page differs
#   check-docs.sh --update    corrects the pages
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"  # presets are looked up here

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

[[ -f build/release/build.ninja ]] || cmake --preset release >/dev/null
cmake --build --preset release --target ten_lines sharing ferries >"$work/build.log" 2>&1 || {
  cat "$work/build.log" >&2
  exit 1
}
programs=$root/build/release/examples

# The README's ten lines do what they say.
mkdir "$work/ten_lines" "$work/ferries"
cp examples/building/*.{xsd,xml} "$work/ten_lines"
(cd "$work/ten_lines" && "$programs/ten_lines" && grep -q 'Server room, north' building.xml) || {
  echo "check-docs.sh: the ten lines do not change the file" >&2
  exit 1
}

cp examples/tutorial/*.{xsd,xml} "$work/ferries"
(cd "$work/ferries" && "$programs/tutorial/ferries" >ferries.txt) || {
  echo "check-docs.sh: the tutorial's program failed" >&2
  exit 1
}

cp examples/building/*.{xsd,xml} "$work/ferries"
(cd "$work/ferries" && "$programs/sharing" >sharing.txt) || {
  echo "check-docs.sh: the program about shared instances failed" >&2
  exit 1
}

python3 scripts/doc_blocks.py "$work/ferries" "$@"
echo "the pages agree with the programs"
