#include "standins/kz_camera_control/simulated/camera_description.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <optional>
#include <set>

#include "camera/sdk/kz_camera_control.h"
#include "standins/kz_camera_control/simulated/pixel_formats.h"

namespace kz {
namespace {

constexpr std::uint32_t kFirstIp = 0x0A000002;     // 10.0.0.2, the next camera one higher
constexpr std::uint32_t kDefaultNic = 0x0A000001;  // 10.0.0.1
constexpr std::uint32_t kLargestSide = 65534;      // a frame reports its size in 16 bits
constexpr std::uint32_t kSmallestWidth = 16;
constexpr std::uint32_t kSmallestHeight = 2;

// Splits at line ends and semicolons outside double quotes; drops comments.
std::vector<std::string> SplitLines(std::string_view text) {
    std::vector<std::string> lines(1);
    bool quoted = false;
    bool comment = false;
    for (const char c : text) {
        if (c == '\n' || (c == ';' && !quoted && !comment)) {
            lines.emplace_back();
            quoted = comment = false;
            continue;
        }
        if (c == '"' && !comment) {
            quoted = !quoted;
        }
        if (c == '#' && !quoted) {
            comment = true;
        }
        if (!comment) {
            lines.back() += c;
        }
    }
    return lines;
}

// The fields of a line without their quotes; nothing when a quote is not closed.
std::optional<std::vector<std::string>> SplitFields(std::string_view line) {
    std::vector<std::string> fields;
    bool quoted = false;
    bool inField = false;
    for (const char c : line) {
        if (!quoted && (c == ' ' || c == '\t' || c == '\r')) {
            inField = false;
            continue;
        }
        if (!inField) {
            fields.emplace_back();
            inField = true;
        }
        if (c == '"') {
            quoted = !quoted;
        } else {
            fields.back() += c;
        }
    }
    if (quoted) {
        return std::nullopt;
    }
    return fields;
}

template <typename Number>
bool ParseNumber(std::string_view text, Number least, Number most, Number& value) {
    Number parsed{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (error != std::errc{} || end != text.data() + text.size() || !(parsed >= least) ||
        !(parsed <= most)) {
        return false;
    }
    value = parsed;
    return true;
}

bool ParseEven(std::string_view text, std::uint32_t least, std::uint32_t& value) {
    return ParseNumber(text, least, kLargestSide, value) && value % 2 == 0;
}

struct Field {
    std::string_view name;
    bool (*read)(std::string_view text, CameraDescription& camera);
};

constexpr auto kFields = std::to_array<Field>({
    {"serial",
     [](std::string_view text, CameraDescription& camera) {
         camera.serial = text;
         return !text.empty();
     }},
    {"model",
     [](std::string_view text, CameraDescription& camera) {
         camera.model = text;
         return true;
     }},
    {"maker",
     [](std::string_view text, CameraDescription& camera) {
         camera.maker = text;
         return true;
     }},
    {"name",
     [](std::string_view text, CameraDescription& camera) {
         camera.name = text;
         return true;
     }},
    {"ip",
     [](std::string_view text, CameraDescription& camera) { return ParseIp(text, camera.ip); }},
    {"nic",
     [](std::string_view text, CameraDescription& camera) { return ParseIp(text, camera.nic); }},
    {"width",
     [](std::string_view text, CameraDescription& camera) {
         return ParseEven(text, kSmallestWidth, camera.width);
     }},
    {"height",
     [](std::string_view text, CameraDescription& camera) {
         return ParseEven(text, kSmallestHeight, camera.height);
     }},
    {"format",
     [](std::string_view text, CameraDescription& camera) {
         camera.pixelFormat = PixelFormatByName(text);
         return camera.pixelFormat != 0;
     }},
    {"rate",
     [](std::string_view text, CameraDescription& camera) {
         return ParseNumber(text, 0.1F, 1000.0F, camera.rate);
     }},
    {"events",
     [](std::string_view text, CameraDescription& camera) {
         camera.events = text == "1";
         return text == "0" || text == "1";
     }},
    {"transport",
     [](std::string_view text, CameraDescription& camera) {
         return ParseNumber<std::uint32_t>(text, 1, UINT32_MAX, camera.transportType);
     }},
    {"interface",
     [](std::string_view text, CameraDescription& camera) {
         return ParseNumber<std::uint32_t>(text, 1, KZ_MAX_DEVICES, camera.interfaceNumber);
     }},
});

bool ParseKind(std::string_view word, CameraDescription& camera) {
    if (word == "gige") {
        camera.kind = CameraKind::GigE;
        camera.transportType = KZ_TRANSPORT_GIGE;
        camera.model = "KZ-SIM-G";
    } else if (word == "usb3") {
        camera.kind = CameraKind::Usb3;
        camera.transportType = KZ_TRANSPORT_USB3;
        camera.model = "KZ-SIM-U";
    } else if (word == "gentl") {
        camera.kind = CameraKind::GenTL;
        camera.model = "KZ-SIM-T";
    } else {
        return false;
    }
    return true;
}

// The texts must fit the device record of the kind, including their terminator, which only the
// serial number of a GigE Vision camera can omit.
bool FitsRecord(const CameraDescription& camera) {
    if (camera.kind != CameraKind::GigE) {
        constexpr std::size_t kText = sizeof(KZUsb3DeviceInfo::serialNumber);
        return std::max({camera.serial.size(), camera.model.size(), camera.maker.size(),
                         camera.name.size()}) < kText;
    }
    return camera.serial.size() <= sizeof(KZGigEDeviceInfo::serialNumber) &&
           camera.model.size() < sizeof(KZGigEDeviceInfo::modelName) &&
           camera.maker.size() < sizeof(KZGigEDeviceInfo::manufacturerName) &&
           camera.name.size() < sizeof(KZGigEDeviceInfo::userDefinedName);
}

// On failure `wrongWord` is the word at fault; otherwise empty.
bool ParseCamera(const std::vector<std::string>& fields, CameraDescription& camera,
                 std::string& wrongWord) {
    if (!ParseKind(fields.front(), camera)) {
        wrongWord = fields.front();
        return false;
    }
    for (std::size_t i = 1; i < fields.size(); ++i) {
        const std::string_view text = fields[i];
        const std::size_t equals = text.find('=');
        const auto field = std::ranges::find(kFields, text.substr(0, equals), &Field::name);
        if (equals == std::string_view::npos || field == kFields.end() ||
            !field->read(text.substr(equals + 1), camera)) {
            wrongWord = text;
            return false;
        }
    }
    return FitsRecord(camera);
}

void NumberTheUnnamed(std::vector<CameraDescription>& cameras) {
    std::set<std::string> taken;
    for (const CameraDescription& camera : cameras) {
        taken.insert(camera.serial);
    }
    unsigned serial = 0;
    std::uint32_t ip = kFirstIp;
    for (CameraDescription& camera : cameras) {
        while (camera.serial.empty()) {
            char text[16];
            std::snprintf(text, sizeof text, "SIM%04u", ++serial);
            if (taken.insert(text).second) {
                camera.serial = text;
            }
        }
        if (camera.ip == 0) {
            camera.ip = ip;
        }
        if (camera.nic == 0) {
            camera.nic = kDefaultNic;
        }
        ++ip;
    }
}

}  // namespace

bool ParseIp(std::string_view text, std::uint32_t& ip) {
    std::uint32_t parsed = 0;
    for (int part = 0; part < 4; ++part) {
        const std::size_t dot = part < 3 ? text.find('.') : text.size();
        std::uint32_t number = 0;
        if (dot == std::string_view::npos ||
            !ParseNumber<std::uint32_t>(text.substr(0, dot), 0, 255, number)) {
            return false;
        }
        parsed = parsed << 8 | number;
        text.remove_prefix(std::min(dot + 1, text.size()));
    }
    ip = parsed;
    return true;
}

ParsedDescription ParseCameraDescription(std::string_view text) {
    ParsedDescription parsed;
    std::uint32_t number = 0;
    for (const std::string& line : SplitLines(text)) {
        ++number;
        const auto fields = SplitFields(line);
        if (fields && fields->empty()) {
            continue;
        }
        CameraDescription camera;
        std::string wrongWord;
        if (!fields || !ParseCamera(*fields, camera, wrongWord) ||
            parsed.cameras.size() == KZ_MAX_DEVICES) {
            return {.cameras = {}, .wrongLine = number, .wrongWord = wrongWord};
        }
        parsed.cameras.push_back(std::move(camera));
    }
    NumberTheUnnamed(parsed.cameras);
    return parsed;
}

}  // namespace kz
