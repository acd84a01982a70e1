// What the decoders of both systems share: the requested file, and the conversion of stored samples
// to the pixels of a DecodedImage. Failures throw std::runtime_error with the reason;
// DecodeImageFile catches it.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "pictures/image_decoder.h"

namespace platform {

enum class PictureKind { Bmp, Jpeg, Png, Tiff };

struct PictureFile {
    std::filesystem::path path;
    PictureKind kind = PictureKind::Bmp;
    bool isGreyWithAlpha = false;  // from the file's header: not every decoder reports it
    std::uint64_t maxBytes = 0;
};

// The system's decoder.
[[nodiscard]] DecodedImage DecodePicture(const PictureFile& file);

// A picture of that size with all pixels zero; throws when it would exceed `maxBytes`.
[[nodiscard]] DecodedImage MakeImage(std::uint64_t width, std::uint64_t height,
                                     std::uint32_t channels, std::uint64_t maxBytes);

// How one channel of the result is computed: which sample of the pixel, and the result for each
// value of that sample.
struct ChannelRule {
    std::uint32_t sample = 0;
    std::array<std::uint8_t, 256> value{};
};

using Colour = std::array<std::uint8_t, 3>;  // red, green, blue

// One rule per channel. `bits` per sample: 1, 2, 4, 8 or 16.
[[nodiscard]] std::vector<ChannelRule> GreyRules(std::uint32_t bits, bool zeroIsWhite = false);
[[nodiscard]] std::vector<ChannelRule> RgbRules(std::uint32_t bits);
[[nodiscard]] std::vector<ChannelRule> PaletteRules(const std::vector<Colour>& palette);

[[nodiscard]] bool IsGrey(const std::vector<Colour>& palette);

// A row of samples, packed without gaps from the highest bit on; 16-bit samples in native byte
// order.
struct PackedRow {
    const std::uint8_t* bytes = nullptr;
    std::uint32_t bits = 8;
    std::uint32_t samplesPerPixel = 1;
};

// Sets channel `channel` of the `count` pixels from `column` on in row `row` of the image.
void StoreChannel(DecodedImage& image, std::uint32_t channel, std::uint32_t column,
                  std::uint32_t row, std::uint32_t count, const PackedRow& packed,
                  const ChannelRule& rule);

}  // namespace platform
