#!/usr/bin/env bash
# Installs, from Debian's packages, whatever the build and tests need and this
# machine lacks. Sourced by the other scripts; safe to run again.
set -euo pipefail

# Installs those of the given packages that are missing. KAV_SUDO=-n makes
# sudo non-interactive (for a build's configure step, which cannot ask).
kav_install() {
  local missing=() p
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'ok installed' || missing+=("$p")
  done
  ((${#missing[@]} == 0)) && return 0
  echo "installing: ${missing[*]}"
  local sudo=()
  [[ $(id -u) -ne 0 ]] && sudo=(sudo ${KAV_SUDO:-})
  # A list that fails to download (a mirror mid-sync) need not stop the install.
  "${sudo[@]}" apt-get update -qq || echo "apt-get update failed for some lists; installing from those there are"
  DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >/dev/null
}

# Everything the presets, the tests and the scripts use, and the packages given.
kav_deps() {
  kav_install cmake make g++ gcc-multilib g++-multilib googletest binutils dpkg-dev pkg-config file \
    libedit-dev python3 librsvg2-bin "$@"
}

# What a plain CMake build needs beyond its compiler: libedit for kavmath, and
# with "tests" GoogleTest's sources, with "i386" the multilib compilers and
# the i386 libedit. Called by the configure step (cmake/Dependencies.cmake).
kav_build_deps() {
  local need=(libedit-dev) i386=0 w
  for w in "$@"; do
    case $w in
      tests) need+=(googletest) ;;
      i386) need+=(gcc-multilib g++-multilib) i386=1 ;;
    esac
  done
  kav_install "${need[@]}"
  if ((i386)); then kav_add_i386 && kav_install libedit2:i386; fi
}

# Succeeds when this machine executes 32-bit x86 programs (some kernels refuse
# them); asked by running one, not guessed from the machine.
kav_runs_i386() {
  local dir rc=0
  dir=$(mktemp -d)
  printf 'int main(void) { return 0; }\n' >"$dir/runs.c"
  gcc -m32 "$dir/runs.c" -o "$dir/runs" 2>/dev/null && "$dir/runs" 2>/dev/null || rc=1
  rm -rf "$dir"
  return $rc
}

# Adds the i386 architecture to dpkg, once.
kav_add_i386() {
  dpkg --print-foreign-architectures | grep -qx i386 && return 0
  local sudo=()
  [[ $(id -u) -ne 0 ]] && sudo=(sudo ${KAV_SUDO:-})
  echo "adding the i386 architecture to dpkg"
  "${sudo[@]}" dpkg --add-architecture i386
}

# What the i386 preset needs beyond the multilib compilers: the i386 libedit
# for kavmath's prompt, and qemu-user when the i386 tests will run emulated:
# the machine cannot execute 32-bit programs, or KAV_EMULATE_I386 (set and
# not 0) asks for it.
kav_i386_deps() {
  kav_add_i386
  kav_deps libedit2:i386
  if [[ ${KAV_EMULATE_I386:-0} != 0 ]] || ! kav_runs_i386; then kav_deps qemu-user; fi
}

# Builds the fuzz preset (clang's libFuzzer, ASan and UBSan) once per run.
kav_fuzz_build() {
  [[ -n ${kav_fuzz_built:-} ]] && return 0
  kav_deps clang libclang-rt-14-dev
  cmake --preset fuzz >/dev/null || return 1
  cmake --build --preset fuzz >/dev/null || return 1
  mkdir -p build/fuzz/findings
  kav_fuzz_built=1
}

# Fuzzes every row from seeds made of the conformance vectors' calls:
# kav_fuzz CORPUS [FLAGS...]. New inputs go to the folder CORPUS, findings to
# build/fuzz/findings; the flags go to libFuzzer (-runs=N, -max_total_time=S,
# -jobs=N ...).
kav_fuzz() {
  kav_fuzz_build || return 1
  local corpus=$1 out=build/fuzz seeds=build/fuzz/seeds
  shift
  rm -rf "$seeds"
  mkdir -p "$seeds" "$corpus"
  "$out/tests/fuzz/fuzz_seeds" seeds "$out/src/libKAV_mod_math.so.1" "$seeds" tests/vectors/*.kvt
  "$out/tests/fuzz/fuzz_rows" -artifact_prefix="$out/findings/" -print_final_stats=1 "$@" \
    "$corpus" "$seeds"
}

# Fuzzes what people type (tests/fuzz/fuzz_input.cpp): kav_fuzz_input CORPUS
# [FLAGS...], as kav_fuzz; its findings are build/fuzz/findings/input-*. The
# seeds are the vectors' paragraphs as .kvt files and as scripts, the tour's
# and the README's expressions; the dictionary holds every script name, type
# and constant that kavmath --list shows, and the language's own words.
kav_fuzz_input() {
  kav_fuzz_build || return 1
  local corpus=$1 out=build/fuzz seeds=build/fuzz/input-seeds dict=build/fuzz/input.dict list
  shift
  rm -rf "$seeds"
  mkdir -p "$seeds" "$corpus"
  # The first byte picks the way in: @ a script, A command-line operands,
  # B a .kvt file, H a script with --echo.
  awk -v dir="$seeds" -v RS= '{
      n++; printf "B%s\n", $0 >(dir "/kvt" n); close(dir "/kvt" n)
      gsub(/ *=>[^\n]*/, ""); printf "@%s\n", $0 >(dir "/script" n); close(dir "/script" n)
    }' tests/vectors/*.kvt
  { printf H; grep -o "'[^'%]*'" scripts/tour.sh | tr -d "'"; } >"$seeds/tour"
  { printf A; sed -n "s/^ *\\\$ kavmath //p" README.md | grep -o "'[^']*'" | tr -d "'"; } >"$seeds/readme"
  list=$("$out/host/kavmath" --lib "$out/src/libKAV_mod_math.so.1" --list)
  {
    sed -n 's/^\([A-Za-z_][A-Za-z0-9_]*\)(.*/"\1("/p' <<<"$list" | uniq
    sed -n 's/^type \(.*\)/"\1("/p; s/^const \([^ ]*\) = .*/"\1"/p' <<<"$list"
    printf '"%s"\n' '(' ')' ',' '=' '&' '-' '=>' '#' f32\( f64\( null nan inf nanf inff raises \
      within ulp 0x e- f '\"' '\x0a' 2147483648 1e308 ' '
  } >"$dict"
  "$out/tests/fuzz/fuzz_input" -artifact_prefix="$out/findings/input-" -print_final_stats=1 \
    -dict="$dict" -max_len=4096 -timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=256 "$@" \
    "$corpus" "$seeds"
}

if [[ "${BASH_SOURCE[0]}" == "$0" ]]; then
  if [[ ${1:-} == --build ]]; then shift; kav_build_deps "$@"; else kav_deps "$@"; fi
fi
