#!/bin/sh
# Runs a Windows executable under Wine with the build tree's own prefix. The prefix lives
# beside the executables (VANTOR_WINEPREFIX overrides it), so a fresh build gets a fresh one.
if [ -z "${VANTOR_WINEPREFIX:-}" ]; then
  dir=$(cd "$(dirname "$1")" && pwd)
  while [ "$dir" != "/" ] && [ ! -f "$dir/CMakeCache.txt" ]; do dir=$(dirname "$dir"); done
  [ "$dir" = "/" ] && dir=$(cd "$(dirname "$1")" && pwd)
  VANTOR_WINEPREFIX="$dir/wineprefix"
fi
export WINEPREFIX="$VANTOR_WINEPREFIX"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=}"
# Debian's wine64 package puts its loader in /usr/lib/wine; the "wine" wrapper comes with the
# separate wine package, which is not needed here.
wine=$(command -v wine64 || command -v wine || echo /usr/lib/wine/wine64)
exec "$wine" "$@"
