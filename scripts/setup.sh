#!/usr/bin/env bash
# Installs what is missing on a Debian machine: `setup.sh demo` what the demonstration needs,
# `setup.sh test` (the default) what building, testing and checking on both systems needs,
# `setup.sh bench` what the benchmarks compare the module with.
set -euo pipefail

# The pkg-config files of libaravis-dev require libusb and libxml2, which it does not install.
demo=(g++ cmake ninja-build pkg-config libaravis-dev libusb-1.0-0-dev libxml2-dev zlib1g-dev
    aravis-tools libstb-dev libtiff-dev libjpeg-dev libcli11-dev nlohmann-json3-dev)
test=("${demo[@]}" binutils googletest g++-mingw-w64-x86-64-posix libz-mingw-w64-dev wine wine64
    clang clang-format clang-tidy lld llvm libclang-rt-14-dev ccache)
bench=("${test[@]}" libbenchmark-dev libopencv-imgproc-dev libopencv-core-dev libyuv-dev
    bsdextrautils)

case "${1:-test}" in
demo) packages=("${demo[@]}") ;;
test) packages=("${test[@]}") ;;
bench) packages=("${bench[@]}") ;;
*)
    echo "usage: setup.sh [demo|test|bench]" >&2
    exit 2
    ;;
esac

if ! command -v dpkg-query >/dev/null; then
    echo "setup.sh: this is no Debian machine; install what corresponds to: ${packages[*]}" >&2
    exit 1
fi

missing=()
for package in "${packages[@]}"; do
    if [[ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" != installed ]]; then
        missing+=("$package")
    fi
done
if ((${#missing[@]} == 0)); then
    exit 0
fi

as_root=()
if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
        echo "setup.sh: as root, install: ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi

echo "setup.sh: installing ${missing[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
export DEBIAN_FRONTEND=noninteractive
if ! { "${as_root[@]}" apt-get update &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install --yes --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "setup.sh: the installation failed" >&2
    exit 1
fi
