#include "pictures/picture.h"

#include <windows.h>

#include <wincodec.h>
#include <wrl/client.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <stdexcept>

namespace platform {
namespace {

using Microsoft::WRL::ComPtr;

void Check(HRESULT result, const char* what) {
    if (FAILED(result)) {
        std::array<char, 128> text{};
        std::snprintf(text.data(), text.size(), "%s (0x%08lX)", what,
                      static_cast<unsigned long>(result));
        throw std::runtime_error(text.data());
    }
}

// COM for the calling thread while a picture is decoded. A thread that has initialised COM in
// another mode keeps that mode.
class ComSession {
  public:
    ComSession() : m_entered(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {}
    ~ComSession() {
        if (m_entered) {
            CoUninitialize();
        }
    }
    ComSession(const ComSession&) = delete;
    ComSession& operator=(const ComSession&) = delete;

  private:
    const bool m_entered;
};

// The pixel formats that are read as stored. The system converts all others to BGR; not these,
// because it would round 16-bit samples and lose that a picture is grey.
struct StoredFormat {
    const GUID& id;
    std::uint32_t bits;
    std::uint32_t samplesPerPixel;
    enum class Meaning { Palette, Grey, Rgb } meaning;
};

const StoredFormat* FindFormat(const GUID& id) {
    using enum StoredFormat::Meaning;
    static const StoredFormat formats[] = {
        {GUID_WICPixelFormat1bppIndexed, 1, 1, Palette},
        {GUID_WICPixelFormat2bppIndexed, 2, 1, Palette},
        {GUID_WICPixelFormat4bppIndexed, 4, 1, Palette},
        {GUID_WICPixelFormat8bppIndexed, 8, 1, Palette},
        {GUID_WICPixelFormatBlackWhite, 1, 1, Grey},
        {GUID_WICPixelFormat2bppGray, 2, 1, Grey},
        {GUID_WICPixelFormat4bppGray, 4, 1, Grey},
        {GUID_WICPixelFormat8bppGray, 8, 1, Grey},
        {GUID_WICPixelFormat16bppGray, 16, 1, Grey},
        {GUID_WICPixelFormat48bppRGB, 16, 3, Rgb},
        {GUID_WICPixelFormat64bppRGBA, 16, 4, Rgb},
    };
    const auto* const found =
        std::find_if(std::begin(formats), std::end(formats),
                     [&id](const StoredFormat& format) { return IsEqualGUID(format.id, id); });
    return found == std::end(formats) ? nullptr : found;
}

std::vector<Colour> ReadPalette(IWICImagingFactory& factory, IWICBitmapFrameDecode& frame) {
    ComPtr<IWICPalette> palette;
    Check(factory.CreatePalette(&palette), "no palette");
    Check(frame.CopyPalette(palette.Get()), "the palette cannot be read");
    UINT count = 0;
    Check(palette->GetColorCount(&count), "the palette cannot be read");
    std::vector<WICColor> colours(count);
    Check(palette->GetColors(count, colours.data(), &count), "the palette cannot be read");
    std::vector<Colour> converted;
    for (const WICColor colour : colours) {
        converted.push_back({static_cast<std::uint8_t>(colour >> 16),
                             static_cast<std::uint8_t>(colour >> 8),
                             static_cast<std::uint8_t>(colour)});
    }
    return converted;
}

// Processes the picture in bands, so that the system's form of it is never in memory as a whole.
void CopyPixels(IWICBitmapSource& source, const StoredFormat& format,
                const std::vector<ChannelRule>& rules, DecodedImage& image) {
    constexpr std::uint64_t kBandBytes = 4U << 20;
    const std::uint64_t stride =
        (std::uint64_t{image.width} * format.bits * format.samplesPerPixel + 7) / 8;
    const std::uint64_t bandRows = std::clamp<std::uint64_t>(kBandBytes / stride, 1, image.height);
    if (stride * bandRows > std::numeric_limits<INT>::max()) {
        throw std::runtime_error("the picture is too wide");
    }
    std::vector<std::uint8_t> band(stride * bandRows);
    for (std::uint64_t top = 0; top < image.height; top += bandRows) {
        const std::uint64_t rows = std::min(bandRows, image.height - top);
        const WICRect area{0, static_cast<INT>(top), static_cast<INT>(image.width),
                           static_cast<INT>(rows)};
        Check(source.CopyPixels(&area, static_cast<UINT>(stride), static_cast<UINT>(band.size()),
                                band.data()),
              "the pixels cannot be read");
        for (std::uint32_t row = 0; row < rows; ++row) {
            const PackedRow packed{band.data() + stride * row, format.bits, format.samplesPerPixel};
            for (std::uint32_t channel = 0; channel < image.channels; ++channel) {
                StoreChannel(image, channel, 0, static_cast<std::uint32_t>(top) + row, image.width,
                             packed, rules[channel]);
            }
        }
    }
}

std::vector<ChannelRule> RulesFor(const StoredFormat& format, IWICImagingFactory& factory,
                                  IWICBitmapFrameDecode& frame) {
    switch (format.meaning) {
        case StoredFormat::Meaning::Palette:
            return PaletteRules(ReadPalette(factory, frame));
        case StoredFormat::Meaning::Grey:
            return GreyRules(format.bits);
        case StoredFormat::Meaning::Rgb:
            break;
    }
    return RgbRules(format.bits);
}

}  // namespace

DecodedImage DecodePicture(const PictureFile& file) {
    const ComSession session;
    ComPtr<IWICImagingFactory> factory;
    Check(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                           IID_PPV_ARGS(&factory)),
          "the system's imaging component is missing");
    ComPtr<IWICBitmapDecoder> decoder;
    Check(factory->CreateDecoderFromFilename(file.path.c_str(), nullptr, GENERIC_READ,
                                             WICDecodeMetadataCacheOnDemand, &decoder),
          "the file cannot be decoded");
    ComPtr<IWICBitmapFrameDecode> frame;
    Check(decoder->GetFrame(0, &frame), "the file holds no picture");
    UINT width = 0;
    UINT height = 0;
    Check(frame->GetSize(&width, &height), "the picture has no size");
    WICPixelFormatGUID formatId{};
    Check(frame->GetPixelFormat(&formatId), "the picture has no pixel format");

    constexpr UINT kLargestSide = std::numeric_limits<INT>::max();
    if (width > kLargestSide || height > kLargestSide) {
        throw std::runtime_error("the picture is too large");
    }
    const StoredFormat bgr{GUID_WICPixelFormat24bppBGR, 8, 3, StoredFormat::Meaning::Rgb};
    ComPtr<IWICBitmapSource> source = frame;
    const StoredFormat* format = FindFormat(formatId);
    std::vector<ChannelRule> rules;
    if (format != nullptr) {
        rules = RulesFor(*format, *factory.Get(), *frame.Get());
    } else {
        format = &bgr;
        rules = RgbRules(format->bits);
        std::swap(rules[0].sample, rules[2].sample);
        Check(WICConvertBitmapSource(bgr.id, frame.Get(), &source),
              "the pixel format is not supported");
    }
    if (file.isGreyWithAlpha) {
        rules.resize(1);  // the system delivers it as colour: three equal channels
    }
    DecodedImage image =
        MakeImage(width, height, static_cast<std::uint32_t>(rules.size()), file.maxBytes);
    CopyPixels(*source.Get(), *format, rules, image);
    return image;
}

}  // namespace platform
