#!/bin/sh
# Runs a Windows test program in a Wine prefix made fresh for this run, so that services and
# COM classes it installs meet nothing of earlier runs and touch no other prefix.
# Usage: run-in-fresh-prefix.sh <prefix directory> [--like-new-user] <program> [arguments...]
# With --like-new-user, the prefix is started the way a new user's is (wineboot -i, then the
# program at once, no persistent server).
# The prefix is removed after a passing run; after a failing one it is kept, for inspection, as
# <prefix directory>.failed, where a rerun does not wipe it.
set -u
prefix=$1
shift
wine=$(command -v wine64 || command -v wine || echo /usr/lib/wine/wine64)
wineserver=$(command -v wineserver || echo /usr/lib/wine/wineserver)
export WINEPREFIX="$prefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="

"$wineserver" -k 2>/dev/null
rm -rf "$prefix"
mkdir -p "$prefix"
if ! "$wine" wineboot -i >/dev/null 2>&1; then
  echo "run-in-fresh-prefix: wineboot failed for $prefix" >&2
  exit 1
fi
if [ "${1:-}" = "--like-new-user" ]; then
  shift
else
  # wineboot -i leaves two services.exe answering the service control manager's pipe for a
  # while, each with its own idea of which services exist; start from one server with one.
  "$wineserver" -w
  "$wineserver" -p
fi
"$wine" "$@"
status=$?
# Ends whatever the tests left running in the prefix (a service, a local server).
"$wineserver" -k 2>/dev/null
"$wineserver" -w 2>/dev/null
if [ "$status" -eq 0 ]; then
  rm -rf "$prefix"
else
  rm -rf "$prefix.failed"
  mv "$prefix" "$prefix.failed"
fi
exit "$status"
