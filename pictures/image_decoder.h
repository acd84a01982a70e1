// Still pictures from files: BMP, JPEG, PNG and TIFF.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform {

struct DecodedImage {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t channels = 0;        // 1: grey, 8 bit; 3: RGB, 8 bit each
    std::vector<std::uint8_t> pixels;  // rows top to bottom, no padding
};

// Grey pictures (including grey palettes and 16-bit greys) give one channel, all others three;
// 16-bit samples keep their upper 8 bits; transparency is dropped. Returns nothing, with the reason
// in `error`, for a file that is missing, broken, of another kind, or whose decoded size would
// exceed `maxBytes`. `path` as in file_system.h. Safe on any thread, several at once.
[[nodiscard]] std::optional<DecodedImage> DecodeImageFile(const std::string& path,
                                                          std::uint64_t maxBytes,
                                                          std::string& error);

}  // namespace platform
