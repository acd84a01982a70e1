#!/usr/bin/env bash
# Checks that includes follow the order of the rooms in docs/architecture.md (the block ```rooms).
# There, a line is a level: one or more folders, then their purpose, which may begin with a mark:
#   [boundary]  declares what others implement or call: includes boundary headers only
#   [apart]     includes only itself and the boundary headers
# A file belongs to the room that is the longest prefix of its path, and includes only files of its
# own room or of lower levels. Headers installed by cmake/install.cmake are boundary headers
# wherever they are. Only module/ includes camera_module.h.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

git ls-files --cached --others --exclude-standard -- '*.h' '*.cpp' | sort |
    xargs grep -HnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*[<"]' |
    awk '
    function fail(message) { print place ": " message; failed = 1 }
    function room_of(path,    prefix) {
        for (prefix = path; sub(/[^\/]*\/?$/, "", prefix);)
            if (prefix in level || prefix == "") return prefix
    }
    # "a/b/../c.h" -> "a/c.h"
    function plain(path) {
        while (sub(/[^\/]+\/\.\.\//, "", path)) {}
        return path
    }
    function exists(path,    line, found) {
        if (!(path in known)) {
            found = (getline line < path) >= 0
            close(path)
            known[path] = found
        }
        return known[path]
    }

    FILENAME == "docs/architecture.md" {
        if (/^```/) { in_block = /^```rooms$/; next }
        if (in_block) {
            ++levels
            for (i = 1; i <= NF && $i ~ /\/$/; ++i) {
                level[$i] = levels
                boundary[$i] = apart[$i] = 0
            }
            for (k = 1; k < i; ++k) {
                boundary[$k] = $i == "[boundary]"
                apart[$k] = $i == "[apart]"
            }
        }
        next
    }
    FILENAME == "cmake/install.cmake" {
        if (/foreach\(header/) in_headers = 1
        if (in_headers)
            for (i = 1; i <= NF; ++i)
                if (match($i, /[a-z_\/]+\.h/)) installed[substr($i, RSTART, RLENGTH)] = 1
        if (in_headers && /\)$/) in_headers = 0
        next
    }
    {
        split($0, field, ":")
        file = field[1]
        place = file ":" field[2]
        match($0, /[<"][^>"]+/)
        target = substr($0, RSTART + 1, RLENGTH - 1)
        beside = file
        sub(/[^\/]*$/, "", beside)
        beside = plain(beside target)
        if (exists(beside)) target = beside
        else if (!exists(target)) next  # not ours
        ++includes
        from = room_of(file)
        to = room_of(target)
        is_boundary = boundary[to] || target in installed
        if (from == "" || to == "") fail((from == "" ? file : target) " is in no room")
        else if (boundary[from] || file in installed) {
            if (!is_boundary) fail("a boundary header includes " target)
        } else if (apart[from]) {
            if (from != to && !is_boundary) fail(from " stands apart and includes " target)
        } else if (from != to && level[to] <= level[from])
            fail("runs up: " from " includes " target)
        if (target ~ /(^|\/)camera_module\.h$/ && from != "module/")
            fail("only module/ includes " target)
    }
    END {
        if (!levels || !includes) { print "check_rooms.sh: no rooms or no includes found"; exit 1 }
        exit failed
    }' docs/architecture.md cmake/install.cmake -
