#include <array>
#include <csetjmp>
#include <cstdio>
#include <memory>
#include <stdexcept>

// The library's header needs <cstdio>.
#include <jerror.h>
#include <jpeglib.h>

#include "pictures/linux/picture_decoders.h"

namespace platform {
namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// The library reports an error through a function that must not return. `base` comes first, because
// the library passes its address.
struct ErrorState {
    jpeg_error_mgr base{};
    std::jmp_buf leave{};
    std::array<char, JMSG_LENGTH_MAX> reason{};
    bool isCutShort = false;
};

ErrorState& StateOf(j_common_ptr info) {
    return *reinterpret_cast<ErrorState*>(info->err);
}

[[noreturn]] void Leave(j_common_ptr info) {
    ErrorState& state = StateOf(info);
    info->err->format_message(info, state.reason.data());
    std::longjmp(state.leave, 1);
}

// Most warnings are about bytes that a decoder skips; the one about the end of the file means that
// pixels are missing.
void NoteWarning(j_common_ptr info, int level) {
    if (level < 0 && info->err->msg_code == JWRN_JPEG_EOF) {
        StateOf(info).isCutShort = true;
    }
}

void StayQuiet(j_common_ptr) {}

class JpegReader {
  public:
    explicit JpegReader(const PictureFile& file)
        : m_maxBytes(file.maxBytes), m_file(std::fopen(file.path.c_str(), "rb")) {
        if (m_file == nullptr) {
            throw std::runtime_error("the file cannot be opened");
        }
        m_info.err = jpeg_std_error(&m_errors.base);
        m_errors.base.error_exit = &Leave;
        m_errors.base.emit_message = &NoteWarning;
        m_errors.base.output_message = &StayQuiet;
    }
    ~JpegReader() { jpeg_destroy_decompress(&m_info); }
    JpegReader(const JpegReader&) = delete;
    JpegReader& operator=(const JpegReader&) = delete;

    DecodedImage Decode() {
        Call([this] {
            jpeg_create_decompress(&m_info);
            jpeg_stdio_src(&m_info, m_file.get());
            jpeg_read_header(&m_info, TRUE);
        });
        const bool isGrey = m_info.jpeg_color_space == JCS_GRAYSCALE;
        const bool isInks =
            m_info.jpeg_color_space == JCS_CMYK || m_info.jpeg_color_space == JCS_YCCK;
        m_info.out_color_space = isGrey ? JCS_GRAYSCALE : isInks ? JCS_CMYK : JCS_RGB;
        DecodedImage image =
            MakeImage(m_info.image_width, m_info.image_height, isGrey ? 1 : 3, m_maxBytes);
        Call([this] { jpeg_start_decompress(&m_info); });
        const std::size_t rowBytes = std::size_t{image.width} * image.channels;
        std::vector<std::uint8_t> inks(isInks ? std::size_t{image.width} * 4 : 0);
        for (std::uint32_t y = 0; y < image.height; ++y) {
            std::uint8_t* const pixels = image.pixels.data() + rowBytes * y;
            JSAMPROW row = isInks ? inks.data() : pixels;
            Call([this, &row] { jpeg_read_scanlines(&m_info, &row, 1); });
            if (isInks) {
                StoreInks(inks, pixels);
            }
        }
        if (m_errors.isCutShort) {
            throw std::runtime_error("the file is cut short");
        }
        return image;
    }

  private:
    // Calls the library; its error becomes an exception here, outside its own stack frames. A step
    // must not hold objects with destructors.
    template <typename Step>
    void Call(Step step) {
        if (setjmp(m_errors.leave) != 0) {
            throw std::runtime_error(m_errors.reason.data());
        }
        step();
    }

    // Cyan, magenta, yellow and black. The programs that write such files store the inks inverted
    // and mark it; without the mark they are stored as they are.
    void StoreInks(const std::vector<std::uint8_t>& inks, std::uint8_t* pixels) const {
        const bool isInverted = m_info.saw_Adobe_marker;
        const auto light = [isInverted](std::uint8_t ink) { return isInverted ? ink : 255 - ink; };
        for (std::size_t i = 0; i < inks.size(); i += 4) {
            const int black = light(inks[i + 3]);
            for (std::size_t channel = 0; channel < 3; ++channel) {
                *pixels++ = static_cast<std::uint8_t>(light(inks[i + channel]) * black / 255);
            }
        }
    }

    std::uint64_t m_maxBytes;
    std::unique_ptr<std::FILE, FileCloser> m_file;
    ErrorState m_errors;
    jpeg_decompress_struct m_info{};
};

}  // namespace

DecodedImage DecodeJpeg(const PictureFile& file) {
    return JpegReader(file).Decode();
}

}  // namespace platform
