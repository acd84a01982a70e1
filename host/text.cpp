#include "host/text.h"

#include <algorithm>
#include <cstdio>

#include "camera/sdk/kz_camera_control.h"
#include "module/framework/status_codes.h"
#include "standins/module_frame/module_frame_host.h"

namespace host {
namespace {

// Columns that a UTF-8 text takes, one for each character.
std::size_t Columns(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
    }));
}

const char* Meaning(std::uint32_t status) {
    switch (status) {
        case cam::kInvalid:
            return "not understood, or the operation failed";
        case cam::kNoResources:
            return "no resources";
        case cam::kNoImageFolder:
            return "no such folder, or it cannot be listed";
        case cam::kOpenFailed:
            return "no camera of that serial number, or it could not be looked for";
        case cam::kNoImage:
            return "no image to deliver";
        case cam::kNoCamera:
            return "no camera is open";
        case KZ_CC_E_NODE_RANGE:
            return "outside the feature's range";
        case KZ_CC_E_NODE_ACCESS:
            return "cannot be read or written now";
        case KZ_CC_E_NODE_TYPE:
            return "not of the feature's type";
        case KZ_CC_E_OPEN_REFUSED:
            return "another program has control of the camera";
        case KZ_CC_E_DEVICE_LOST:
            return "the camera does not answer";
        case kModuleFrameBadArgument:
            return "not accepted: too long, or empty";
        case kModuleFrameNoFile:
            return "the file cannot be read or written";
        default:
            return nullptr;
    }
}

}  // namespace

std::string Decimal(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

std::string StatusText(std::uint32_t status) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08X", status);
    const char* meaning = Meaning(status);
    return meaning == nullptr ? code : std::string(code) + " (" + meaning + ")";
}

std::vector<std::string_view> SplitFields(std::string_view text, char separator) {
    std::vector<std::string_view> fields;
    for (std::size_t end; (end = text.find(separator)) != std::string_view::npos;
         text.remove_prefix(end + 1)) {
        fields.push_back(text.substr(0, end));
    }
    fields.push_back(text);
    return fields;
}

std::string Shortened(std::string_view text, std::size_t length) {
    constexpr std::string_view kCut = "...";
    if (text.size() <= length) {
        return std::string(text);
    }
    return std::string(text.substr(0, length - kCut.size())).append(kCut);
}

std::string Table::Text(bool forTerminal) const {
    std::string text;
    std::vector<std::size_t> widths(m_heading.size(), 0);
    const auto widen = [&](const std::vector<std::string>& row) {
        for (std::size_t i = 0; i < row.size() && i < widths.size(); ++i) {
            widths[i] = std::max(widths[i], Columns(row[i]));
        }
    };
    const auto append = [&](const std::vector<std::string>& row) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            text += row[i];
            if (i + 1 < row.size()) {
                text += forTerminal ? std::string(widths[i] - Columns(row[i]) + 2, ' ') : "\t";
            }
        }
        text += '\n';
    };
    widen(m_heading);
    std::for_each(m_rows.begin(), m_rows.end(), widen);
    if (forTerminal) {
        append(m_heading);
    }
    std::for_each(m_rows.begin(), m_rows.end(), append);
    return text;
}

}  // namespace host
