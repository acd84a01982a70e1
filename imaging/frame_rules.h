// How intake treats a frame, decided by its pixel format alone.
#pragma once

#include <cstdint>

namespace cam {

// The twelve mono formats, plain and compressed, that become Mono8; every other format, including
// Mono14 and the one- to four-bit mono formats, becomes RGB8.
[[nodiscard]] bool IsMonoFormat(std::uint32_t pixelType);
[[nodiscard]] std::uint32_t OutputFormatOf(std::uint32_t pixelType);

[[nodiscard]] bool IsCompressedFormat(std::uint32_t pixelType);

// Bytes per pixel reserved for the decoder. Single bits of the format's bits-per-pixel field are
// tested in the decoder's own order, so 12-bit packed and 24-bit formats get 1.
[[nodiscard]] std::uint32_t DecodedBytesPerPixel(std::uint32_t pixelType);

// In 64 bits, so that no claimed size overflows.
[[nodiscard]] constexpr std::uint64_t ImageBytes(std::uint32_t width, std::uint32_t height,
                                                 std::uint32_t bytesPerPixel) {
    return std::uint64_t{width} * height * bytesPerPixel;
}

}  // namespace cam
