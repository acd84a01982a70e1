#include "camera/camera_list.h"

#include <algorithm>
#include <cstring>

#include "platform/code_page.h"

namespace cam {

namespace {

constexpr char kEntryEnd = '\r';

// Some cameras send user-defined names in UTF-8, others in the system's code page.
std::string UserNameAsUtf8(std::string_view name) {
    const bool beyondAscii = std::any_of(
        name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) > 127; });
    if (beyondAscii && platform::IsValidUtf8(name)) {
        return std::string(name);
    }
    return platform::SystemToUtf8(name);
}

std::string DisplayName(const DeviceIdentity& device) {
    if (!device.userName.empty()) {
        return WithoutEntryEnds(UserNameAsUtf8(device.userName));
    }
    return WithoutEntryEnds(device.manufacturer) + ' ' + WithoutEntryEnds(device.model);
}

bool SeenThroughAnotherCard(const CameraDeviceInfo* first, const CameraDeviceInfo* record) {
    return record->transportType != KZ_TRANSPORT_USB3 &&
           std::any_of(first, record, [&](const CameraDeviceInfo& earlier) {
               return std::strncmp(earlier.gige.serialNumber, record->gige.serialNumber,
                                   sizeof record->gige.serialNumber) == 0;
           });
}

}  // namespace

std::string WithoutEntryEnds(std::string_view text) {
    std::string result(text);
    for (std::size_t i = 0; i < result.size(); ++i) {
        if (result[i] == kEntryEnd) {
            result[i++] = ' ';
        }
    }
    return result;
}

std::string_view SelectionOf(std::string_view value) {
    const auto first = value.find('$');
    const auto second = first == value.npos ? value.npos : value.find('$', first + 1);
    return second == value.npos ? value : value.substr(first + 1, second - first - 1);
}

CameraList MakeCameraList(const DeviceTables& tables, bool useGenTL,
                          const std::string_view* connectedSerial) {
    std::string entries = "Close\r";
    int listed = 0;
    int selected = 0;
    const auto append = [&](const DeviceIdentity& device) {
        ++listed;
        entries += DisplayName(device) + " (" + WithoutEntryEnds(device.serial) + ")" + kEntryEnd;
        if (connectedSerial != nullptr && device.serial == *connectedSerial) {
            selected = listed;
        }
    };
    if (useGenTL) {
        for (const GenTLDeviceInfo& record : tables.genTL) {
            append(IdentityOf(record));
        }
    } else {
        for (const CameraDeviceInfo& record : tables.plain) {
            if (!SeenThroughAnotherCard(tables.plain.begin(), &record)) {
                append(IdentityOf(record));
            }
        }
    }
    entries.back() = '\0';
    const std::string serial(connectedSerial != nullptr ? *connectedSerial : "0");
    return {std::to_string(selected) + '$' + serial + "$$$$" + entries, selected != 0};
}

}  // namespace cam
