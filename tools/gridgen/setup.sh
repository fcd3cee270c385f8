#!/usr/bin/env bash
# Installs the tools and public data sets the grid generator reads: GMT with the full-resolution
# GSHHG shorelines, and Ferret's data sets, which carry the ETOPO5 relief. Installs nothing when
# they are all present; works as root or through sudo, without a terminal.
set -euo pipefail

GRIDGEN_PACKAGES=(gmt gmt-gshhg-full ferret-datasets g++)

gridgen_missing=()
for p in "${GRIDGEN_PACKAGES[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        gridgen_missing+=("$p")
    fi
done

if [ "${#gridgen_missing[@]}" -gt 0 ]; then
    echo "Installing: ${gridgen_missing[*]}"
    if [ "$(id -u)" -eq 0 ]; then SUDO=(); else SUDO=(sudo); fi
    "${SUDO[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq
    "${SUDO[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${gridgen_missing[@]}"
fi
