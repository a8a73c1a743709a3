#!/usr/bin/env bash
# Sets up the machine, builds, and runs every test. The database tests run on
# SQLite, and also on PostgreSQL when PURFP_TEST_PG holds a connection string.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh
cd build
ctest --output-on-failure -j"$(nproc)" "$@"
