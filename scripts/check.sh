#!/usr/bin/env bash
# Checks beyond the tests: format, memory and thread errors, locks that are not held, the linter,
# and whether the packages can be made.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/setup.sh test
# shellcheck source=scripts/build_and_test.sh
source scripts/build_and_test.sh

failed=()
check() {
    local name=$1
    shift
    "$@" || failed+=("$name")
}

check_format() {
    echo "== format"
    git ls-files -z '*.cpp' '*.h' | xargs -0 -r clang-format --dry-run -Werror
}

check_rooms() {
    echo "== rooms"
    scripts/check_rooms.sh
}

# Thread-safety attributes need clang, as do warnings that g++ lacks.
check_locks() {
    echo "== linux-analysis"
    run_quietly cmake --preset linux-analysis -DBUILD_TESTING=OFF &&
        run_quietly cmake --build --preset linux-analysis
}

# One file per run: the check of va_list arguments misreports from the second file on.
check_lint() {
    echo "== clang-tidy"
    git ls-files -z 'module/*.cpp' 'params/*.cpp' 'imaging/*.cpp' 'camera/*.cpp' 'base/*.cpp' \
        'pictures/*.cpp' 'platform/*.cpp' 'standins/*.cpp' 'host/*.cpp' ':!*/windows/*' ':!*/mingw/*' |
        xargs -0 -r -n 1 -P "$(nproc)" clang-tidy --quiet -p build/linux-analysis \
            --warnings-as-errors='*' 2> >(grep -v 'warnings generated\.$' >&2)
}

check_packages() {
    echo "== packages"
    # The package for Linux is built in a way of its own, so a program from it runs, too.
    run_quietly scripts/package.sh &&
        run_quietly build/package/camera-module-*-linux-*/standins/camera_host \
            grab --simulate default --camera SIM0001 --frames 3
}

check format check_format
check rooms check_rooms
check linux-asan build_and_test linux-asan
check linux-tsan build_and_test linux-tsan
check linux-analysis check_locks
check clang-tidy check_lint
check packages check_packages

if ((${#failed[@]})); then
    echo "check.sh: FAILED: ${failed[*]}"
    exit 1
fi
echo "check.sh: all checks passed"
