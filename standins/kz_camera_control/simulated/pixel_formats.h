// The pixel formats that a simulated camera offers.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace kz {

struct NamedPixelFormat {
    std::string_view name;  // as in the PFNC
    std::uint32_t code;
    bool compressible;  // has a compressed variant
};

[[nodiscard]] std::span<const NamedPixelFormat> SimulatedPixelFormats();

// "Mono8" or, for the compressed variant, "Mono8:compressed". 0: no such format.
[[nodiscard]] std::uint32_t PixelFormatByName(std::string_view name);

// Appended to a format's name for its compressed variant.
inline constexpr std::string_view kCompressedSuffix = ":compressed";

[[nodiscard]] bool IsCompressed(std::uint32_t format);
[[nodiscard]] bool IsMono(std::uint32_t format);

}  // namespace kz
