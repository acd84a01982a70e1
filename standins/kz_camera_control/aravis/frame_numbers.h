// Determines which frames of a camera were missed, from the numbers of those received.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>

namespace kz {

struct FrameNumbers {
    // A number further back than this is not late: the camera has restarted its count.
    static constexpr std::size_t kLatest = 100;

    std::uint64_t newest = 0;     // 0: none yet; no camera gives a frame this number
    std::bitset<kLatest> unseen;  // [n]: the frame n before the newest
};

// Records the next frame's number. Returns how many more frames are missing: those it skipped, or
// -1 for a late frame that had been counted as missing.
[[nodiscard]] std::int64_t CountUnseen(FrameNumbers& numbers, std::uint64_t number);

}  // namespace kz
