#!/usr/bin/env bash
# Builds the project every ordinary way a user or a packager does: plain CMake
# (no preset, no warnings as errors, no tests), with no build type and with
# each of Release, Debug, RelWithDebInfo and MinSizeRel, by g++ and by clang,
# for x86-64 and i386. Each build is installed with cmake --install into a
# scratch prefix, the installed kavmath must answer sin(30000) with 500, and
# the installed module must answer every row as the default preset's build of
# its target does (kavmath --compare, 100 calls a row, NaN sign and payload
# apart). Installs what a fresh machine lacks first. Takes a while: twenty
# builds.
#
#   scripts/builds.sh [COMPILER...]   gcc, clang (default both)
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
kav_deps clang
kav_i386_deps

compilers=("$@")
((${#compilers[@]})) || compilers=(gcc clang)
# The builds each target is compared with.
for preset in default i386; do
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" --target KAV_mod_math kavmath >/dev/null
done

read -ra i386_runner <<<"$(sed -n 's/^KAV_TEST_EMULATOR:INTERNAL=//p' build/i386/CMakeCache.txt | tr ';' ' ')"
failed=0 results=()
for compiler in "${compilers[@]}"; do
  case $compiler in
    gcc) cc=gcc cxx=g++ ;;
    clang) cc=clang cxx=clang++ ;;
    *) echo "unknown compiler $compiler (gcc or clang)" >&2; exit 2 ;;
  esac
  for target in x86-64 i386; do
    for type in none Release Debug RelWithDebInfo MinSizeRel; do
      name=$compiler-$target-$type dir=build/ways/$compiler-$target-$type
      args=(-DKAV_TESTS=OFF)
      [[ $type != none ]] && args+=(-DCMAKE_BUILD_TYPE="$type")
      runner=() reference=build/default/src/libKAV_mod_math.so.1
      if [[ $target == i386 ]]; then
        args+=("-DCMAKE_C_FLAGS=-m32 -msse2 -mfpmath=sse" "-DCMAKE_CXX_FLAGS=-m32 -msse2 -mfpmath=sse"
               -DCMAKE_EXE_LINKER_FLAGS=-m32 -DCMAKE_SHARED_LINKER_FLAGS=-m32)
        runner=("${i386_runner[@]}") reference=build/i386/src/libKAV_mod_math.so.1
      fi
      rm -rf "$dir"
      mkdir -p build/ways
      echo "== $name"
      outcome="built, installed"
      if ! CC=$cc CXX=$cxx cmake -S . -B "$dir" "${args[@]}" >"$dir.log" 2>&1 ||
         ! cmake --build "$dir" -j "$(nproc)" >>"$dir.log" 2>&1 ||
         ! cmake --install "$dir" --prefix "$PWD/$dir/root" >>"$dir.log" 2>&1; then
        outcome="FAILED to build or install ($dir.log)"
      else
        kavmath=$dir/root/bin/kavmath
        module=$(find "$dir/root" -name libKAV_mod_math.so.1)
        warnings=$(grep -c 'warning:' "$dir.log" || true)
        ((warnings == 0)) || outcome+=", $warnings warnings"
        answer=$("${runner[@]}" "$kavmath" 'sin(30000)' 2>&1 || true)
        if [[ $answer != 500 ]]; then
          outcome="FAILED: installed kavmath 'sin(30000)' answered '$answer'"
        elif ! "${runner[@]}" "$kavmath" --lib "$module" --compare "$PWD/$reference" --calls 100 \
               >"$dir.compare" 2>&1; then
          outcome="FAILED: differs from the preset's build ($dir.compare)"
        else
          outcome+=", sin(30000) = 500, $(tail -n 1 "$dir.compare")"
        fi
      fi
      [[ $outcome == FAILED* ]] && failed=$((failed + 1))
      results+=("$name: $outcome")
    done
  done
done
printf '%s\n' "${results[@]}"
echo "builds: $((${#results[@]} - failed)) good, $failed failed"
((failed == 0))
