#include "pictures/picture.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace platform {
namespace {

// The upper 8 bits of a 16-bit sample.
std::uint8_t SampleAt(const PackedRow& row, std::size_t index) {
    if (row.bits == 8) {
        return row.bytes[index];
    }
    if (row.bits == 16) {
        std::uint16_t sample = 0;
        std::memcpy(&sample, row.bytes + index * sizeof(sample), sizeof(sample));
        return static_cast<std::uint8_t>(sample >> 8);
    }
    const std::size_t firstBit = index * row.bits;
    const std::size_t shift = 8 - row.bits - firstBit % 8;
    return static_cast<std::uint8_t>((row.bytes[firstBit / 8] >> shift) & ((1U << row.bits) - 1));
}

// The darkest value becomes 0, the lightest 255.
ChannelRule ScaleRule(std::uint32_t sample, std::uint32_t bits, bool zeroIsWhite = false) {
    ChannelRule rule{sample};
    const std::uint32_t lightest = (1U << std::min(bits, 8U)) - 1;
    for (std::uint32_t value = 0; value <= lightest; ++value) {
        const std::uint32_t scaled = value * 255 / lightest;
        rule.value[value] = static_cast<std::uint8_t>(zeroIsWhite ? 255 - scaled : scaled);
    }
    return rule;
}

}  // namespace

DecodedImage MakeImage(std::uint64_t width, std::uint64_t height, std::uint32_t channels,
                       std::uint64_t maxBytes) {
    constexpr std::uint64_t kLargestSide = std::numeric_limits<std::uint32_t>::max();
    if (width == 0 || height == 0 || width > kLargestSide || height > kLargestSide) {
        throw std::runtime_error("the picture has no usable size");
    }
    if (width * channels > maxBytes / height) {
        throw std::runtime_error("the picture is too large: " + std::to_string(width) + " x " +
                                 std::to_string(height) + " pixels");
    }
    DecodedImage image;
    image.width = static_cast<std::uint32_t>(width);
    image.height = static_cast<std::uint32_t>(height);
    image.channels = channels;
    image.pixels.resize(width * height * channels);
    return image;
}

std::vector<ChannelRule> GreyRules(std::uint32_t bits, bool zeroIsWhite) {
    return {ScaleRule(0, bits, zeroIsWhite)};
}

std::vector<ChannelRule> RgbRules(std::uint32_t bits) {
    return {ScaleRule(0, bits), ScaleRule(1, bits), ScaleRule(2, bits)};
}

std::vector<ChannelRule> PaletteRules(const std::vector<Colour>& palette) {
    std::vector<ChannelRule> rules(IsGrey(palette) ? 1 : 3);
    for (std::size_t channel = 0; channel < rules.size(); ++channel) {
        auto& value = rules[channel].value;
        for (std::size_t i = 0; i < std::min(palette.size(), value.size()); ++i) {
            value[i] = palette[i][channel];
        }
    }
    return rules;
}

bool IsGrey(const std::vector<Colour>& palette) {
    return std::all_of(palette.begin(), palette.end(), [](const Colour& colour) {
        return colour[0] == colour[1] && colour[1] == colour[2];
    });
}

void StoreChannel(DecodedImage& image, std::uint32_t channel, std::uint32_t column,
                  std::uint32_t row, std::uint32_t count, const PackedRow& packed,
                  const ChannelRule& rule) {
    const std::size_t first = std::size_t{row} * image.width + column;
    std::uint8_t* pixel = image.pixels.data() + first * image.channels + channel;
    std::size_t sample = rule.sample;
    for (std::uint32_t i = 0; i < count; ++i) {
        *pixel = rule.value[SampleAt(packed, sample)];
        pixel += image.channels;
        sample += packed.samplesPerPixel;
    }
}

}  // namespace platform
