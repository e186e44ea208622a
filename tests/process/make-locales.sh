#!/bin/sh
# Compiles locales with other decimal points and other rules for letters into a directory. Needs the
# definitions of the package "locales"; without them it does nothing.
set -u
mkdir -p "$1"
command -v localedef >/dev/null || exit 0
for name in de_DE tr_TR; do
  [ -f "/usr/share/i18n/locales/$name" ] || continue
  [ -d "$1/$name.UTF-8" ] || localedef -c -i "$name" -f UTF-8 "$1/$name.UTF-8" >/dev/null 2>&1 || true
done
