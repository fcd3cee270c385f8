#!/usr/bin/env bash
# Installs the Debian packages Kaitoro needs to build, test and run, and nothing when they are
# all present already. Sourced by run.sh and test.sh; works as root or through sudo, and
# without a terminal (CI).
set -euo pipefail

KAITORO_PACKAGES=(
    g++ cmake ninja-build pkg-config
    libgtest-dev libgmock-dev libbenchmark-dev
    libfreetype-dev fonts-liberation fonts-liberation2 fonts-noto-cjk
    qt6-base-dev libgl-dev xvfb xauth
    python3 libxml2-utils
    nlohmann-json3-dev
    libnetcdf-dev netcdf-bin ffmpeg python3-netcdf4 python3-xarray gdal-bin
    clang libclang-rt-14-dev
    libsqlite3-dev sqlite3 slurm-wlm munge
)

kaitoro_missing_packages() {
    local missing=()
    for p in "$@"; do
        if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
            missing+=("$p")
        fi
    done
    echo "${missing[@]:-}"
}

kaitoro_apt() {
    if [ "$(id -u)" -eq 0 ]; then
        DEBIAN_FRONTEND=noninteractive "$@"
    else
        sudo DEBIAN_FRONTEND=noninteractive "$@"
    fi
}

kaitoro_ensure_packages() {
    local missing
    missing=$(kaitoro_missing_packages "$@")
    if [ -n "${missing// /}" ]; then
        echo "Installing missing packages: $missing"
        kaitoro_apt apt-get update -qq
        # shellcheck disable=SC2086
        kaitoro_apt apt-get install -y -qq --no-install-recommends $missing
    fi
}

kaitoro_ensure_packages "${KAITORO_PACKAGES[@]}"
