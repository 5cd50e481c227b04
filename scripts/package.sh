#!/usr/bin/env bash
# Builds the Debian packages (libkav-mod-math1, libkav-mod-math-dev, kavmath)
# from the default preset's build, the one the tests run, into build/default.
# Installs what a fresh machine lacks first.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
kav_deps

cmake --preset default >/dev/null
cmake --build --preset default
cmake --build --preset default --target package
ls build/default/*.deb
