#!/bin/sh
# Authenticode-signs one file (an executable or a package) in place with osslsigncode, when the
# build is given a code-signing certificate through the environment:
#   VANTOR_SIGN_PFX            the certificate with its private key (PKCS#12)
#   VANTOR_SIGN_PASSWORD       its password
#   VANTOR_SIGN_TIMESTAMP_URL  a timestamp server (optional)
# Without VANTOR_SIGN_PFX it leaves the file as it is. A certificate that cannot be read or
# used fails the step, naming the certificate file, and leaves no half-signed file behind.
# Usage: sign-file.sh <file> <description>
set -u
if [ $# -ne 2 ]; then
  echo "usage: sign-file.sh <file> <description>" >&2
  exit 2
fi
file=$1
description=$2
pfx=${VANTOR_SIGN_PFX:-}
[ -n "$pfx" ] || exit 0
if [ ! -f "$pfx" ] || [ ! -r "$pfx" ]; then
  echo "sign-file: cannot read the signing certificate $pfx" >&2
  exit 1
fi
# The password goes to osslsigncode in a file of this user's only, never on a command line.
passfile=$(mktemp)
trap 'rm -f "$passfile" "$file.signed"' EXIT
printf '%s' "${VANTOR_SIGN_PASSWORD:-}" >"$passfile"
set -- -pkcs12 "$pfx" -readpass "$passfile" -n "$description" -h sha256
if [ -n "${VANTOR_SIGN_TIMESTAMP_URL:-}" ]; then
  set -- "$@" -ts "$VANTOR_SIGN_TIMESTAMP_URL"
fi
if ! osslsigncode sign "$@" -in "$file" -out "$file.signed" >/dev/null; then
  echo "sign-file: signing $file with the certificate $pfx failed (unreadable certificate or wrong password)" >&2
  exit 1
fi
mv -f "$file.signed" "$file"
