#!/usr/bin/env bash
# Builds and runs every test on the three presets: x86-64, i386 and the
# sanitizer build. Installs what a fresh machine lacks first.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
kav_deps

passed=0 failed=0 status=0
for preset in default i386 sanitize; do
  echo "== $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  log=$(mktemp)
  ctest --preset "$preset" 2>&1 | tee "$log" || status=1
  if line=$(grep -Eo '[0-9]+ tests failed out of [0-9]+' "$log"); then
    read -r f _ _ _ _ n <<<"$line"
    passed=$((passed + n - f)) failed=$((failed + f))
  else
    status=1
  fi
  rm -f "$log"
done
echo "all presets: $passed passed, $failed failed"
exit $status
