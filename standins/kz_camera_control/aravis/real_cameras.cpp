#include "standins/kz_camera_control/aravis/real_cameras.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "standins/kz_camera_control/aravis/camera_features.h"
#include "standins/kz_camera_control/aravis/feature_listing.h"
#include "standins/kz_camera_control/aravis/gvcp_inquiry.h"
#include "standins/kz_camera_control/aravis/real_camera.h"
#include "standins/kz_camera_control/aravis/spare_thread.h"

namespace kz {
namespace {

constexpr std::string_view kGigEProtocol = "GigEVision";
constexpr std::string_view kUsb3Protocol = "USB3Vision";

template <std::size_t Size>
void CopyText(char (&destination)[Size], const char* source) {
    destination[0] = '\0';
    if (source != nullptr) {
        std::strncat(destination, source, Size - 1);
    }
}

std::string_view SerialOf(const CameraDeviceInfo& record) {
    return record.transportType == KZ_TRANSPORT_USB3 ? record.usb3.serialNumber
                                                     : record.gige.serialNumber;
}

// The broadcast answer that Aravis cached, for a camera that did not answer again.
CameraDeviceInfo GigERecord(unsigned index, std::uint32_t cameraIp) {
    CameraDeviceInfo record{};
    record.transportType = KZ_TRANSPORT_GIGE;
    record.gige.currentIp = cameraIp;
    record.gige.netExportIp = LocalAddressTowards(cameraIp);
    CopyText(record.gige.manufacturerName, arv_get_device_vendor(index));
    CopyText(record.gige.modelName, arv_get_device_model(index));
    CopyText(record.gige.manufacturerInfo, arv_get_device_manufacturer_info(index));
    CopyText(record.gige.serialNumber, arv_get_device_serial_nbr(index));
    return record;
}

CameraDeviceInfo Usb3Record(unsigned index) {
    CameraDeviceInfo record{};
    record.transportType = KZ_TRANSPORT_USB3;
    CopyText(record.usb3.deviceGuid, arv_get_device_physical_id(index));
    CopyText(record.usb3.vendorName, arv_get_device_vendor(index));
    CopyText(record.usb3.manufacturerName, arv_get_device_vendor(index));
    CopyText(record.usb3.modelName, arv_get_device_model(index));
    CopyText(record.usb3.serialNumber, arv_get_device_serial_nbr(index));
    return record;
}

std::vector<CameraDeviceInfo> LookForCameras() {
    arv_update_device_list();
    std::vector<CameraDeviceInfo> found;
    for (unsigned index = 0; index < arv_get_n_devices(); ++index) {
        const std::string_view protocol = arv_get_device_protocol(index);
        if (protocol == kGigEProtocol) {
            const std::uint32_t cameraIp = ParseAddress(arv_get_device_address(index));
            found.push_back(AskGigECamera(cameraIp, 0).value_or(GigERecord(index, cameraIp)));
        } else if (protocol == kUsb3Protocol) {
            found.push_back(Usb3Record(index));
        }
    }
    return found;
}

const CameraDeviceInfo* FindSerial(const std::vector<CameraDeviceInfo>& records,
                                   std::uint32_t transportType, std::string_view serial) {
    const auto found = std::find_if(records.begin(), records.end(), [&](const auto& each) {
        return each.transportType == transportType && SerialOf(each) == serial;
    });
    return found != records.end() ? &*found : nullptr;
}

// The camera at the record's address, if it is the record's camera.
std::optional<CameraDeviceInfo> AskAtAddress(const CameraDeviceInfo& record) {
    const std::uint32_t nic = record.gige.netExportIp;
    std::optional<CameraDeviceInfo> answer =
        AskGigECamera(record.gige.currentIp, IsLocalAddress(nic) ? nic : 0);
    const std::string_view serial = SerialOf(record);
    if (answer && !serial.empty() && SerialOf(*answer) != serial) {
        answer.reset();
    }
    return answer;
}

GObjectPtr<GInetAddress> InetAddress(std::uint32_t ip) {
    return GObjectPtr<GInetAddress>(g_inet_address_new_from_string(FormatAddress(ip).c_str()));
}

Code OpenErrorCode(const GErrorHolder& error) {
    const Code code = CodeOf(error);
    return code == KZ_CC_E_NODE_ACCESS ? KZ_CC_E_OPEN_REFUSED
           : code == KZ_CC_OK          ? KZ_CC_E_RESOURCE
                                       : code;
}

}  // namespace

Code RealCameraSource::Enumerate(std::uint32_t transportMask,
                                 std::vector<CameraDeviceInfo>& found) {
    const std::lock_guard lock(m_mutex);
    m_seen = LookForCameras();
    std::copy_if(m_seen.begin(), m_seen.end(), std::back_inserter(found),
                 [&](const auto& record) { return (record.transportType & transportMask) != 0; });
    return KZ_CC_OK;
}

bool RealCameraSource::Knows(const CameraDeviceInfo& record) {
    const std::string_view serial = SerialOf(record);
    const bool gige = record.transportType == KZ_TRANSPORT_GIGE;
    if (serial.empty() && !gige) {
        return false;
    }
    const std::lock_guard lock(m_mutex);
    if (!serial.empty() && FindSerial(m_seen, record.transportType, serial) != nullptr) {
        return true;
    }
    if (gige && AskAtAddress(record)) {
        return true;
    }
    if (serial.empty()) {
        return false;
    }
    m_seen = LookForCameras();
    return FindSerial(m_seen, record.transportType, serial) != nullptr;
}

Code RealCameraSource::Open(const CameraDeviceInfo& record, std::uint32_t /*accessMode*/,
                            DeviceSink sink, std::unique_ptr<Device>& device) {
    if (!ThreadCanBeStarted()) {
        return KZ_CC_E_RESOURCE;
    }
    GObjectPtr<ArvDevice> opened;
    const Code code = record.transportType == KZ_TRANSPORT_USB3 ? OpenUsb3(record, opened)
                                                                : OpenGigE(record, opened);
    if (code == KZ_CC_OK) {
        device = std::make_unique<RealCamera>(std::move(opened), std::move(sink));
    }
    return code;
}

Code RealCameraSource::OpenGigE(const CameraDeviceInfo& record, GObjectPtr<ArvDevice>& device) {
    // At its old address, or by its serial number at a new one.
    std::optional<CameraDeviceInfo> camera = AskAtAddress(record);
    if (const std::string_view serial = SerialOf(record); !camera && !serial.empty()) {
        const std::lock_guard lock(m_mutex);
        const CameraDeviceInfo* seen = FindSerial(m_seen, KZ_TRANSPORT_GIGE, serial);
        if (seen != nullptr && seen->gige.currentIp != record.gige.currentIp) {
            camera = AskAtAddress(*seen);
        }
        if (!camera) {
            m_seen = LookForCameras();
            seen = FindSerial(m_seen, KZ_TRANSPORT_GIGE, serial);
            camera = seen != nullptr ? std::optional(*seen) : std::nullopt;
        }
    }
    // The card is checked because Aravis crashes on a missing one.
    if (!camera || !IsLocalAddress(camera->gige.netExportIp)) {
        return KZ_CC_E_DEVICE_LOST;
    }
    GErrorHolder error;
    device.reset(arv_gv_device_new(InetAddress(camera->gige.netExportIp).get(),
                                   InetAddress(camera->gige.currentIp).get(), error.Out()));
    if (!device) {
        return OpenErrorCode(error);
    }
    ArvGvDevice* const gige = ARV_GV_DEVICE(device.get());
    // Aravis silently opens a camera that another program controls.
    if (!arv_gv_device_is_controller(gige)) {
        device.reset();
        return KZ_CC_E_OPEN_REFUSED;
    }
    // The caller chooses the packet size.
    arv_gv_device_set_packet_size_adjustment(gige, ARV_GV_PACKET_SIZE_ADJUSTMENT_NEVER);
    return KZ_CC_OK;
}

Code RealCameraSource::OpenUsb3(const CameraDeviceInfo& record, GObjectPtr<ArvDevice>& device) {
    const std::lock_guard lock(m_mutex);
    arv_update_device_list();
    for (unsigned index = 0; index < arv_get_n_devices(); ++index) {
        if (arv_get_device_protocol(index) == kUsb3Protocol &&
            SerialOf(record) == arv_get_device_serial_nbr(index)) {
            GErrorHolder error;
            device.reset(arv_open_device(arv_get_device_id(index), error.Out()));
            return device ? KZ_CC_OK : OpenErrorCode(error);
        }
    }
    return KZ_CC_E_DEVICE_LOST;
}

CameraState RealCameraSource::StateOf(const CameraDeviceInfo& record) {
    if (record.transportType != KZ_TRANSPORT_GIGE) {
        return {};
    }
    return AskWhoControls(record.gige.currentIp);
}

Code RealCameraSource::DescribeBeside(const char* camera, const char* name,
                                      const FeatureVisitor& visit) {
    const std::uint32_t ip = ParseAddress(camera);
    std::optional<CameraDeviceInfo> gige = AskGigECamera(ip, 0);
    GObjectPtr<ArvDevice> device;
    if (!gige) {
        const std::lock_guard lock(m_mutex);
        m_seen = LookForCameras();
        const CameraDeviceInfo* const seen = FindSerial(m_seen, KZ_TRANSPORT_GIGE, camera);
        gige = seen != nullptr ? std::optional(*seen) : std::nullopt;
    }
    if (gige) {
        if (!IsLocalAddress(gige->gige.netExportIp)) {
            return KZ_CC_E_DEVICE_LOST;
        }
        GErrorHolder error;
        device.reset(arv_gv_device_new(InetAddress(gige->gige.netExportIp).get(),
                                       InetAddress(gige->gige.currentIp).get(), error.Out()));
        if (!device) {
            return OpenErrorCode(error);
        }
        // Aravis takes control of a camera that is free.
        if (arv_gv_device_is_controller(ARV_GV_DEVICE(device.get()))) {
            arv_gv_device_leave_control(ARV_GV_DEVICE(device.get()), error.Out());
        }
    } else {
        CameraDeviceInfo record{};
        record.transportType = KZ_TRANSPORT_USB3;
        CopyText(record.usb3.serialNumber, camera);
        if (const Code code = OpenUsb3(record, device); code != KZ_CC_OK) {
            return code;
        }
    }
    return DescribeFeatures(device.get(), name, visit);
}

std::unique_ptr<DeviceSource> MakeRealCameraSource() {
    return std::make_unique<RealCameraSource>();
}

}  // namespace kz
