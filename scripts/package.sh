#!/usr/bin/env bash
# Makes the packages an integrator installs: dist/camera-module-<version>-win64.zip and the .tar.gz for
# Linux, of the same build type as is tested, each with library, headers, stand-ins, camera_host and pages.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/setup.sh test
log=$(mktemp)
trap 'rm -f "$log"' EXIT
shopt -s nullglob
for preset in windows linux; do
    build=build/package-$preset
    echo "Packing $preset ..."
    rm -rf "$build/package"
    if ! { cmake --preset "$preset" -B "$build" -DBUILD_TESTING=OFF &&
        cmake --build "$build" &&
        (cd "$build" && cpack -B package); } >"$log" 2>&1; then
        cat "$log" >&2
        exit 1
    fi
    packages=("$build"/package/camera-module-*.{zip,tar.gz})
    if ((${#packages[@]} != 1)); then
        echo "package.sh: one package should be in $build/package: ${packages[*]:-none}" >&2
        exit 1
    fi
    mkdir -p dist
    cp "${packages[0]}" dist/
done
ls -l dist
