#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>

#include "pictures/linux/picture_decoders.h"

namespace platform {
namespace {

// A few compressed bytes can expand to gigabytes. The library allocates its memory here, with no
// block larger than the current picture justifies.
thread_local std::size_t t_largestBlock = 0;

void* Reallocate(void* block, std::size_t size) {
    return size > t_largestBlock ? nullptr : std::realloc(block, size);
}

}  // namespace
}  // namespace platform

#define STBI_MALLOC(size) platform::Reallocate(nullptr, size)
#define STBI_REALLOC(block, size) platform::Reallocate(block, size)
#define STBI_FREE(block) std::free(block)
#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_BMP
#define STBI_ONLY_PNG
#define STBI_NO_STDIO
#include <stb/stb_image.h>

namespace platform {
namespace {

// Reads a file and detects reads beyond its end: the library itself substitutes zeros.
class Source {
  public:
    explicit Source(const std::filesystem::path& path) : m_file(std::fopen(path.c_str(), "rb")) {
        if (m_file == nullptr) {
            throw std::runtime_error("the file cannot be opened");
        }
    }

    void SeekTo(std::uint64_t offset) {
        constexpr std::uint64_t kFarthest = std::numeric_limits<long>::max();
        if (offset > kFarthest || std::fseek(m_file.get(), static_cast<long>(offset), SEEK_SET)) {
            throw std::runtime_error("the file cannot be read");
        }
    }

    // All `size` bytes, or an exception.
    void Read(std::uint8_t* bytes, std::size_t size) {
        if (std::fread(bytes, 1, size, m_file.get()) != size) {
            throw std::runtime_error("the file is cut short");
        }
    }

    [[nodiscard]] bool RanOut() const { return m_ranOut; }

    static constexpr stbi_io_callbacks Callbacks() { return {&ReadSome, &Skip, &AtEnd}; }

  private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    static std::FILE* FileOf(void* source) { return static_cast<Source*>(source)->m_file.get(); }

    static int ReadSome(void* source, char* data, int size) {
        const std::size_t read =
            std::fread(data, 1, static_cast<std::size_t>(size), FileOf(source));
        if (read == 0 && size > 0) {
            static_cast<Source*>(source)->m_ranOut = true;
        }
        return static_cast<int>(read);
    }
    static void Skip(void* source, int distance) { std::fseek(FileOf(source), distance, SEEK_CUR); }
    static int AtEnd(void* source) { return std::feof(FileOf(source)); }

    std::unique_ptr<std::FILE, Closer> m_file;
    bool m_ranOut = false;
};

std::uint32_t LittleEndian(const std::uint8_t* bytes, int count) {
    std::uint32_t value = 0;
    for (int i = count - 1; i >= 0; --i) {
        value = value << 8 | bytes[i];
    }
    return value;
}

std::uint32_t BigEndian(const std::uint8_t* bytes) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
        value = value << 8 | bytes[i];
    }
    return value;
}

// The library delivers the colours of a palette picture, not the palette; the two functions below
// read the palette, to find out whether the colours are greys. Empty: the picture has none.
std::vector<Colour> ReadBmpPalette(Source& source) {
    constexpr std::uint32_t kFileHeader = 14;
    constexpr std::uint32_t kOldInfoHeader = 12;  // 16-bit sizes, 3-byte colours
    std::array<std::uint8_t, 30> header{};
    source.SeekTo(0);
    source.Read(header.data(), header.size());
    const std::uint32_t pixelOffset = LittleEndian(&header[10], 4);
    const std::uint32_t infoSize = LittleEndian(&header[kFileHeader], 4);
    const bool isOld = infoSize == kOldInfoHeader;
    const std::uint32_t bits = LittleEndian(&header[isOld ? 24 : 28], 2);
    const std::uint64_t paletteOffset = std::uint64_t{kFileHeader} + infoSize;
    if (bits > 8 || pixelOffset <= paletteOffset) {
        return {};
    }
    const std::size_t entrySize = isOld ? 3 : 4;
    const std::size_t entries =
        std::min<std::uint64_t>((pixelOffset - paletteOffset) / entrySize, 1U << bits);
    std::vector<std::uint8_t> bytes(entries * entrySize);
    source.SeekTo(paletteOffset);
    source.Read(bytes.data(), bytes.size());
    std::vector<Colour> palette(entries);
    for (std::size_t i = 0; i < entries; ++i) {
        const std::uint8_t* const entry = &bytes[i * entrySize];  // blue comes first
        palette[i] = {entry[2], entry[1], entry[0]};
    }
    return palette;
}

std::vector<Colour> ReadPngPalette(Source& source) {
    constexpr std::uint64_t kSignature = 8;
    constexpr std::uint64_t kChunkFrame = 12;  // length, type and check sum
    constexpr std::size_t kColourTypeInHeader = 9;
    constexpr std::uint8_t kColourTypePalette = 3;
    constexpr std::size_t kMostColours = 256;
    std::uint64_t offset = kSignature;
    for (;;) {
        std::array<std::uint8_t, 8> chunk{};
        source.SeekTo(offset);
        source.Read(chunk.data(), chunk.size());
        const std::uint32_t length = BigEndian(chunk.data());
        const auto is = [&chunk](const char* type) { return !std::memcmp(&chunk[4], type, 4); };
        if (is("IHDR")) {
            std::array<std::uint8_t, kColourTypeInHeader + 1> header{};
            source.Read(header.data(), header.size());
            if (header[kColourTypeInHeader] != kColourTypePalette) {
                return {};
            }
        } else if (is("PLTE")) {
            std::vector<Colour> palette(std::min<std::size_t>(length / 3, kMostColours));
            for (Colour& colour : palette) {
                source.Read(colour.data(), colour.size());
            }
            return palette;
        } else if (is("IDAT") || is("IEND")) {
            return {};
        }
        offset += kChunkFrame + length;
    }
}

std::vector<Colour> ReadPalette(const PictureFile& file) {
    Source source(file.path);
    return file.kind == PictureKind::Bmp ? ReadBmpPalette(source) : ReadPngPalette(source);
}

// The library may quote the offending bytes; only plain text is passed on.
[[noreturn]] void Fail() {
    const char* const told = stbi_failure_reason();
    const std::string reason = told != nullptr ? told : "";
    const bool isText =
        std::all_of(reason.begin(), reason.end(), [](char c) { return c >= ' ' && c <= '~'; });
    throw std::runtime_error(!reason.empty() && isText ? reason : "the picture is broken");
}

}  // namespace

DecodedImage DecodeBmpOrPng(const PictureFile& file) {
    constexpr std::size_t kTables = 1U << 20;
    const std::uint64_t fileSize = std::filesystem::file_size(file.path);
    constexpr stbi_io_callbacks kCallbacks = Source::Callbacks();
    t_largestBlock = kTables;
    int width = 0;
    int height = 0;
    int stored = 0;  // channels
    Source header(file.path);
    if (!stbi_info_from_callbacks(&kCallbacks, &header, &width, &height, &stored)) {
        Fail();
    }
    // A negative height marks a BMP file stored from top to bottom.
    const auto columns = std::uint64_t(std::abs(std::int64_t{width}));
    const auto rows = std::uint64_t(std::abs(std::int64_t{height}));
    if (columns > STBI_MAX_DIMENSIONS || rows > STBI_MAX_DIMENSIONS) {
        throw std::runtime_error("the picture is too large");
    }
    const std::vector<Colour> palette = ReadPalette(file);
    const bool isGrey = stored <= 2 || (!palette.empty() && IsGrey(palette));
    const std::uint32_t channels = isGrey ? 1 : 3;
    DecodedImage image = MakeImage(columns, rows, channels, file.maxBytes);

    // At most 8 bytes per pixel and a little more per row, in buffers that grow by doubling; the
    // compressed bytes are collected in such a block, too.
    constexpr std::uint64_t kBytesPerPixel = 16;
    t_largestBlock = kBytesPerPixel * (columns + 1) * (rows + 1) + 2 * fileSize + kTables;
    Source source(file.path);
    const std::unique_ptr<stbi_uc, decltype(&stbi_image_free)> pixels(
        stbi_load_from_callbacks(&kCallbacks, &source, &width, &height, &stored,
                                 static_cast<int>(channels)),
        &stbi_image_free);
    if (pixels == nullptr) {
        Fail();
    }
    if (source.RanOut()) {
        throw std::runtime_error("the file is cut short");
    }
    if (std::uint64_t(width) != columns || std::uint64_t(height) != rows) {
        throw std::runtime_error("the file has changed while it was read");
    }
    std::copy_n(pixels.get(), image.pixels.size(), image.pixels.begin());
    return image;
}

}  // namespace platform
