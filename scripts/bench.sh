#!/usr/bin/env bash
# Builds the release preset and prints the cost of the module: a line per figure, "name: value unit
# goal", once measured, and a table of all at the end. `bench.sh --markdown` prints only the table
# and the machine, as in docs/performance.md. `bench.sh NAME...` runs only these programs
# (frame_path_bench, host_bench, conversion_bench, gige_bench, wine: the frame path of the Windows
# build).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

markdown=
if [[ "${1:-}" == --markdown ]]; then
    markdown=yes
    shift
fi
programs=("$@")
((${#programs[@]})) || programs=(frame_path_bench host_bench conversion_bench gige_bench wine)
bench_limit=900  # seconds a program may take

scripts/setup.sh bench >&2
# shellcheck source=scripts/build_and_test.sh
source scripts/build_and_test.sh
preset=linux-release
build=build/$preset
run_quietly cmake --preset "$preset"
# Not every program can be built everywhere: the one for real cameras needs
# Aravis.
known=$(cmake --build --preset "$preset" --target help)
runnable=()
targets=()
for program in "${programs[@]}"; do
    if [[ "$program" == wine ]]; then
        runnable+=("$program")
    elif grep -q "^$program:" <<<"$known"; then
        runnable+=("$program")
        targets+=("$program")
    else
        echo "bench.sh: $program is left out; it is not built here" >&2
    fi
done
((${#runnable[@]})) || exit 1
if ((${#targets[@]})); then
    run_quietly cmake --build --preset "$preset" --target "${targets[@]}"
fi

# Copies, look-ups and locks that are free cost the same under Wine as on Windows; waits and file
# mappings do not, so their figures are left out.
windows_build=build/mingw-release
build_for_windows() {
    run_quietly cmake --preset mingw -B "$windows_build" -DCMAKE_BUILD_TYPE=Release \
        -DCAMERA_MODULE_CHECK_LOCK_ORDER=OFF
    run_quietly cmake --build "$windows_build" --target frame_path_bench
    start_wine
}
run_under_wine() {
    timeout "$bench_limit" wine "$windows_build/bin/bench/frame_path_bench.exe" | tr -d '\r' |
        grep -E '^(intake\.[0-9]|keeping_up|cycle\.64)' | sed 's/^/wine./'
}

run() {
    if [[ "$1" == wine ]]; then
        build_for_windows && run_under_wine
    else
        timeout "$bench_limit" "$build/bin/$1"
    fi
}

figures=$build/figures.txt
: >"$figures"
failed=()
for program in "${runnable[@]}"; do
    if [[ -n "$markdown" ]]; then
        run "$program" >>"$figures" || failed+=("$program")
    else
        run "$program" | tee -a "$figures" || failed+=("$program")
    fi
done

# "name: value unit goal (spread)" to name, value, unit, goal, spread and whether the goal is met.
rows() {
    awk '{
        name = $1; sub(/:$/, "", name)
        unit = $3; gsub(/_/, " ", unit)
        goal = NF > 3 ? $4 : "-"
        spread = ""
        for (i = 5; i <= NF; ++i) spread = spread (i > 5 ? " " : "") $i
        gsub(/[()]/, "", spread)
        limit = substr(goal, 3) + 0
        met = goal ~ /^<=/ ? ($2 <= limit ? "yes" : "NO") : goal ~ /^>=/ ? ($2 >= limit ? "yes" : "NO") : "-"
        print name "|" $2 "|" unit "|" goal "|" met "|" spread
    }' "$figures"
}

header="figure|value|unit|goal|met|lowest to highest"
if [[ -n "$markdown" ]]; then
    echo "$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1), $(nproc) processors," \
        "$(sed -n 's/^MemTotal: *//p' /proc/meminfo) of memory, $(uname -sr);" \
        "$(c++ --version | head -n 1); load $(cut -d' ' -f1 /proc/loadavg)"
    echo
    echo "| ${header//|/ | } |"
    echo "|---|---|---|---|---|---|"
    rows | sed 's/|/ | /g; s/^/| /; s/$/ |/'
else
    echo
    { echo "$header" && rows; } | column -t -s '|'
fi
if ((${#failed[@]})); then
    echo "bench.sh: did not end well: ${failed[*]}" >&2
    exit 1
fi
