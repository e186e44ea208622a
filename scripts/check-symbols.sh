#!/usr/bin/env bash
# Compares the binary interface of the shared library with the lists in abi/. Needs build/release,
# built.
#
#   check-symbols.sh            compares
#   check-symbols.sh --update   writes the lists anew
#
# abi/cfgex.symbols: every dynamic symbol that the library defines. Only public classes and functions
#                    may be among them.
# abi/cfgex.layout:  size and alignment of every public class, and the order of its virtual functions,
#                    as g++ lays them out.
#
# If a symbol or virtual function is removed or moved, or a size changes, programs that were linked
# before break: that takes a new major version. An addition does not.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
library=build/release/libcfgex.so
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "check-symbols.sh: $*" >&2
  exit 1
}

nm -D --defined-only "$library" | cut -d' ' -f2- | LC_ALL=C sort >"$work/cfgex.symbols"

public='^. (typeinfo for |typeinfo name for |vtable for |non-virtual thunk to )?'
public+='(CCfg[A-Za-z]+|CCfgEx_[A-Za-z]+|CSLock|IUnknown|_com_error|OS::(x_wstring|CTime|CException|Sys[A-Za-z]+|Variant[A-Za-z]+))\b'
strangers=$(c++filt <"$work/cfgex.symbols" | grep -Ev "$public" || true)
# Parts of the interface that name a private class, and whatever is not of it at all.
strangers+=$(c++filt <"$work/cfgex.symbols" | grep -E '::CImpl\b|\bcfgex::' || true)
[[ -z $strangers ]] || fail "not of the public interface:"$'\n'"$strangers"

# Layouts of the interface's own classes; addresses and the standard library's are left out.
echo '#include <cfgex/cfgex.h>' >"$work/all.cpp"
g++ -std=c++20 -Iinclude -Ibuild/release/include -fsyntax-only -fdump-lang-class="$work/classes" "$work/all.cpp"
awk '
  /^(Class|Vtable for) / {
    wanted = $NF ~ /^(CCfg|CSLock$|CVar$|IUnknown$|_com_error$|VARIANT$|SYSTEMTIME$|OS::)/ && $NF !~ /::CImpl$/
    kind = $1
  }
  !wanted { next }
  /^Class / { print; next }
  /^   (size|base size)=/ { print; next }
  kind == "Vtable" && !/^$/ { print }
' "$work/classes" | sed 's/ (0x[0-9a-f]*)//; s/0x0*[0-9a-f]\{6,\}/-/g' >"$work/cfgex.layout"
[[ -s $work/cfgex.layout ]] || fail "g++ tells no layouts"

if [[ ${1-} == --update ]]; then
  cp "$work"/cfgex.symbols "$work"/cfgex.layout abi/
  exit
fi
for list in cfgex.symbols cfgex.layout; do
  diff -u "abi/$list" "$work/$list" >"$work/difference" || {
    c++filt <"$work/difference" >&2
    fail "the binary interface is not that of abi/$list; if it is meant to be, run check-symbols.sh --update"
  }
done
echo "the binary interface is that of abi/"
