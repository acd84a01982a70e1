#include "platform/code_page.h"

#include <iconv.h>
#include <langinfo.h>
#include <locale.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <new>

namespace platform {
namespace {

constexpr const char* kUtf8 = "UTF-8";

// Out of memory must not be mistaken for a missing locale or conversion.
void ThrowIfNoMemory() {
    if (errno == ENOMEM) {
        throw std::bad_alloc();
    }
}

// The character set of the user's locale, queried without setting it for the process, which is up
// to the host.
std::string FindSystemCharset() {
    constexpr const char* kDefault = "WINDOWS-1252";
    const locale_t locale = newlocale(LC_CTYPE_MASK, "", locale_t{});
    if (locale == locale_t{}) {
        ThrowIfNoMemory();
        return kDefault;
    }
    const std::string charset = nl_langinfo_l(CODESET, locale);
    freelocale(locale);
    constexpr std::string_view kAscii = "ANSI_X3.4-1968";
    return charset.empty() || charset == kUtf8 || charset == kAscii ? kDefault : charset;
}

const std::string& SystemCharset() {
    static const std::string charset = FindSystemCharset();
    return charset;
}

class Converter {
  public:
    Converter(const char* to, const char* from) : m_descriptor(iconv_open(to, from)) {
        if (!IsOpen()) {
            ThrowIfNoMemory();
        }
    }
    ~Converter() {
        if (IsOpen()) {
            iconv_close(m_descriptor);
        }
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    // Converts what it can and removes it from `text`; true when nothing is left.
    bool Convert(std::string_view& text, std::string& converted) {
        while (IsOpen() && !text.empty()) {
            std::array<char, 256> chunk;
            char* in = const_cast<char*>(text.data());
            std::size_t inLeft = text.size();
            char* out = chunk.data();
            std::size_t outLeft = chunk.size();
            const std::size_t result = iconv(m_descriptor, &in, &inLeft, &out, &outLeft);
            const bool stopped = result == static_cast<std::size_t>(-1) && errno != E2BIG;
            text.remove_prefix(text.size() - inLeft);
            converted.append(chunk.data(), chunk.size() - outLeft);
            if (stopped) {
                break;
            }
        }
        return text.empty();
    }

  private:
    [[nodiscard]] bool IsOpen() const { return m_descriptor != reinterpret_cast<iconv_t>(-1); }

    iconv_t m_descriptor;
};

bool IsContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

std::string ConvertMarked(std::string_view text, const char* to, const char* from,
                          bool fromIsUtf8) {
    std::string converted;
    Converter converter(to, from);
    while (!converter.Convert(text, converted)) {
        const bool isAscii = static_cast<unsigned char>(text.front()) < 0x80;
        converted += isAscii ? text.front() : '?';
        text.remove_prefix(1);
        while (fromIsUtf8 && !text.empty() && IsContinuation(text.front())) {
            text.remove_prefix(1);
        }
    }
    return converted;
}

}  // namespace

std::string SystemToUtf8(std::string_view text) {
    return ConvertMarked(text, kUtf8, SystemCharset().c_str(), false);
}

std::string Utf8ToSystem(std::string_view text) {
    return ConvertMarked(text, SystemCharset().c_str(), kUtf8, true);
}

}  // namespace platform
