#include "pictures/image_decoder.h"

#include <cstddef>
#include <exception>
#include <fstream>
#include <new>
#include <stdexcept>
#include <string_view>

#include "pictures/picture.h"
#include "platform/path_text.h"

namespace platform {
namespace {

using namespace std::string_view_literals;

struct Signature {
    std::string_view bytes;
    PictureKind kind;
};

constexpr Signature kSignatures[] = {
    {"BM"sv, PictureKind::Bmp},
    {"\xFF\xD8\xFF"sv, PictureKind::Jpeg},
    {"\x89PNG\r\n\x1A\n"sv, PictureKind::Png},
    {"II*\0"sv, PictureKind::Tiff},
    {"MM\0*"sv, PictureKind::Tiff},
    {"II+\0"sv, PictureKind::Tiff},  // BigTIFF
    {"MM\0+"sv, PictureKind::Tiff},
};

// The header chunk of a PNG file always comes first.
constexpr std::size_t kPngColourType = 25;
constexpr char kPngGreyWithAlpha = 4;
constexpr std::size_t kHeaderSize = kPngColourType + 1;

std::string ReadHeader(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("the file cannot be opened");
    }
    std::string header(kHeaderSize, '\0');
    stream.read(header.data(), static_cast<std::streamsize>(header.size()));
    header.resize(static_cast<std::size_t>(stream.gcount()));
    return header;
}

PictureKind KindOf(std::string_view header) {
    for (const Signature& signature : kSignatures) {
        if (header.starts_with(signature.bytes)) {
            return signature.kind;
        }
    }
    throw std::runtime_error("the file is no BMP, JPEG, PNG or TIFF picture");
}

}  // namespace

std::optional<DecodedImage> DecodeImageFile(const std::string& path, std::uint64_t maxBytes,
                                            std::string& error) {
    try {
        PictureFile file;
        file.path = ToPath(path);
        const std::string header = ReadHeader(file.path);
        file.kind = KindOf(header);
        file.isGreyWithAlpha = file.kind == PictureKind::Png && header.size() == kHeaderSize &&
                               header[kPngColourType] == kPngGreyWithAlpha;
        file.maxBytes = maxBytes;
        return DecodePicture(file);
    } catch (const std::bad_alloc&) {
        error = "not enough memory for the picture";
    } catch (const std::exception& failure) {
        error = failure.what();
    }
    return std::nullopt;
}

}  // namespace platform
