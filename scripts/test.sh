#!/usr/bin/env bash
# Builds the module, the stand-ins, the host and the tests, and runs all tests: on Linux, and as
# Windows programs through Wine. `test.sh --quick`: on Linux only.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

presets=(linux mingw)
case "${1:-}" in
--quick) presets=(linux) ;;
"") ;;
*)
    echo "usage: test.sh [--quick]" >&2
    exit 2
    ;;
esac

scripts/setup.sh test
# shellcheck source=scripts/build_and_test.sh
source scripts/build_and_test.sh

failed=()
for preset in "${presets[@]}"; do
    build_and_test "$preset" || failed+=("$preset")
done
if ((${#failed[@]})); then
    echo "test.sh: FAILED: ${failed[*]}"
    exit 1
fi
echo "test.sh: all tests passed: ${presets[*]}"
