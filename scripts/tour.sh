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
  "$kavmath" --echo "$@"
}

show "Constants: the float pi is the single nearest 3.141592, bit for bit" \
  'PI' 'M_PI_F' 'M_PI'
show "The angle unit: 0 milli-degrees (the default), 1 radians; anything else is refused" \
  'mathlib_get_angleunit()' 'mathlib_set_angleunit(2)' 'mathlib_set_angleunit(1)' \
  'mathlib_get_angleunit()'
show "Integer trigonometry: milli-degree angles, results in thousandths, from truncated tables" \
  'sin(30000)' 'cos(60000)' 'tan(90000)' 'atan2(-1, -1)'
show "Out-of-range arcsines raise error 171 and answer the int minimum" \
  'acos(1001)'
show "The int vector forms write the reduced angles back into their argument" \
  'v = ivec2(400000, -90000)' 'sin(v)' 'v'
show "Floating trigonometry follows the angle unit" \
  'sin(90000.0f)' 'mathlib_set_angleunit(1)' 'sin(1.5707964f)' 'atan2(1.0, 0.0)'
show "Powers and roots: pow(I,I) wraps, sqrt(I) of 2147483647 is a fixed 999999999" \
  'pow(2, 31)' 'pow(3, 2147483647)' 'sqrt(-16)' 'sqrt(2147483647)'
show "exp2 of a float vector is bound to exp, so it gives e to the x" \
  'exp2(vec2(3, 0))' 'exp2(dvec2(3, 0))'
show "Common functions keep their documented rules: mid's tie, clamp's order, the length clamp" \
  'mid(1, 1, 0)' 'clamp(5, 10, 0)' 'clamp(vec2(3.0f, 4.0f), 2.0f)' 'fixtof(256, 12)'
show "Vector geometry: vec_ne needs every component to differ; near_angle steps toward a target" \
  'vec_ne(vec2(1.0f, 2.0f), vec2(1.0f, 3.0f))' 'near_angle(350000, 10000, 5000)'
show "Matrices: mat2 times mat2 is one of the module's own products" \
  'm = mat2(1, 2, 3, 4)' 'mat_mul(&m, &m)' 'mat_transpose(&m)'
show "A seed reproduces every random sequence" \
  'rand_seed(42)' 'rand(1, 6)' 'rand(1, 6)' 'rand(0.0, 1.0)' 'rand_seed(42)' 'rand(1, 6)' 'rand(1, 6)'
