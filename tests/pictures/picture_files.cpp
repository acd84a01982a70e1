#include "tests/pictures/picture_files.h"

#include <cstddef>
#include <cstdlib>

namespace platform::test {
namespace {

std::string Little(std::uint32_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) {
        text += static_cast<char>(value >> (8 * i));
    }
    return text;
}

std::string Big(std::uint32_t value, int bytes) {
    const std::string little = Little(value, bytes);
    return {little.rbegin(), little.rend()};
}

std::uint32_t Crc(const std::string& bytes) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320 : 0);
        }
    }
    return ~crc;
}

std::uint32_t Adler(const std::string& bytes) {
    std::uint32_t a = 1;
    std::uint32_t b = 0;
    for (const char byte : bytes) {
        a = (a + static_cast<std::uint8_t>(byte)) % 65521;
        b = (b + a) % 65521;
    }
    return b << 16 | a;
}

std::string PngChunk(const std::string& type, const std::string& data) {
    return Big(static_cast<std::uint32_t>(data.size()), 4) + type + data + Big(Crc(type + data), 4);
}

std::string JpegSegment(std::uint8_t marker, const std::string& data) {
    return std::string("\xFF") + static_cast<char>(marker) +
           Big(static_cast<std::uint32_t>(data.size() + 2), 2) + data;
}

}  // namespace

std::string Bmp(const BmpPicture& picture) {
    constexpr std::uint32_t kHeaders = 14 + 40;
    std::string palette;
    for (const Colour& colour : picture.palette) {
        palette += Little(colour[2], 1) + Little(colour[1], 1) + Little(colour[0], 2);
    }
    std::string pixels;
    for (std::string row : picture.rows) {
        row.resize((row.size() + 3) / 4 * 4);
        pixels = picture.topDown ? pixels + row : row + pixels;
    }
    const auto height = static_cast<std::int32_t>(picture.rows.size());
    const std::uint32_t offset = kHeaders + static_cast<std::uint32_t>(palette.size());
    return "BM" + Little(offset + static_cast<std::uint32_t>(pixels.size()), 4) + Little(0, 4) +
           Little(offset, 4) + Little(40, 4) + Little(picture.width, 4) +
           Little(static_cast<std::uint32_t>(picture.topDown ? -height : height), 4) +
           Little(1, 2) + Little(picture.bits, 2) + Little(0, 4) +
           Little(static_cast<std::uint32_t>(pixels.size()), 4) + Little(0, 4) + Little(0, 4) +
           Little(static_cast<std::uint32_t>(picture.palette.size()), 4) + Little(0, 4) + palette +
           pixels;
}

std::string Png(const PngPicture& picture) {
    std::string raw;
    for (const std::string& row : picture.rows) {
        raw += '\0' + row;  // no filter
    }
    const auto size = static_cast<std::uint32_t>(raw.size());
    const std::string stored =
        "\x78\x01\x01" + Little(size, 2) + Little(~size, 2) + raw + Big(Adler(raw), 4);
    std::string palette;
    for (const Colour& colour : picture.palette) {
        palette.append(colour.begin(), colour.end());
    }
    return "\x89PNG\r\n\x1A\n" +
           PngChunk("IHDR", Big(picture.width, 4) +
                                Big(static_cast<std::uint32_t>(picture.rows.size()), 4) +
                                Big(picture.bits, 1) + Big(picture.colourType, 1) + Big(0, 3)) +
           (palette.empty() ? "" : PngChunk("PLTE", palette)) +
           PngChunk("IDAT", picture.compressed.empty() ? stored : picture.compressed) +
           PngChunk("IEND", "");
}

std::string Jpeg(const std::vector<int>& levels, bool invertedInks) {
    const auto components = static_cast<std::uint32_t>(levels.size());
    std::string frame = Big(8, 1) + Big(8, 2) + Big(8, 2) + Big(components, 1);
    std::string scan = Big(components, 1);
    std::string bits;
    for (std::uint32_t i = 0; i < components; ++i) {
        frame += Big(i + 1, 1) + Big(0x11, 1) + Big(0, 1);
        scan += Big(i + 1, 1) + Big(0, 1);
        // Code 0 (seven bits follow), the seven bits of the level, code 0 (end of the block).
        const int level = levels[i] - 128;
        const int coded = level < 0 ? level + 127 : level;
        bits += '0';
        for (int bit = 6; bit >= 0; --bit) {
            bits += coded >> bit & 1 ? '1' : '0';
        }
        bits += '0';
    }
    scan += Big(0, 1) + Big(63, 1) + Big(0, 1);
    std::string data;
    for (; !bits.empty(); bits.erase(0, 8)) {
        bits.resize((bits.size() + 7) / 8 * 8, '1');
        data += static_cast<char>(std::strtol(bits.substr(0, 8).c_str(), nullptr, 2));
    }
    const std::string oneCodeOfOneBit = '\1' + std::string(15, '\0');
    // A constant block is its mean times eight.
    const std::string quantisation = std::string(64, '\x8');
    const std::string mark =
        invertedInks ? JpegSegment(0xEE, "Adobe" + Big(100, 2) + Big(0, 4) + Big(0, 1)) : "";
    return "\xFF\xD8" + mark + JpegSegment(0xDB, '\0' + quantisation) + JpegSegment(0xC0, frame) +
           JpegSegment(0xC4, '\0' + oneCodeOfOneBit + '\7') +
           JpegSegment(0xC4, '\x10' + oneCodeOfOneBit + '\0') + JpegSegment(0xDA, scan) + data +
           "\xFF\xD9";
}

std::string Tiff(const TiffPicture& picture) {
    constexpr std::uint32_t kHeader = 8;
    constexpr std::uint16_t kShort = 3;
    constexpr std::uint16_t kLong = 4;
    const auto number = picture.bigEndian ? &Big : &Little;
    std::string file;  // without the header
    std::string entries;
    std::uint32_t entryCount = 0;
    const auto append = [&file](const std::string& bytes) {
        const auto offset = static_cast<std::uint32_t>(file.size()) + kHeader;
        file += bytes;
        file.resize((file.size() + 1) / 2 * 2);
        return offset;
    };
    const auto add = [&](std::uint16_t tag, std::uint16_t type,
                         const std::vector<std::uint32_t>& values) {
        std::string bytes;
        for (const std::uint32_t value : values) {
            bytes += number(value, type == kShort ? 2 : 4);
        }
        if (bytes.size() > 4) {
            bytes = number(append(bytes), 4);
        }
        bytes.resize(4);
        entries += number(tag, 2) + number(type, 2) +
                   number(static_cast<std::uint32_t>(values.size()), 4) + bytes;
        ++entryCount;
    };
    std::vector<std::uint32_t> offsets;
    std::vector<std::uint32_t> sizes;
    for (const std::string& block : picture.blocks) {
        offsets.push_back(append(block));
        sizes.push_back(static_cast<std::uint32_t>(block.size()));
    }
    const bool tiled = picture.tileSide != 0;
    add(256, kLong, {picture.width});
    add(257, kLong, {picture.height});
    add(258, kShort, std::vector<std::uint32_t>(picture.samples, picture.bits));
    add(259, kShort, {1});  // not compressed
    add(262, kShort, {picture.photometric});
    if (!tiled) {
        add(273, kLong, offsets);
    }
    if (picture.orientation != 0) {
        add(274, kShort, {picture.orientation});
    }
    add(277, kShort, {picture.samples});
    if (!tiled) {
        add(278, kLong, {picture.rowsPerStrip != 0 ? picture.rowsPerStrip : picture.height});
        add(279, kLong, sizes);
    }
    add(284, kShort, {picture.planar});
    if (!picture.palette.empty()) {
        std::vector<std::uint32_t> map;
        for (std::size_t channel = 0; channel < 3; ++channel) {
            for (const Colour& colour : picture.palette) {
                map.push_back(colour[channel] * 256U + 127);  // the upper byte counts
            }
        }
        add(320, kShort, map);
    }
    if (tiled) {
        add(322, kLong, {picture.tileSide});
        add(323, kLong, {picture.tileSide});
        add(324, kLong, offsets);
        add(325, kLong, sizes);
    }
    if (picture.extraSample != 0) {
        add(338, kShort, {picture.extraSample});
    }
    const std::uint32_t directory = append("");
    return (picture.bigEndian ? "MM" : "II") + number(42, 2) + number(directory, 4) + file +
           number(entryCount, 2) + entries + number(0, 4);
}

}  // namespace platform::test
