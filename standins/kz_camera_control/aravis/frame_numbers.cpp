#include "standins/kz_camera_control/aravis/frame_numbers.h"

#include <algorithm>

namespace kz {
namespace {

constexpr auto kLatest = static_cast<std::int64_t>(FrameNumbers::kLatest);

// GigE Vision's 16-bit numbers run from 1 to 65535 and then wrap. Small numbers do not show whether
// a camera uses these or 64-bit ones.
constexpr std::uint64_t kShortNumbers = 65535;
// A small number after a large one: beyond this many skipped frames a restarted count is more
// likely than a loss across the wrap.
constexpr std::int64_t kLongestGapOverWrap = 1000;

// By how much `number` is newer than `newest`; negative: older.
std::int64_t Distance(std::uint64_t newest, std::uint64_t number) {
    constexpr auto kAround = static_cast<std::int64_t>(kShortNumbers);
    const auto distance = static_cast<std::int64_t>(number - newest);
    if (newest > kShortNumbers || number > kShortNumbers) {
        return distance;
    }
    if (distance + kAround <= kLongestGapOverWrap) {
        return distance + kAround;
    }
    return kAround - distance < kLatest ? distance - kAround : distance;
}

}  // namespace

std::int64_t CountUnseen(FrameNumbers& numbers, std::uint64_t number) {
    const std::int64_t distance = numbers.newest == 0 ? 0 : Distance(numbers.newest, number);
    if (numbers.newest == 0 || distance <= -kLatest) {
        numbers = {.newest = number, .unseen = {}};
        return 0;
    }
    if (distance <= 0) {
        const auto behind = static_cast<std::size_t>(-distance);
        const bool missed = numbers.unseen[behind];
        numbers.unseen[behind] = false;
        return missed ? -1 : 0;
    }
    // The skipped frames are 1 to distance - 1 before it.
    numbers.newest = number;
    numbers.unseen <<= static_cast<std::size_t>(distance);
    for (std::int64_t behind = 1; behind < std::min(distance, kLatest); ++behind) {
        numbers.unseen.set(static_cast<std::size_t>(behind));
    }
    return distance - 1;
}

}  // namespace kz
