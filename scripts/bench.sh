#!/usr/bin/env bash
# Builds the release preset and prints the cost of the module: a line per figure, "name: value unit
# goal", once measured, and a table of all at the end. `bench.sh --markdown` prints only the table
# and the machine, as in docs/performance.md. `bench.sh NAME...` runs only these programs
# (frame_path_bench, host_bench, conversion_bench, gige_bench).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

markdown=
if [[ "${1:-}" == --markdown ]]; then
    markdown=yes
    shift
fi
programs=("$@")
((${#programs[@]})) || programs=(frame_path_bench host_bench conversion_bench gige_bench)
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
for program in "${programs[@]}"; do
    if grep -q "^$program:" <<<"$known"; then
        runnable+=("$program")
    else
        echo "bench.sh: $program is left out; it is not built here" >&2
    fi
done
((${#runnable[@]})) || exit 1
run_quietly cmake --build --preset "$preset" --target "${runnable[@]}"

figures=$build/figures.txt
: >"$figures"
failed=()
for program in "${runnable[@]}"; do
    if [[ -n "$markdown" ]]; then
        timeout "$bench_limit" "$build/bin/$program" >>"$figures" || failed+=("$program")
    else
        timeout "$bench_limit" "$build/bin/$program" | tee -a "$figures" || failed+=("$program")
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
