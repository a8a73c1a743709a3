#!/usr/bin/env bash
# Configures and builds everything into build/ (build-asan/ with --sanitize,
# build-coverage/ with --coverage; see options.sh).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/options.sh
if [ "${#other_args[@]}" -gt 0 ]; then
    echo "build.sh: unknown option ${other_args[0]}" >&2
    exit 2
fi
cmake -S . -B "$build_dir" "${cmake_options[@]}" >/dev/null
cmake --build "$build_dir" -j"$(nproc)"
