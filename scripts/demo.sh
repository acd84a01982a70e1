#!/usr/bin/env bash
# Grabs from a GigE Vision camera through the module: starts a camera process that speaks the
# protocol on the loopback interface, lists it, grabs 100 frames by software trigger and 100 as it
# sends them, and saves some as PNG. Leaves only the pictures behind.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=build/demo
pictures=$build/pictures
serial=DEMO0001
addresses=(127.0.0.1 127.0.0.2 127.0.0.3)
frames=100
save_every=20
camera_program=arv-fake-gv-camera-0.8

scratch=$(mktemp -d)
camera=
# Stops the camera by its process id, however the script ends.
stop_camera() {
    if [[ -n "$camera" ]]; then
        kill "$camera" 2>/dev/null || true
        wait "$camera" 2>/dev/null || true
        camera=
    fi
}

clean_up() {
    stop_camera
    rm -rf "$scratch"
}
trap clean_up EXIT
trap 'exit 130' INT TERM

quietly() {
    if ! "$@" >"$scratch/log" 2>&1; then
        cat "$scratch/log" >&2
        echo "demo.sh: failed: $*" >&2
        exit 1
    fi
}

shared_memory() { find /dev/shm -maxdepth 1 -name '*{*' -printf '%f\n' 2>/dev/null | sort; }

scripts/setup.sh demo
echo "Building ..."
quietly cmake --preset linux -B "$build" -DBUILD_TESTING=OFF
quietly cmake --build "$build" --target camera_host CameraModule
host=$build/bin/camera_host
shared_memory >"$scratch/before"

# start_camera ADDRESS: fails if the camera does not start, for example because its address is taken.
start_camera() {
    local address=$1
    command -v "$camera_program" >/dev/null || return 1
    "$camera_program" -i "$address" -s "$serial" >"$scratch/camera" 2>&1 &
    camera=$!
    local tries
    for ((tries = 0; tries < 20; ++tries)); do
        kill -0 "$camera" 2>/dev/null || break
        if "$host" list 2>/dev/null | grep -q "^$serial"; then
            return 0
        fi
        sleep 0.25
    done
    stop_camera
    return 1
}

options=(--camera "$serial")
for address in "${addresses[@]}"; do
    start_camera "$address" && break
done
if [[ -n "$camera" ]]; then
    echo "A GigE Vision camera runs in process $camera at $address."
    real=(list)
else
    echo "No GigE Vision camera could be started here; the cameras below are SIMULATED."
    options+=(--simulate "gige serial=$serial name=Demo")
    real=(list --simulate "gige serial=$serial name=Demo")
fi

rm -rf "$pictures"
echo
echo "Cameras that are found:"
"$host" "${real[@]}"
echo
echo "$frames frames, one software trigger each:"
"$host" grab "${options[@]}" --frames "$frames" --out "$pictures/on-request" --save-every "$save_every"
echo
echo "$frames frames as the camera sends them:"
"$host" grab "${options[@]}" --frames "$frames" --run-by-camera --out "$pictures/run-by-camera" \
    --save-every "$save_every"
echo

clean=yes
stop_camera
left_behind=$(comm -13 "$scratch/before" <(shared_memory))
if [[ -n "$left_behind" ]]; then
    echo "demo.sh: shared memory was left behind: $left_behind" >&2
    clean=no
fi
if [[ -n "$(jobs -rp)" ]]; then
    echo "demo.sh: processes still run: $(jobs -rp)" >&2
    clean=no
fi
[[ "$clean" == yes ]] || exit 1
picture=$(find "$PWD/$pictures" -name '*.png' | sort | head -n 1)
echo "The pictures are in $pictures; open for example $picture"
echo "No process and no shared memory is left behind."
