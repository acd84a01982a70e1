#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>

#include "pictures/linux/picture_decoders.h"

namespace platform {
namespace {

// What the library may allocate beyond the picture itself: tiles that extend past its edge, tables.
constexpr std::uint64_t kSlack = 16U << 20;

// Keeps the library's first error, which causes those that follow.
struct Reason {
    std::array<char, 256> text{};

    static int Keep(TIFF*, void* self, const char*, const char* format, va_list arguments) {
        auto& text = static_cast<Reason*>(self)->text;
        if (text[0] == '\0') {
            std::vsnprintf(text.data(), text.size(), format, arguments);
        }
        return 1;  // do not call the process's own handlers
    }
    static int Drop(TIFF*, void*, const char*, const char*, va_list) { return 1; }
};

struct Closer {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

// 16-bit colour with alpha takes eight bytes where the result takes three.
tmsize_t LargestBlock(std::uint64_t maxBytes) {
    constexpr std::uint64_t kLargest = std::numeric_limits<tmsize_t>::max();
    return static_cast<tmsize_t>(maxBytes > (kLargest - kSlack) / 8 ? kLargest
                                                                    : maxBytes * 8 + kSlack);
}

class TiffReader {
  public:
    explicit TiffReader(const PictureFile& file)
        : m_maxBytes(file.maxBytes), m_largestBlock(LargestBlock(file.maxBytes)) {
        const std::unique_ptr<TIFFOpenOptions, Closer> options(TIFFOpenOptionsAlloc());
        if (options == nullptr) {
            throw std::bad_alloc();
        }
        TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), m_largestBlock);
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), &Reason::Keep, &m_reason);
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), &Reason::Drop, nullptr);
        m_tiff.reset(TIFFOpenExt(file.path.c_str(), "r", options.get()));
        if (m_tiff == nullptr) {
            Fail();
        }
        m_width = Field<std::uint32_t>(TIFFTAG_IMAGEWIDTH);
        m_height = Field<std::uint32_t>(TIFFTAG_IMAGELENGTH);
        m_bits = Field<std::uint16_t>(TIFFTAG_BITSPERSAMPLE);
        m_samples = Field<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL);
        m_photometric = Field<std::uint16_t>(TIFFTAG_PHOTOMETRIC);
        m_isPlanar = Field<std::uint16_t>(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE;
    }

    DecodedImage Decode() {
        const std::vector<ChannelRule> rules = Rules();
        return rules.empty() ? DecodeByLibrary() : DecodeBlocks(rules);
    }

  private:
    [[noreturn]] void Fail() const {
        const bool told = m_reason.text[0] != '\0';
        throw std::runtime_error(told ? m_reason.text.data() : "the TIFF file is broken");
    }

    template <typename Value>
    [[nodiscard]] Value Field(std::uint32_t tag) const {
        Value value = 0;
        TIFFGetFieldDefaulted(m_tiff.get(), tag, &value);
        return value;
    }

    // How the plain layouts are read; none for the others, which the library converts as a whole.
    // It does not convert the plain ones, because it rounds 16-bit colours and darkens transparent
    // pixels.
    [[nodiscard]] std::vector<ChannelRule> Rules() const {
        const bool plainBits =
            m_bits == 1 || m_bits == 2 || m_bits == 4 || m_bits == 8 || m_bits == 16;
        if (!plainBits || Field<std::uint16_t>(TIFFTAG_SAMPLEFORMAT) != SAMPLEFORMAT_UINT) {
            return {};
        }
        switch (m_photometric) {
            case PHOTOMETRIC_MINISBLACK:
            case PHOTOMETRIC_MINISWHITE:
                return GreyRules(m_bits, m_photometric == PHOTOMETRIC_MINISWHITE);
            case PHOTOMETRIC_RGB:
                return m_samples >= 3 ? RgbRules(m_bits) : std::vector<ChannelRule>{};
            case PHOTOMETRIC_PALETTE:
                return m_bits <= 8 ? PaletteRules(Palette()) : std::vector<ChannelRule>{};
            default:
                return {};
        }
    }

    [[nodiscard]] std::vector<Colour> Palette() const {
        std::uint16_t* red = nullptr;
        std::uint16_t* green = nullptr;
        std::uint16_t* blue = nullptr;
        if (TIFFGetField(m_tiff.get(), TIFFTAG_COLORMAP, &red, &green, &blue) == 0) {
            Fail();
        }
        const auto upper = [](std::uint16_t value) {
            return static_cast<std::uint8_t>(value >> 8);
        };
        std::vector<Colour> palette(std::size_t{1} << m_bits);
        for (std::size_t i = 0; i < palette.size(); ++i) {
            palette[i] = {upper(red[i]), upper(green[i]), upper(blue[i])};
        }
        return palette;
    }

    // A picture is stored in blocks: tiles, or strips, which are as wide as the picture.
    DecodedImage DecodeBlocks(const std::vector<ChannelRule>& rules) {
        TIFF* const tiff = m_tiff.get();
        const auto channels = static_cast<std::uint32_t>(rules.size());
        DecodedImage image = MakeImage(m_width, m_height, channels, m_maxBytes);
        const bool tiled = TIFFIsTiled(tiff) != 0;
        const auto blockWidth = tiled ? Field<std::uint32_t>(TIFFTAG_TILEWIDTH) : m_width;
        const auto blockHeight = std::min(
            Field<std::uint32_t>(tiled ? TIFFTAG_TILELENGTH : TIFFTAG_ROWSPERSTRIP), m_height);
        const tmsize_t blockBytes = tiled ? TIFFTileSize(tiff) : TIFFStripSize(tiff);
        const tmsize_t rowBytes = tiled ? TIFFTileRowSize(tiff) : TIFFScanlineSize(tiff);
        if (blockWidth == 0 || blockHeight == 0 || rowBytes <= 0 || blockBytes <= 0 ||
            blockBytes > m_largestBlock) {
            Fail();
        }
        std::vector<std::uint8_t> block(static_cast<std::size_t>(blockBytes));

        for (std::uint32_t plane = 0; plane < (m_isPlanar ? channels : 1); ++plane) {
            for (std::uint64_t y = 0; y < m_height; y += blockHeight) {
                for (std::uint64_t x = 0; x < m_width; x += blockWidth) {
                    const auto column = static_cast<std::uint32_t>(x);
                    const auto row = static_cast<std::uint32_t>(y);
                    const std::uint32_t rows = std::min(blockHeight, m_height - row);
                    const std::uint32_t columns = std::min(blockWidth, m_width - column);
                    ReadBlock(tiled, column, row, plane, block, rowBytes * rows);
                    for (std::uint32_t i = 0; i < rows; ++i) {
                        StoreRow(image, column, row + i, columns, plane,
                                 block.data() + static_cast<std::size_t>(rowBytes) * i, rules);
                    }
                }
            }
        }
        return image;
    }

    void ReadBlock(bool tiled, std::uint32_t column, std::uint32_t row, std::uint32_t plane,
                   std::vector<std::uint8_t>& block, tmsize_t needed) {
        TIFF* const tiff = m_tiff.get();
        const auto sample = static_cast<std::uint16_t>(plane);
        const auto size = static_cast<tmsize_t>(block.size());
        const tmsize_t read =
            tiled ? TIFFReadEncodedTile(tiff, TIFFComputeTile(tiff, column, row, 0, sample),
                                        block.data(), size)
                  : TIFFReadEncodedStrip(tiff, TIFFComputeStrip(tiff, row, sample), block.data(),
                                         size);
        if (read < needed || needed > size) {
            Fail();
        }
    }

    void StoreRow(DecodedImage& image, std::uint32_t column, std::uint32_t row, std::uint32_t count,
                  std::uint32_t plane, const std::uint8_t* bytes,
                  const std::vector<ChannelRule>& rules) const {
        if (!m_isPlanar) {
            for (std::uint32_t channel = 0; channel < image.channels; ++channel) {
                StoreChannel(image, channel, column, row, count, {bytes, m_bits, m_samples},
                             rules[channel]);
            }
            return;
        }
        for (std::uint32_t channel = 0; channel < image.channels; ++channel) {
            if (rules[channel].sample == plane) {
                StoreChannel(image, channel, column, row, count, {bytes, m_bits, 1},
                             {0, rules[channel].value});
            }
        }
    }

    DecodedImage DecodeByLibrary() {
        TIFF* const tiff = m_tiff.get();
        std::array<char, 1024> reason{};  // the size that the library requires
        if (TIFFRGBAImageOK(tiff, reason.data()) == 0) {
            throw std::runtime_error(reason.data());
        }
        DecodedImage image = MakeImage(m_width, m_height, 3, m_maxBytes);
        std::vector<std::uint32_t> raster(std::size_t{m_width} * m_height);
        // Requested in its stored orientation, so that nothing is rotated.
        const int stored = Field<std::uint16_t>(TIFFTAG_ORIENTATION);
        constexpr int kStopAtErrors = 1;
        if (TIFFReadRGBAImageOriented(tiff, m_width, m_height, raster.data(), stored,
                                      kStopAtErrors) == 0) {
            Fail();
        }
        std::uint8_t* out = image.pixels.data();
        for (const std::uint32_t pixel : raster) {
            *out++ = static_cast<std::uint8_t>(TIFFGetR(pixel));
            *out++ = static_cast<std::uint8_t>(TIFFGetG(pixel));
            *out++ = static_cast<std::uint8_t>(TIFFGetB(pixel));
        }
        return image;
    }

    std::uint64_t m_maxBytes;
    tmsize_t m_largestBlock;
    Reason m_reason;
    std::unique_ptr<TIFF, Closer> m_tiff;
    std::uint32_t m_width = 0;
    std::uint32_t m_height = 0;
    std::uint16_t m_bits = 0;
    std::uint16_t m_samples = 0;
    std::uint16_t m_photometric = 0;
    bool m_isPlanar = false;
};

}  // namespace

DecodedImage DecodeTiff(const PictureFile& file) {
    return TiffReader(file).Decode();
}

}  // namespace platform
