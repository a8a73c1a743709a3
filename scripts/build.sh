#!/usr/bin/env bash
# Configures and builds everything into build/; with --sanitize (or
# PURFP_SANITIZE=1 in the environment) with the address and
# undefined-behaviour sanitizers into build-asan/; with --coverage (or
# PURFP_COVERAGE=1) with line-coverage counters into build-coverage/.
set -euo pipefail
cd "$(dirname "$0")/.."
sanitize="${PURFP_SANITIZE:-0}"
coverage="${PURFP_COVERAGE:-0}"
for arg in "$@"; do
    case "$arg" in
        --sanitize) sanitize=1 ;;
        --coverage) coverage=1 ;;
        *) echo "build.sh: unknown option $arg" >&2; exit 2 ;;
    esac
done
if [ "$sanitize" = 1 ] && [ "$coverage" = 1 ]; then
    echo "build.sh: --sanitize and --coverage are separate builds; ask for one" >&2
    exit 2
fi
if [ "$sanitize" = 1 ]; then
    cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPURFP_SANITIZE=ON -DPURFP_COVERAGE=OFF >/dev/null
    cmake --build build-asan -j"$(nproc)"
elif [ "$coverage" = 1 ]; then
    cmake -S . -B build-coverage -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPURFP_SANITIZE=OFF -DPURFP_COVERAGE=ON >/dev/null
    cmake --build build-coverage -j"$(nproc)"
else
    cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPURFP_SANITIZE=OFF -DPURFP_COVERAGE=OFF >/dev/null
    cmake --build build -j"$(nproc)"
fi
