#!/usr/bin/env bash
# The shared library hands out the public interface and no more: every dynamic symbol that it defines
# belongs to a public class or function. Needs a built build/release.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
library=$root/build/release/libcfgex.so

public='^(typeinfo for |typeinfo name for |vtable for |non-virtual thunk to )?'
public+='(CCfg[A-Za-z]+|CCfgEx_[A-Za-z]+|CSLock|IUnknown|_com_error|OS::(x_wstring|CTime|CException|Sys[A-Za-z]+|Variant[A-Za-z]+))\b'
strangers=$(nm -D --defined-only --demangle "$library" | cut -d' ' -f3- | grep -Ev "$public" || true)
# Parts of the interface that name a private class, and whatever is not of it at all.
strangers+=$(nm -D --defined-only --demangle "$library" | grep -E '::CImpl\b|\bcfgex::' || true)
if [[ -n $strangers ]]; then
  printf 'check-symbols.sh: not of the public interface:\n%s\n' "$strangers" >&2
  exit 1
fi
echo "the library exports its public interface and nothing else"
