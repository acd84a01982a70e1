#include "standins/kz_camera_control/frame_compression.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <span>

#include "camera/sdk/pixel_format.h"

namespace kz {
namespace {

using namespace pixel_format;

constexpr std::uint32_t kMagic = 0x31465A4B;  // "KZF1"
constexpr std::size_t kHeaderSize = 12;
constexpr std::size_t kLongestPacket = 128;
constexpr std::size_t kShortestRun = 3;  // a shorter one saves nothing within literal bytes
constexpr std::uint8_t kUnusedControl = 128;
constexpr unsigned kRunControl = 257;  // less the number of repetitions

std::uint32_t ReadWord(const std::uint8_t* bytes) {
    return bytes[0] | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

void WriteWord(std::uint8_t* bytes, std::uint32_t word) {
    for (unsigned i = 0; i < sizeof word; ++i) {
        bytes[i] = static_cast<std::uint8_t>(word >> (8 * i));
    }
}

// Distance back to the corresponding byte of the neighbouring pixel; defined for every pixel type.
std::size_t NeighbourDistance(std::uint32_t pixelType) {
    if (pixelType == kYUV422_8 || pixelType == kYUV422_8_UYVY) {
        return 4;
    }
    switch (BitsPerPixel(pixelType)) {
        case 12:  // two pixels
        case 24:
            return 3;
        case 16:
            return 2;
        default:
            return 1;
    }
}

class DifferenceView {
  public:
    DifferenceView(std::span<const std::uint8_t> pixels, std::size_t distance)
        : m_pixels(pixels), m_distance(distance) {}

    [[nodiscard]] std::size_t Size() const { return m_pixels.size(); }
    [[nodiscard]] std::uint8_t operator[](std::size_t i) const {
        const unsigned before = i < m_distance ? 0 : m_pixels[i - m_distance];
        return static_cast<std::uint8_t>(m_pixels[i] - before);
    }
    // The length of the run of equal bytes at `begin`, at most a packet.
    [[nodiscard]] std::size_t RunLength(std::size_t begin, std::size_t longest) const {
        const std::size_t end = std::min(Size(), begin + longest);
        std::size_t i = begin + 1;
        while (i < end && (*this)[i] == (*this)[begin]) {
            ++i;
        }
        return i - begin;
    }

  private:
    std::span<const std::uint8_t> m_pixels;
    std::size_t m_distance;
};

// Writes bytes in sequence; records and drops what no longer fits.
class Writer {
  public:
    explicit Writer(std::span<std::uint8_t> room) : m_room(room) {}

    void Put(std::uint8_t byte) {
        if (m_used < m_room.size()) {
            m_room[m_used++] = byte;
        } else {
            m_full = true;
        }
    }
    [[nodiscard]] std::optional<std::size_t> Used() const {
        return m_full ? std::nullopt : std::optional(m_used);
    }

  private:
    std::span<std::uint8_t> m_room;
    std::size_t m_used = 0;
    bool m_full = false;
};

std::size_t LiteralLength(const DifferenceView& differences, std::size_t begin) {
    const std::size_t end = std::min(differences.Size(), begin + kLongestPacket);
    std::size_t i = begin + 1;
    while (i < end && differences.RunLength(i, kShortestRun) < kShortestRun) {
        ++i;
    }
    return i - begin;
}

void Pack(const DifferenceView& differences, Writer& writer) {
    for (std::size_t i = 0; i < differences.Size();) {
        if (const std::size_t run = differences.RunLength(i, kLongestPacket); run >= kShortestRun) {
            writer.Put(static_cast<std::uint8_t>(kRunControl - run));
            writer.Put(differences[i]);
            i += run;
            continue;
        }
        const std::size_t end = i + LiteralLength(differences, i);
        writer.Put(static_cast<std::uint8_t>(end - i - 1));
        for (; i < end; ++i) {
            writer.Put(differences[i]);
        }
    }
}

// False when the packets end early, go beyond the frame or are none.
bool Unpack(std::span<const std::uint8_t> packets, std::span<std::uint8_t> frame) {
    while (!frame.empty()) {
        if (packets.size() < 2 || packets[0] == kUnusedControl) {
            return false;
        }
        const std::uint8_t control = packets[0];
        const bool isRun = control > kUnusedControl;
        const std::size_t count = isRun ? kRunControl - control : control + 1U;
        const std::size_t stored = isRun ? 1 : count;
        packets = packets.subspan(1);
        if (packets.size() < stored || frame.size() < count) {
            return false;
        }
        if (isRun) {
            std::fill_n(frame.begin(), count, packets[0]);
        } else {
            std::copy_n(packets.begin(), count, frame.begin());
        }
        packets = packets.subspan(stored);
        frame = frame.subspan(count);
    }
    return true;
}

}  // namespace

std::uint32_t CompressFrame(std::uint32_t pixelType, const std::uint8_t* pixels,
                            std::uint32_t length, std::uint8_t* destination,
                            std::uint32_t capacity) {
    if (pixels == nullptr || destination == nullptr || capacity < kHeaderSize) {
        return 0;
    }
    const std::uint32_t plainType = pixelType & ~kCompressedBit;
    WriteWord(destination, kMagic);
    WriteWord(destination + 4, plainType);
    WriteWord(destination + 8, length);
    Writer writer({destination + kHeaderSize, capacity - kHeaderSize});
    Pack(DifferenceView({pixels, length}, NeighbourDistance(plainType)), writer);
    const std::optional<std::size_t> used = writer.Used();
    return used ? static_cast<std::uint32_t>(kHeaderSize + *used) : 0;
}

Code DecompressFrame(HbDecodeParam& param) {
    param.decodedLength = 0;
    param.decodedPixelType = 0;
    if (param.source == nullptr || param.destination == nullptr) {
        return KZ_CC_E_PARAMETER;
    }
    const std::span source(param.source, param.sourceLength);
    if (source.size() < kHeaderSize) {
        return KZ_CC_E_NO_DATA;
    }
    if (ReadWord(source.data()) != kMagic) {
        return KZ_CC_E_NOT_SUPPORTED;
    }
    const std::uint32_t pixelType = ReadWord(source.data() + 4) & ~kCompressedBit;
    const std::uint32_t length = ReadWord(source.data() + 8);
    if (length > param.destinationCapacity) {
        return KZ_CC_E_RESOURCE;
    }
    const std::span frame(param.destination, length);
    if (!Unpack(source.subspan(kHeaderSize), frame)) {
        return KZ_CC_E_NO_DATA;
    }
    const std::size_t distance = NeighbourDistance(pixelType);
    for (std::size_t i = distance; i < frame.size(); ++i) {
        frame[i] = static_cast<std::uint8_t>(frame[i] + frame[i - distance]);
    }
    param.decodedLength = length;
    param.decodedPixelType = pixelType;
    return KZ_CC_OK;
}

}  // namespace kz
