#!/usr/bin/env bash
# Configures and builds everything into build/, or, with --sanitize (or
# PURFP_SANITIZE=1 in the environment), with the address and
# undefined-behaviour sanitizers into build-asan/.
set -euo pipefail
cd "$(dirname "$0")/.."
sanitize="${PURFP_SANITIZE:-0}"
for arg in "$@"; do
    case "$arg" in
        --sanitize) sanitize=1 ;;
        *) echo "build.sh: unknown option $arg" >&2; exit 2 ;;
    esac
done
if [ "$sanitize" = 1 ]; then
    cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPURFP_SANITIZE=ON >/dev/null
    cmake --build build-asan -j"$(nproc)"
else
    cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPURFP_SANITIZE=OFF >/dev/null
    cmake --build build -j"$(nproc)"
fi
