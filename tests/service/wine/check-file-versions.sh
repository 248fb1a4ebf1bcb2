#!/bin/sh
# Checks that the package's File table gives both executables the build's file version: without
# it Windows Installer takes them for unversioned files, and an upgrade can keep an older copy.
# Usage: check-file-versions.sh <package.msi> <file version>
set -u
if [ $# -ne 2 ]; then
  echo "usage: check-file-versions.sh <package.msi> <file version>" >&2
  exit 2
fi
table=$(msiinfo export "$1" File) || exit 1
status=0
for file in ProviderExe ToolExe; do
  version=$(printf '%s\n' "$table" | awk -F '\t' -v f="$file" '$1 == f { print $5 }')
  if [ "$version" != "$2" ]; then
    echo "check-file-versions: $file has version '$version' in $1, not $2" >&2
    status=1
  fi
done
exit "$status"
