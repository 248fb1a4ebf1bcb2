#!/usr/bin/env bash
# Installs every Debian package the project needs (native, sanitizer, fuzz and Windows
# builds), plus gSOAP's runtime sources for the Windows build. Safe to run again.
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
sudo_cmd=""
if [ "$(id -u)" -ne 0 ]; then sudo_cmd="sudo"; fi

packages=(
  build-essential cmake ninja-build pkg-config clang libclang-rt-14-dev
  libpoco-dev nlohmann-json3-dev rapidjson-dev libssl-dev libcli11-dev
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  gsoap libgsoap-dev
  g++-mingw-w64-x86-64 wine64 wine64-tools
  dpkg-dev curl python3 ccache msitools wixl osslsigncode openssl
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  echo "install-deps: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  $sudo_cmd apt-get update -q
  $sudo_cmd apt-get install -y -q --no-install-recommends "${missing[@]}"
fi

# Debian ships no Windows build of gSOAP's runtime; take stdsoap2.cpp/.h of the same version
# as soapcpp2 from the source package.
gsoap_dir="$here/third_party/gsoap-src"
if [ ! -f "$gsoap_dir/stdsoap2.cpp" ]; then
  echo "install-deps: fetching gSOAP runtime sources"
  list=/etc/apt/sources.list.d/vantor-gsoap-src.sources
  keyring=$(grep -h -m1 '^Signed-By:' /etc/apt/sources.list.d/*.sources 2>/dev/null | awk '{print $2}')
  uri=$(grep -h -m1 '^URIs:' /etc/apt/sources.list.d/debian.sources 2>/dev/null | awk '{print $2}')
  : "${uri:=http://deb.debian.org/debian}"
  {
    echo "Types: deb-src"
    echo "URIs: $uri"
    echo "Suites: bookworm"
    echo "Components: main"
    [ -n "$keyring" ] && echo "Signed-By: $keyring"
  } | $sudo_cmd tee "$list" >/dev/null
  $sudo_cmd apt-get update -q
  tmp=$(mktemp -d)
  (cd "$tmp" && apt-get source --download-only gsoap >/dev/null && dpkg-source -x gsoap_*.dsc src >/dev/null)
  $sudo_cmd rm -f "$list"
  $sudo_cmd apt-get update -q >/dev/null || true
  mkdir -p "$gsoap_dir"
  cp "$tmp"/src/gsoap/stdsoap2.cpp "$tmp"/src/gsoap/stdsoap2.h "$gsoap_dir"/
  rm -rf "$tmp"
fi
echo "install-deps: ok"
