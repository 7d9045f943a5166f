#!/usr/bin/env bash
# Installs the Debian packages that the build, the tests and the benchmarks need.
# Only missing packages are installed; a machine that has them all is left alone.
set -euo pipefail

packages=(
    build-essential cmake pkg-config ccache
    juce-modules-source fst-dev fonts-lato
    libtinyxml2-dev zlib1g-dev libflac-dev
    libasound2-dev libjack-jackd2-dev libfreetype-dev libfontconfig1-dev
    libx11-dev libxcomposite-dev libxcursor-dev libxext-dev libxinerama-dev libxrandr-dev libxrender-dev
    libgl-dev lv2-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    clang-19 libclang-rt-19-dev
    xvfb xauth libxtst-dev x11-utils
    ardour
)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "Installing: ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
    sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
