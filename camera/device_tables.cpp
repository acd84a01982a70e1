#include "camera/device_tables.h"

#include <algorithm>

#include "base/text.h"

namespace cam {

DeviceIdentity IdentityOf(const GenTLDeviceInfo& record) {
    return {FieldText(record.serialNumber), FieldText(record.vendorName),
            FieldText(record.modelName), FieldText(record.userDefinedName)};
}

DeviceIdentity IdentityOf(const CameraDeviceInfo& record) {
    if (record.transportType == KZ_TRANSPORT_USB3) {
        return {FieldText(record.usb3.serialNumber), FieldText(record.usb3.manufacturerName),
                FieldText(record.usb3.modelName), FieldText(record.usb3.userDefinedName)};
    }
    return {FieldText(record.gige.serialNumber), FieldText(record.gige.manufacturerName),
            FieldText(record.gige.modelName), FieldText(record.gige.userDefinedName)};
}

bool KnownTransport(const CameraDeviceInfo& record) {
    return record.transportType == KZ_TRANSPORT_GIGE || record.transportType == KZ_TRANSPORT_USB3;
}

bool HasSerial(const CameraDeviceInfo& record, std::string_view serial) {
    // The other transport's field is often empty, and an empty serial number matches no camera.
    return !serial.empty() && (FieldText(record.gige.serialNumber) == serial ||
                               FieldText(record.usb3.serialNumber) == serial);
}

std::optional<CameraDeviceInfo> DeviceTables::FindPlain(std::string_view serial) const {
    const auto found =
        std::find_if(plain.begin(), plain.end(),
                     [&](const CameraDeviceInfo& record) { return HasSerial(record, serial); });
    return found != plain.end() ? std::optional(*found) : std::nullopt;
}

std::optional<GenTLDeviceInfo> DeviceTables::FindGenTL(std::string_view serial) const {
    const auto found = std::find_if(genTL.begin(), genTL.end(), [&](const GenTLDeviceInfo& record) {
        return IdentityOf(record).serial == serial;
    });
    return found != genTL.end() ? std::optional(*found) : std::nullopt;
}

}  // namespace cam
