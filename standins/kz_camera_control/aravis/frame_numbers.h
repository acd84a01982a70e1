// Which frames of a camera went by unseen, told from the numbers of those that were seen.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>

namespace kz {

struct FrameNumbers {
    // A number that is further behind than this is no late one: the camera counts anew.
    static constexpr std::size_t kLatest = 100;

    std::uint64_t newest = 0;     // 0: none yet; no camera gives a frame this number
    std::bitset<kLatest> unseen;  // [n]: the frame n before the newest
};

// Takes the next frame's number in. Returns how many more frames are missing for it: those it
// skipped, or -1 when it is a late one that had been counted as missing.
[[nodiscard]] std::int64_t CountUnseen(FrameNumbers& numbers, std::uint64_t number);

}  // namespace kz
