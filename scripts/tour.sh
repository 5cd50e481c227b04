#!/usr/bin/env bash
# A short tour of the module through kavmath: builds the module and the
# reference host (installing what a fresh machine lacks), then runs a few calls.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
kav_deps

cmake --preset default >/dev/null
cmake --build --preset default --target KAV_mod_math kavmath >/dev/null
kavmath=build/default/host/kavmath

show() {
  printf '\n# %s\n' "$1"
  shift
  for expr in "$@"; do printf 'kav> %s\n' "$expr"; done
  "$kavmath" "$@"
}

show "Constants: the float pi is the single nearest 3.141592, bit for bit" \
  'PI' 'M_PI_F' 'M_PI'
show "The angle unit: 0 milli-degrees (the default), 1 radians; anything else is refused" \
  'mathlib_get_angleunit()' 'mathlib_set_angleunit(2)' 'mathlib_set_angleunit(1)' \
  'mathlib_get_angleunit()'
