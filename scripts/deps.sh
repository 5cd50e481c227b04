#!/usr/bin/env bash
# Installs, from Debian's packages, whatever the build and tests need and this
# machine lacks. Sourced by the other scripts; safe to run again.
set -euo pipefail

kav_deps() {
  local need=(cmake make g++ gcc-multilib g++-multilib googletest binutils "$@")
  local missing=() p
  for p in "${need[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'ok installed' || missing+=("$p")
  done
  ((${#missing[@]} == 0)) && return 0
  echo "installing: ${missing[*]}"
  local sudo=()
  [[ $(id -u) -ne 0 ]] && sudo=(sudo)
  "${sudo[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >/dev/null
}

if [[ "${BASH_SOURCE[0]}" == "$0" ]]; then kav_deps "$@"; fi
