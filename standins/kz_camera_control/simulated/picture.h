// The moving test picture of a simulated camera, in any of its pixel formats.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kz {

// A diagonal grey ramp, or colour bars, that move from frame to frame, with the frame number in
// digits near the upper left and, for programs, in the first four pixels (simulated_cameras.h).
//
// The pattern is rendered for a few phases before the acquisition; per frame only the strip with
// the number is redrawn, so that large fast cameras cost little.
class TestPicture {
  public:
    // Width and height are even, as the camera's features ensure.
    TestPicture(std::uint32_t width, std::uint32_t height, std::uint32_t pixelType);

    // The picture of one frame; valid until the next call. Empty when it cannot be compressed.
    [[nodiscard]] std::span<const std::uint8_t> Render(std::uint32_t frameNumber);

  private:
    void PaintPattern(std::uint32_t phase, std::uint8_t* destination) const;
    void PaintNumber(std::uint32_t frameNumber);
    void PaintPixel(std::uint32_t x, std::uint32_t y, std::uint8_t grey);
    void Pack(const std::uint8_t* painted, std::uint32_t rows, std::uint8_t* destination) const;

    std::uint32_t m_width;
    std::uint32_t m_height;
    std::uint32_t m_format;  // without the compressed bit
    bool m_compress;
    std::uint32_t m_channels;                           // of the painted picture: Mono8 or RGB8
    std::uint32_t m_digitSize;                          // pixels per dot of a digit
    std::uint32_t m_stripRows;                          // rows from the top that hold the number
    std::vector<std::vector<std::uint8_t>> m_pictures;  // one per phase, packed
    std::vector<std::vector<std::uint8_t>> m_strips;    // one per phase, painted, without number
    std::vector<std::uint8_t> m_strip;                  // the strip being numbered
    std::vector<std::uint8_t> m_compressed;
};

}  // namespace kz
