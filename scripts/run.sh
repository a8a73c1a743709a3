#!/usr/bin/env bash
# Sets up the machine, builds and creates the demo database on SQLite. With
# a display it opens the invoice query through the host program; without one
# it runs the tour through the forms and prints where it saved its pictures,
# the exported list and the printed invoice.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh
data="${XDG_DATA_HOME:-$HOME/.local/share}/TamsorPurFP"
build/bin/purfp init --db "$data/demo.db" --demo --force
if [[ -n "${DISPLAY:-}" || -n "${WAYLAND_DISPLAY:-}" ]]; then
    build/bin/purfp findInfo
else
    build/bin/purfp tour --out "$data/tour"
fi
