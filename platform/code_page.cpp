#include "platform/code_page.h"

#include <cstddef>

namespace platform {
namespace {

struct Utf8Lead {
    std::size_t length = 0;           // of the whole sequence; 0: no lead byte
    unsigned char secondLow = 0x80;   // the range of the second byte excludes overlong forms,
    unsigned char secondHigh = 0xBF;  // surrogates and what lies beyond U+10FFFF
};

Utf8Lead ReadLead(unsigned char lead) noexcept {
    if (lead < 0x80) {
        return {1};
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return {2};
    }
    switch (lead) {
        case 0xE0:
            return {3, 0xA0, 0xBF};
        case 0xED:
            return {3, 0x80, 0x9F};
        case 0xF0:
            return {4, 0x90, 0xBF};
        case 0xF4:
            return {4, 0x80, 0x8F};
        default:
            break;
    }
    if (lead >= 0xE1 && lead <= 0xEF) {
        return {3};
    }
    if (lead >= 0xF1 && lead <= 0xF3) {
        return {4};
    }
    return {};
}

}  // namespace

bool IsValidUtf8(std::string_view text) noexcept {
    const auto byteAt = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    for (std::size_t i = 0; i < text.size();) {
        const Utf8Lead lead = ReadLead(byteAt(i));
        if (lead.length == 0 || text.size() - i < lead.length) {
            return false;
        }
        for (std::size_t k = 1; k < lead.length; ++k) {
            const unsigned char low = k == 1 ? lead.secondLow : 0x80;
            const unsigned char high = k == 1 ? lead.secondHigh : 0xBF;
            if (byteAt(i + k) < low || byteAt(i + k) > high) {
                return false;
            }
        }
        i += lead.length;
    }
    return true;
}

std::string AsUtf8(std::string_view text) {
    return IsValidUtf8(text) ? std::string(text) : SystemToUtf8(text);
}

}  // namespace platform
