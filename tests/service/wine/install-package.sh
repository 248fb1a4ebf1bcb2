#!/bin/sh
# Installs VantorVssProvider.msi into the Wine prefix $WINEPREFIX the way an administrator
# would (msiexec /i ... /qn), after registering the VSS coordinator double that Wine lacks
# (the package's registration step asks the coordinator to register the provider).
# Usage: install-package.sh <VantorVssProvider.msi> <vss_coordinator_double.dll>
# Exit code: msiexec's (0 installed). The coordinator double's calls are logged to
# C:\vss-coordinator-calls.txt, as the whole-executable tests expect.
set -u
if [ $# -ne 2 ]; then
  echo "usage: install-package.sh <VantorVssProvider.msi> <vss_coordinator_double.dll>" >&2
  exit 2
fi
wine=$(command -v wine64 || command -v wine || echo /usr/lib/wine/wine64)
winepath() { printf 'Z:%s' "$(realpath "$1")" | tr '/' '\\'; }
msi=$(winepath "$1")
double=$(winepath "$2")
clsid='HKLM\Software\Classes\CLSID\{E579AB5F-1CC4-44B4-BED9-DE0991FF0623}\InprocServer32'
"$wine" reg add "$clsid" /ve /d "$double" /f >/dev/null &&
  "$wine" reg add "$clsid" /v ThreadingModel /d Both /f >/dev/null &&
  "$wine" reg add 'HKLM\Software\Vantor Test\Coordinator Double' /v CallLog /d 'C:\vss-coordinator-calls.txt' /f >/dev/null ||
  { echo "install-package: registering the coordinator double failed" >&2; exit 1; }
"$wine" msiexec /i "$msi" /qn
status=$?
[ "$status" -eq 0 ] || echo "install-package: msiexec /i failed with $status" >&2
exit "$status"
