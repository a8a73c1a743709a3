#!/usr/bin/env bash
# Installs the Debian packages the project needs, and nothing when all are
# there already. Safe to run again and again. With --coverage (or
# PURFP_COVERAGE=1) it also installs lcov, which only the coverage run needs.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/options.sh
if [ "${#other_args[@]}" -gt 0 ]; then
    echo "setup.sh: unknown option ${other_args[0]}" >&2
    exit 2
fi

packages=(
    build-essential cmake pkg-config
    qt6-base-dev qt6-base-dev-tools libqt6sql6-sqlite libqt6sql6-psql
    libsqlite3-dev libpq-dev libxlsxwriter-dev
    fonts-noto-cjk fonts-wqy-microhei fonts-arphic-uming poppler-utils libreoffice-calc-nogui
    postgresql
)
if [ "$coverage" = 1 ]; then
    packages+=(lcov)
fi

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "setup: installing ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then
    sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
