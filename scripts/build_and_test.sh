# shellcheck shell=bash Shared by test.sh and check.sh; source it from the
# project's folder.

run_quietly() {
    local log
    log=$(mktemp)
    if ! "$@" >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        echo "failed: $*" >&2
        return 1
    fi
    rm -f "$log"
}

# The project's own Wine prefix, so that the user's is not touched; ended together with
# its programs.
start_wine() {
    export WINEPREFIX=$PWD/build/wine WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
    mkdir -p "$WINEPREFIX"
    trap stop_wine EXIT
    # One server for all tests: starting it costs more than most of them.
    wineserver -p
    run_quietly wineboot --init
}
stop_wine() { wineserver -k 2>/dev/null || true; }

sanitizer_report='(WARNING|ERROR): (Address|Leak|Thread)Sanitizer:|runtime error:'

# build_and_test PRESET: configures, builds and runs the tests; prints a line per test and the output
# of failures. The caller must have pipefail set.
build_and_test() {
    local preset=$1 status=0
    echo "== $preset"
    run_quietly cmake --preset "$preset" || return 1
    run_quietly cmake --build --preset "$preset" || return 1
    if [[ "$preset" == mingw ]]; then
        start_wine || return 1
    fi
    # Most tests mainly wait: for a camera, a time-out, another process. A test that fails in parallel
    # is run again alone, where no busy machine loses a camera's packets, and must pass there.
    # Sanitizer reports are not retried: a race that shows only in parallel is still a race.
    local log=build/$preset/beside_others.log
    ctest --preset "$preset" --parallel 4 --no-tests=error | tee "$log" |
        grep '% tests passed\| Test  *#' || status=1
    local all=build/$preset/Testing/Temporary/LastTest.log
    if grep -E "$sanitizer_report" "$all"; then
        echo "== $preset: a sanitizer reported the above (see $all)"
        status=1
    elif ((status)); then
        echo "== $preset: what failed (see $log), once more, one at a time"
        status=0
        ctest --preset "$preset" --rerun-failed --no-tests=error || status=1
    fi
    if [[ "$preset" == mingw ]]; then
        stop_wine
        trap - EXIT
    fi
    return "$status"
}
