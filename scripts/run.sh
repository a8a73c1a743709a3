#!/usr/bin/env bash
# Sets up the machine, builds, creates the demo database on SQLite and opens
# the invoice query through the host program.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh
data="${XDG_DATA_HOME:-$HOME/.local/share}/TamsorPurFP"
build/bin/purfp init --db "$data/demo.db" --demo --force
build/bin/purfp findInfo
