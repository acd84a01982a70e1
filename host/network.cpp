#include "host/network.h"

#include <algorithm>

#include "host/text.h"

namespace host {

std::optional<NetworkCard> CardOf(std::uint32_t address) {
    const std::vector<NetworkCard> cards = NetworkCards();
    auto found = std::find_if(cards.begin(), cards.end(),
                              [&](const NetworkCard& card) { return card.address == address; });
    constexpr std::uint32_t kLoopback = 127U << 24;
    if (found == cards.end() && (address & 0xFF000000U) == kLoopback) {
        found = std::find_if(cards.begin(), cards.end(), [](const NetworkCard& card) {
            return (card.address & 0xFF000000U) == kLoopback;
        });
    }
    return found != cards.end() ? std::optional(*found) : std::nullopt;
}

std::optional<std::uint32_t> ParseAddress(std::string_view text) {
    const auto fields = SplitFields(text, '.');
    constexpr std::size_t kFields = 4;
    std::uint32_t address = 0;
    for (const std::string_view field : fields) {
        const auto number = ParseInteger(field);
        if (fields.size() != kFields || !number || *number < 0 || *number > 255) {
            return std::nullopt;
        }
        address = address << 8 | static_cast<std::uint32_t>(*number);
    }
    return address;
}

std::string AddressText(std::uint32_t address) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string(address >> shift & 0xFFU) + (shift > 0 ? "." : "");
    }
    return text;
}

}  // namespace host
