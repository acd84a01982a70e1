#include "host/picture_files.h"

#include <zlib.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <system_error>
#include <vector>

#include "camera/sdk/pixel_format.h"
#include "host/exit_codes.h"
#include "host/files.h"

namespace host {
namespace {

using Bytes = std::span<const std::uint8_t>;

// The picture of a record: rows top to bottom, no padding.
struct Picture {
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t channels;  // 8 bits each
    Bytes pixels;

    [[nodiscard]] std::size_t RowSize() const { return std::size_t{width} * channels; }
};

std::optional<Picture> PictureOf(const cam::BufferNode& record) {
    std::uint32_t channels = 0;
    if (record.pixelType == pixel_format::kMono8) {
        channels = 1;
    } else if (record.pixelType == pixel_format::kRGB8) {
        channels = 3;
    }
    const std::uint64_t size = std::uint64_t{channels} * record.width * record.height;
    // A record that promises more than it holds is not read past its end.
    if (size == 0 || size > record.dataLength || record.data == nullptr) {
        return std::nullopt;
    }
    return Picture{record.width, record.height, channels,
                   Bytes(record.data, static_cast<std::size_t>(size))};
}

// Numbers into bytes, highest first (PNG) or lowest first (TIFF).
void PutBig(std::vector<std::uint8_t>& bytes, std::uint32_t number) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<std::uint8_t>(number >> shift));
    }
}

void PutLittle(std::vector<std::uint8_t>& bytes, std::uint32_t number, int size) {
    for (int i = 0; i < size; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
    }
}

// A file that is written in one go and removed where that fails.
class NewFile {
  public:
    explicit NewFile(std::filesystem::path path)
        : m_path(std::move(path)), m_partial(m_path), m_file(nullptr, &std::fclose) {
        m_partial += ".part";
        m_file.reset(OpenForWriting(m_partial));
        if (!m_file) {
            Fail();
        }
        // Pictures come in large pieces; another copy would only cost time.
        std::setvbuf(m_file.get(), nullptr, _IONBF, 0);
    }
    ~NewFile() {
        if (!m_complete) {
            m_file.reset();
            std::error_code ignored;
            std::filesystem::remove(m_partial, ignored);
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    void Write(Bytes bytes) {
        if (std::fwrite(bytes.data(), 1, bytes.size(), m_file.get()) != bytes.size()) {
            Fail();
        }
        m_size += bytes.size();
    }

    std::uint64_t Complete() {
        if (std::fclose(m_file.release()) != 0) {
            Fail();
        }
        std::error_code error;
        std::filesystem::rename(m_partial, m_path, error);
        if (error) {
            throw Failure("'" + PathText(m_path) + "' could not be written: " + error.message());
        }
        m_complete = true;
        return m_size;
    }

  private:
    [[noreturn]] void Fail() const {
        throw Failure("'" + PathText(m_path) +
                      "' could not be written: " + std::generic_category().message(errno));
    }

    std::filesystem::path m_path;
    std::filesystem::path m_partial;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_file;
    std::uint64_t m_size = 0;
    bool m_complete = false;
};

// PNG: signature, header, one chunk of deflated rows, end.
namespace png {

constexpr std::array<std::uint8_t, 8> kSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
constexpr std::uint8_t kBitsPerChannel = 8;
constexpr std::uint8_t kGrey = 0;
constexpr std::uint8_t kColour = 2;
constexpr std::uint8_t kDifferenceToRowAbove = 2;
constexpr int kFastest = 1;

std::vector<std::uint8_t> Chunk(const char* name, Bytes data) {
    std::vector<std::uint8_t> chunk;
    chunk.reserve(data.size() + 12);
    PutBig(chunk, static_cast<std::uint32_t>(data.size()));
    chunk.insert(chunk.end(), name, name + 4);
    chunk.insert(chunk.end(), data.begin(), data.end());
    const Bytes checked = Bytes(chunk).subspan(4);
    PutBig(chunk, static_cast<std::uint32_t>(crc32(crc32(0, nullptr, 0), checked.data(),
                                                   static_cast<uInt>(checked.size()))));
    return chunk;
}

// Each row, ahead of it the filter it has been through: the difference to the row above, which is
// small in most pictures and costs next to nothing.
std::vector<std::uint8_t> FilteredRows(const Picture& picture) {
    const std::size_t rowSize = picture.RowSize();
    std::vector<std::uint8_t> rows((rowSize + 1) * picture.height);
    const std::vector<std::uint8_t> nothing(rowSize, 0);
    const std::uint8_t* above = nothing.data();
    const std::uint8_t* row = picture.pixels.data();
    std::uint8_t* filtered = rows.data();
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        *filtered++ = kDifferenceToRowAbove;
        for (std::size_t x = 0; x < rowSize; ++x) {
            filtered[x] = static_cast<std::uint8_t>(row[x] - above[x]);
        }
        above = row;
        row += rowSize;
        filtered += rowSize;
    }
    return rows;
}

std::vector<std::uint8_t> Deflated(const std::vector<std::uint8_t>& rows) {
    uLongf size = compressBound(static_cast<uLong>(rows.size()));
    std::vector<std::uint8_t> deflated(size);
    if (compress2(deflated.data(), &size, rows.data(), static_cast<uLong>(rows.size()), kFastest) !=
        Z_OK) {
        throw std::bad_alloc();
    }
    deflated.resize(size);
    return deflated;
}

void Write(NewFile& file, const Picture& picture) {
    std::vector<std::uint8_t> header;
    PutBig(header, picture.width);
    PutBig(header, picture.height);
    header.insert(header.end(),
                  {kBitsPerChannel, picture.channels == 1 ? kGrey : kColour, 0, 0, 0});
    file.Write(kSignature);
    file.Write(Chunk("IHDR", header));
    file.Write(Chunk("IDAT", Deflated(FilteredRows(picture))));
    file.Write(Chunk("IEND", {}));
}

}  // namespace png

// TIFF: header and directory, then the pixels as they are.
namespace tiff {

constexpr int kShort = 3;
constexpr int kLong = 4;
constexpr std::uint32_t kPixelsAt = 256;
constexpr std::uint32_t kBitsAt = 248;  // of the three channels of a colour picture

struct Entry {
    std::uint32_t tag;
    int type;
    std::uint32_t count;
    std::uint32_t value;
};

void Write(NewFile& file, const Picture& picture) {
    const bool colour = picture.channels == 3;
    constexpr std::uint32_t kBits = 8;
    const Entry entries[] = {
        {256, kLong, 1, picture.width},
        {257, kLong, 1, picture.height},
        {258, kShort, picture.channels, colour ? kBitsAt : kBits},
        {259, kShort, 1, 1},                 // not compressed
        {262, kShort, 1, colour ? 2U : 1U},  // RGB, or 0 is black
        {273, kLong, 1, kPixelsAt},
        {277, kShort, 1, picture.channels},
        {278, kLong, 1, picture.height},  // one strip
        {279, kLong, 1, static_cast<std::uint32_t>(picture.pixels.size())},
    };
    std::vector<std::uint8_t> head = {'I', 'I', 42, 0, 8, 0, 0, 0};
    PutLittle(head, std::size(entries), 2);
    for (const Entry& entry : entries) {
        PutLittle(head, entry.tag, 2);
        PutLittle(head, static_cast<std::uint32_t>(entry.type), 2);
        PutLittle(head, entry.count, 4);
        PutLittle(head, entry.value, 4);
    }
    PutLittle(head, 0, 4);  // no further directory
    head.resize(kBitsAt, 0);
    for (int channel = 0; channel < 3; ++channel) {
        PutLittle(head, kBits, 2);
    }
    head.resize(kPixelsAt, 0);
    file.Write(head);
    file.Write(picture.pixels);
}

}  // namespace tiff

std::string DescriptionOf(const cam::BufferNode& record, const Picture& picture) {
    return "width=" + std::to_string(picture.width) + "\nheight=" + std::to_string(picture.height) +
           "\npixel_format=" + PixelTypeName(record.pixelType) +
           "\nbytes=" + std::to_string(picture.pixels.size()) +
           "\nframe_number=" + std::to_string(record.frameNumber) + "\n";
}

std::uint64_t WriteDescription(const std::string& text, const std::filesystem::path& path) {
    NewFile file(path);
    file.Write(Bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
    return file.Complete();
}

std::filesystem::path WithEnding(std::filesystem::path path, const char* ending) {
    return path += ending;
}

}  // namespace

std::optional<PictureFormat> ParsePictureFormat(std::string_view text) {
    for (const PictureFormat format :
         {PictureFormat::Png, PictureFormat::Tiff, PictureFormat::Raw}) {
        if (text == PictureFormatName(format)) {
            return format;
        }
    }
    return std::nullopt;
}

const char* PictureFormatName(PictureFormat format) {
    switch (format) {
        case PictureFormat::Png:
            return "png";
        case PictureFormat::Tiff:
            return "tiff";
        case PictureFormat::Raw:
            return "raw";
    }
    return "";
}

const char* PixelTypeName(std::uint32_t pixelType) {
    switch (pixelType) {
        case pixel_format::kMono8:
            return "Mono8";
        case pixel_format::kRGB8:
            return "RGB8";
        default:
            return "unknown";
    }
}

std::uint64_t WritePicture(const cam::BufferNode& record, PictureFormat format,
                           const std::filesystem::path& path) {
    const std::optional<Picture> picture = PictureOf(record);
    if (!picture) {
        throw Failure("'" + PathText(path) +
                      "' could not be written: the frame is neither Mono8 "
                      "nor RGB8, or not whole");
    }
    constexpr const char* kEndings[] = {".png", ".tif", ".raw"};
    NewFile file(WithEnding(path, kEndings[static_cast<std::size_t>(format)]));
    std::uint64_t description = 0;
    switch (format) {
        case PictureFormat::Png:
            png::Write(file, *picture);
            break;
        case PictureFormat::Tiff:
            tiff::Write(file, *picture);
            break;
        case PictureFormat::Raw:
            file.Write(picture->pixels);
            // First, so that every picture has one.
            description =
                WriteDescription(DescriptionOf(record, *picture), WithEnding(path, ".txt"));
            break;
    }
    return file.Complete() + description;
}

}  // namespace host
