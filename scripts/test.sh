#!/usr/bin/env bash
# Sets up the machine, builds, and runs every test. The database tests run on
# SQLite, and also on PostgreSQL when PURFP_TEST_PG holds a connection string.
# With --sanitize (or PURFP_SANITIZE=1) the build and the run use build-asan/,
# compiled with the address and undefined-behaviour sanitizers (leak checks
# included); any finding fails its test. Other arguments go to ctest.
set -euo pipefail
cd "$(dirname "$0")/.."
sanitize="${PURFP_SANITIZE:-0}"
ctest_args=()
for arg in "$@"; do
    case "$arg" in
        --sanitize) sanitize=1 ;;
        *) ctest_args+=("$arg") ;;
    esac
done
scripts/setup.sh
if [ "$sanitize" = 1 ]; then
    PURFP_SANITIZE=1 scripts/build.sh
    cd build-asan
    export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:halt_on_error=1}"
    export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
else
    PURFP_SANITIZE=0 scripts/build.sh
    cd build
fi
ctest --output-on-failure -j"$(nproc)" "${ctest_args[@]}"
