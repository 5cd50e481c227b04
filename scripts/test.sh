#!/usr/bin/env bash
# Builds and runs every test on the three presets: x86-64, i386 and the
# sanitizer build. Installs what a fresh machine lacks first. The i386 tests
# run natively where the kernel executes 32-bit programs and under qemu-i386
# otherwise; KAV_EMULATE_I386=1 forces emulation. A preset that cannot build
# or runs no test counts as a failure, never as a skip.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
kav_deps
kav_i386_deps

passed=0 failed=0 status=0
declare -A ran
summary=()
for preset in default i386 sanitize; do
  echo "== $preset"
  if ! cmake --preset "$preset" >/dev/null || ! cmake --build --preset "$preset"; then
    summary+=("$preset: could not be built")
    failed=$((failed + 1)) status=1
    continue
  fi
  runner=$(sed -n 's/^KAV_TEST_RUNNER:INTERNAL=//p' "build/$preset/CMakeCache.txt")
  echo "== $preset: tests run $runner"
  log=$(mktemp)
  ctest --preset "$preset" 2>&1 | tee "$log" || status=1
  if line=$(grep -Eo '[0-9]+ tests failed out of [0-9]+' "$log") &&
     read -r f _ _ _ _ n <<<"$line" && ((n > 0)); then
    passed=$((passed + n - f)) failed=$((failed + f)) ran[$preset]=$n
    summary+=("$preset ($runner): $((n - f)) passed, $f failed")
  else
    summary+=("$preset ($runner): no test ran")
    failed=$((failed + 1)) status=1
  fi
  rm -f "$log"
done

# The same tests on both targets: nothing may be left out of the i386 run.
if [[ -n ${ran[default]:-} && -n ${ran[i386]:-} && ${ran[default]} != "${ran[i386]}" ]]; then
  summary+=("i386 ran ${ran[i386]} tests, x86-64 ${ran[default]}")
  status=1
fi
printf '%s\n' "${summary[@]}"
echo "all presets: $passed passed, $failed failed"
exit $status
