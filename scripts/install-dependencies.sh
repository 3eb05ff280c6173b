#!/usr/bin/env bash
# Installs the Debian packages given, those that are missing; asks nothing. Usage: install-dependencies.sh PACKAGE...
set -euo pipefail
missing=()
for package in "$@"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
[[ ${#missing[@]} == 0 ]] && exit 0

echo "installing: ${missing[*]}"
sudo=()
[[ $(id -u) == 0 ]] || sudo=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
