#!/usr/bin/env bash
# Makes the packages an integrator installs, with separate debug symbols: in dist/,
# camera-module-<version>-win64.zip and -win64-symbols.zip, and .tar.gz likewise for Linux.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/setup.sh test
# shellcheck source=scripts/build_and_test.sh
source scripts/build_and_test.sh

version=$(sed -n 's/^project(CameraModule VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
dist=$PWD/dist
stage=build/package
rm -rf "$stage"
mkdir -p "$dist"

# split_symbols PREFIX NAME: moves the symbols of each program and library of the package to a .debug
# file at the same path of the symbol package, and links to it by name.
split_symbols() {
    local prefix=$1 name=$2 file
    while IFS= read -r file; do
        local debug=$name-symbols/${file#"$name/"}.debug
        mkdir -p "$(dirname "$debug")"
        "${prefix}objcopy" --only-keep-debug "$file" "$debug"
        "${prefix}strip" --strip-unneeded "$file"
        "${prefix}objcopy" --add-gnu-debuglink="$debug" "$file"
    done < <(find "$name/module" "$name/standins" -type f ! -name '*.xml')
}

# pack PRESET SYSTEM TOOL_PREFIX LINK_TIME_OPTIMISATION ENDING TAR_FLAGS [TAR_OPTION...]
pack() {
    local preset=$1 name=camera-module-$version-$2 prefix=$3 lto=$4 ending=$5 flags=$6 package
    shift 6
    echo "Packing $name ..."
    run_quietly cmake --preset "$preset" -B "build/package-$preset" -DBUILD_TESTING=OFF \
        -DCAMERA_MODULE_CHECK_LOCK_ORDER=OFF -DCMAKE_INTERPROCEDURAL_OPTIMIZATION="$lto"
    run_quietly cmake --build "build/package-$preset"
    run_quietly cmake --install "build/package-$preset" --prefix "$stage/$name"
    cd "$stage"
    split_symbols "$prefix" "$name"
    for package in "$name" "$name-symbols"; do
        rm -f "$dist/$package.$ending"
        cmake -E tar "$flags" "$dist/$package.$ending" "$@" "$package"
    done
    cd - >/dev/null
}

# With MinGW's g++ 12, link-time optimisation truncates the addresses of some calls.
pack mingw win64 x86_64-w64-mingw32- OFF zip cf --format=zip
pack linux "linux-$(uname -m)" "" ON tar.gz czf
ls -l dist
