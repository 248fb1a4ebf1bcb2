#!/bin/sh
# The Windows lane's code signing, with a throwaway certificate:
#   windows-signing.sh make <dir>          makes <dir>/signing.pfx (self-signed, for code
#                                          signing) and its password in <dir>/password, once
#   windows-signing.sh verify <dir> <msi>  checks the Authenticode signatures of the package and
#                                          of both executables inside it against that
#                                          certificate, and that an unreadable certificate
#                                          fails the signing step, naming the file
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
command=$1
dir=$2
case "$command" in
  make)
    mkdir -p "$dir"
    [ -f "$dir/signing.pfx" ] && exit 0
    (umask 077 && openssl rand -hex 16 >"$dir/password")
    openssl req -x509 -newkey rsa:3072 -sha256 -nodes -days 30 -subj "/CN=Vantor Storage test signing" \
      -addext "keyUsage=critical,digitalSignature" -addext "extendedKeyUsage=codeSigning" \
      -keyout "$dir/signing.key" -out "$dir/signing.pem" 2>/dev/null
    openssl pkcs12 -export -inkey "$dir/signing.key" -in "$dir/signing.pem" -out "$dir/signing.pfx" \
      -passout "file:$dir/password"
    rm -f "$dir/signing.key"
    ;;
  verify)
    msi=$3
    files=$(mktemp -d)
    trap 'rm -rf "$files"' EXIT
    (cd "$files" && msiextract "$msi" >/dev/null)
    failed=0
    for signed in "$msi" "$(find "$files" -name VantorVssProvider.exe)" "$(find "$files" -name vantor-vss.exe)"; do
      if [ -n "$signed" ] && osslsigncode verify -CAfile "$dir/signing.pem" -in "$signed" >"$files/verify.log" 2>&1 &&
        grep -q "Signature verification: ok" "$files/verify.log"; then
        echo "windows-signing: signature ok: $(basename "$signed")"
      else
        echo "windows-signing: signature missing or invalid: ${signed:-an executable missing from $msi}" >&2
        cat "$files/verify.log" >&2
        failed=1
      fi
    done
    : >"$files/probe.exe"
    if VANTOR_SIGN_PFX="$dir/missing.pfx" sh "$here/packaging/sign-file.sh" "$files/probe.exe" probe \
      2>"$files/refusal.log" || ! grep -q "$dir/missing.pfx" "$files/refusal.log"; then
      echo "windows-signing: an unreadable certificate did not fail the signing step by name" >&2
      failed=1
    fi
    exit "$failed"
    ;;
  *)
    echo "usage: windows-signing.sh make <dir> | verify <dir> <msi>" >&2
    exit 2
    ;;
esac
