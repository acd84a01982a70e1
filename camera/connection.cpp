// Opening a camera, bringing it into the module's acquisition configuration, and closing it.
#include <cstdio>
#include <optional>

#include "camera/camera_list.h"
#include "camera/sdk/pixel_format.h"
#include "module/camera_module.h"
#include "module/framework/param_list.h"
#include "module/log/log.h"
#include "params/value_text.h"

namespace cam {

namespace {

constexpr char kConnect[] = "CCameraModule::ConnectDevice";
constexpr char kSelect[] = "CCameraModule::SetDeviceValue";
constexpr char kClose[] = "CCameraModule::CloseCurCamera";
constexpr char kConnectByIp[] = "CCameraModule::ConnectCameraByIP";

// The selection that closes the camera.
constexpr std::string_view kNoSelection = "0";

constexpr std::uint32_t kTriggerModeOn = 1;
constexpr std::size_t kMaxAddressText = 16;

// Camera kinds; also the I/O line set of the kind.
constexpr std::int32_t kAreaScan = 1;
constexpr std::int32_t kRealTimeSeries = 2;
constexpr std::int32_t kLineScan = 3;

std::int32_t CameraKindOf(const CameraText& model) {
    if (model.StartsWith("KZ-LN")) {
        return kLineScan;
    }
    return model.StartsWith("KZ-RT") ? kRealTimeSeries : kAreaScan;
}

// "a.b.c.d" packed a<<24 | b<<16 | c<<8 | d.
std::optional<std::uint32_t> PackAddress(std::string_view text) {
    if (text.size() > kMaxAddressText) {
        return std::nullopt;
    }
    std::uint32_t address = 0;
    for (int field = 0; field < 4; ++field) {
        const auto end = text.find('.');
        if ((end == text.npos) != (field == 3)) {
            return std::nullopt;
        }
        const auto value = ParseInt(text.substr(0, end));
        if (!value || *value < 0 || *value > 255) {
            return std::nullopt;
        }
        address = address << 8 | static_cast<std::uint32_t>(*value);
        text.remove_prefix(end == text.npos ? text.size() : end + 1);
    }
    return address;
}

}  // namespace

bool CCameraModule::RefusedInFrameCallback(const char* function) const {
    if (!m_camera.InFrameCallback()) {
        return false;
    }
    CAM_LOG(kLogError, ModuleId(), function,
            "Refused from inside a frame's notice: the camera's stop would wait for it");
    return true;
}

void CCameraModule::CloseCurCamera() {
    const platform::LockGuard hold(m_connectionLock);
    const bool wasOpen = m_camera.IsOpen();
    const CameraText serial = m_serial.Get();
    m_camera.Close();
    GrabStartedEvent.Reset();
    if (wasOpen) {
        ReportCameraOff(kClose, serial);
    }
}

Status CCameraModule::ConnectDevice(const CameraDeviceInfo& record) try {
    const platform::LockGuard hold(m_connectionLock);
    if (record.transportType == 0) {
        return kNoTransportType;
    }
    CloseCurCamera();
    {
        const CMyCamera::Configuration configuration(m_camera);
        if (const Status status = OpenRecord(record, kConnect); status != kOk) {
            return status;
        }
        Configure(kConnect);
    }
    ReplaySavedParams();
    return kOk;
} catch (...) {
    return kOpenFailed;
}

Status CCameraModule::OpenRecord(const CameraDeviceInfo& record, const char* function) {
    if (const Status status = m_camera.Open(&record); status != kOk) {
        const CameraText serial(IdentityOf(record).serial);
        CAM_LOG(kLogError, ModuleId(), function, "(%s)Open failed, error code:%x", serial.c_str(),
                status);
        return status;
    }
    m_closedByUser.Set(false);
    if (!KnownTransport(record)) {
        CAM_LOG(kLogError, ModuleId(), function, "Open failed, camera protocol type not support");
        return kNoCamera;
    }
    m_transportType.Set(record.transportType);
    TakeIdentity(IdentityOf(record));
    return kOk;
}

void CCameraModule::TakeIdentity(const DeviceIdentity& identity) {
    m_serial.Set(identity.serial);
    m_manufacturer.Set(identity.manufacturer);
    m_model.Set(identity.model);
    m_camera.SetKey(identity.serial);
}

Status CCameraModule::SetDeviceValue(std::string_view value) try {
    if (RefusedInFrameCallback(kSelect)) {
        return kInvalid;
    }
    const platform::LockGuard hold(m_connectionLock);
    const std::string selection(SelectionOf(value));
    if (selection == kNoSelection) {
        CloseCurCamera();
        m_pendingSelection.Set("");
        m_closedByUser.Set(true);
    } else {
        if (m_devices.ActiveEmpty(m_bGenTL.Get()) && EnumDevices() != kOk) {
            return kOpenFailed;
        }
        if (const Status status = OpenSelected(selection); status != kOk) {
            return status;
        }
        ReplaySavedParams();
        ReconnectStopEvent.Set();
    }
    m_settings.connectedByIp.Set(false);
    return kOk;
} catch (...) {
    return kOpenFailed;
}

Status CCameraModule::RetryPendingSelection() {
    if (!m_camera.LockUnlessStopping(m_connectionLock)) {
        return kInvalid;
    }
    // Read under the lock: while this waited for it, the host may have made another choice.
    const platform::LockGuard hold(m_connectionLock, std::adopt_lock);
    return m_camera.IsOpen() ? kOk : SetDeviceValue(m_pendingSelection.Get().view());
}

Status CCameraModule::OpenSelected(std::string_view serial) {
    // The records are copied: a notice may make the host enumerate anew on this thread.
    std::optional<GenTLDeviceInfo> genTL;
    std::optional<CameraDeviceInfo> plain;
    if (m_bGenTL.Get()) {
        for (const GenTLDeviceInfo& record : m_devices.genTL) {
            if (IdentityOf(record).serial == serial) {
                genTL = record;
                break;
            }
        }
    } else {
        for (const CameraDeviceInfo& record : m_devices.plain) {
            if (HasSerial(record, serial)) {
                plain = record;
                break;
            }
        }
    }
    if (!genTL && !plain) {
        return kOpenFailed;
    }

    CloseCurCamera();
    const CMyCamera::Configuration configuration(m_camera);
    Status status = kOk;
    if (plain) {
        status = OpenRecord(*plain, kSelect);
    } else if (status = m_camera.Open(&*genTL); status == kOk) {
        m_closedByUser.Set(false);
        TakeIdentity(IdentityOf(*genTL));
    } else {
        CAM_LOG(kLogError, ModuleId(), kSelect, "(%s)Open failed, error code:%x",
                CameraText(serial).c_str(), status);
    }
    if (status != kOk) {
        if (!m_camera.IsOpen()) {
            m_pendingSelection.Set(serial);
        }
        return status;
    }
    Configure(kSelect);
    return kOk;
}

void CCameraModule::Configure(const char* function) {
    ReportCameraOn(function);
    m_settings.cameraMold.Set(CameraKindOf(m_model.Get()));
    m_camera.ReverseElecLevel(m_settings.cameraMold.Get(),
                              m_settings.ioEnableElectricalLevel.Get());
    LoadUserSet(function);
    ForgetWrittenValues();
    KeepHeartbeat(function);
    PublishCameraOnline(function);
    StopForConfiguration(function);
    SetTriggerModeOn(function);
    RegisterFrameCallBacks(function);
    if (const Status status =
            m_camera.RegisterEventCallBack("FrameStart", &CCameraModule::EventCallBack, this);
        status != kOk) {
        // Printed, not logged: hosts look for this one line on the console.
        std::printf("Register Event CallBack fail! nRet [0x%x]\n", status);
    }
    ReenterRealTimeMode();
    StartConfigured(function);
}

void CCameraModule::ConfigureByAddress(DeviceIdentity identity) {
    ForgetWrittenValues();
    char model[kCameraTextSize] = {};
    if (const Status status = m_camera.GetStringValue("DeviceModelName", model, sizeof model);
        status != kOk) {
        CAM_LOG(kLogError, ModuleId(), kConnectByIp,
                "KZ_CC_GetStringValue DeviceModelName failed, nRet %#x", status);
    }
    identity.model = model;
    TakeIdentity(identity);
    m_transportType.Set(KZ_TRANSPORT_GIGE);
    PublishCameraOnline(kConnectByIp);
    StopForConfiguration(kConnectByIp);
    for (const char* rate : {"AcquisitionFrameRateEnable", "AcquisitionLineRateEnable"}) {
        if (m_camera.SetBoolValue(rate, true) != kOk) {
            CAM_LOG(kLogError, ModuleId(), kConnectByIp, "(%s)Set %s failed\n",
                    m_serial.Get().c_str(), rate);
        }
    }
    if (m_camera.SetEnumValue("PixelFormat", pixel_format::kMono8) != kOk) {
        CAM_LOG(kLogError, ModuleId(), kConnectByIp, "(%s)Set PixelFormat failed\n",
                m_serial.Get().c_str());
    }
    SetTriggerModeOn(kConnectByIp);
    RegisterFrameCallBacks(kConnectByIp);
    ReenterRealTimeMode();
    StartConfigured(kConnectByIp);
}

// The camera always starts from its user set 1.
void CCameraModule::LoadUserSet(const char* function) {
    if (const Status status = m_camera.SetEnumValueByString("UserSetSelector", "UserSet1");
        status != kOk) {
        CAM_LOG(kLogError, ModuleId(), function,
                "Set UserSetSelector to UserSet1 failed, nRet:0x%x", status);
    } else if (const Status loaded = m_camera.SetCommandValue("UserSetLoad"); loaded != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "Set UserSetLoad failed, nRet:0x%x", loaded);
    }
}

// Writing the heartbeat's own value back makes the camera take it up for this connection.
void CCameraModule::KeepHeartbeat(const char* function) {
    static constexpr char kHeartbeat[] = "GevHeartbeatTimeout";
    KZIntValue timeout{};
    Status status = m_camera.GetIntValue(kHeartbeat, &timeout);
    const bool readable = status == kOk;
    if (readable && timeout.current != 0) {
        status = m_camera.SetIntValue(kHeartbeat, timeout.current);
    }
    if (status != kOk) {
        CAM_LOG(kLogError, ModuleId(), function,
                "KZ_CC_SetIntValue GevHeartbeatTimeout failed, nRet %#x.", status);
    }
    if (readable && timeout.current != 0) {
        CAM_LOG(kLogInfo, ModuleId(), function, "Set GevHeartbeatTimeout %d.",
                static_cast<int>(timeout.current));
    }
}

void CCameraModule::StopForConfiguration(const char* function) {
    if (m_camera.StopGrabbing() != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "(%s)StopGrabbing Error\n",
                m_serial.Get().c_str());
    }
    GrabStartedEvent.Reset();
}

void CCameraModule::SetTriggerModeOn(const char* function) {
    if (m_camera.SetEnumValue("TriggerMode", kTriggerModeOn) != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "(%s)Set TriggerMode failed\n",
                m_serial.Get().c_str());
    }
}

void CCameraModule::RegisterFrameCallBacks(const char* function) {
    if (m_camera.RegisterImageCallBack(&CCameraModule::ImageCallBack, this) != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "(%s)RegisterImageCallBack failed\n",
                m_serial.Get().c_str());
    }
    if (m_camera.RegisterExceptionCallBack(&CCameraModule::cbException, this) != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "(%s)RegisterExceptionCallBack failed\n",
                m_serial.Get().c_str());
    }
}

// A camera that was lost in real-time mode comes back in it.
void CCameraModule::ReenterRealTimeMode() {
    if (m_camera.InRealTimeMode()) {
        m_camera.EnterRealTimeMode();
        GrabStartedEvent.Reset();
    }
}

void CCameraModule::StartConfigured(const char* function) {
    if (const Status status = m_camera.StartGrabbing(); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "StartGrabbing failed\n, error code:%x", status);
    }
    ImageArrivedEvent.Set();
    GrabStartedEvent.Set();
    CAM_LOG(kLogError, ModuleId(), function, "Open success(%s)\n", m_serial.Get().c_str());
    m_pendingSelection.Set("");
}

void CCameraModule::ReplaySavedParams() {
    static constexpr auto kValueSize = static_cast<std::int32_t>(kFrameworkValueSize);
    const SavedData::Params params = m_savedData.GetParams();
    if (params == nullptr || m_replaying) {
        return;
    }
    // A replayed entry may open a camera in turn; that open replays nothing.
    m_replaying = true;
    const CameraText serial = m_serial.Get();
    for (const ModuleParamEntry& match : EntriesOf(*params)) {
        if (!EqualsIgnoringCase(FieldText(match.name), "SerialNumber") ||
            !EqualsIgnoringCase(FieldText(match.value), serial.view())) {
            continue;
        }
        for (const ModuleParamEntry& entry : EntriesOf(*params)) {
            const FixedText<kFrameworkNameSize> name(FieldText(entry.name));
            if (name.view() == "UseGenTL") {
                m_bGenTL.Set(!EqualsIgnoringCase(FieldText(entry.value), SwitchText(false)));
            } else if (!name.empty() && !EqualsIgnoringCase(name.view(), "CameraName")) {
                // A replay configures the camera that was opened; it never chooses another. What
                // has no name any more is left out for the same reason.
                static_cast<void>(SetParam(name.c_str(), entry.value, kValueSize));
            }
        }
    }
    m_replaying = false;
}

Status CCameraModule::ConnectCameraByIP() try {
    if (RefusedInFrameCallback(kConnectByIp)) {
        return kInvalid;
    }
    const platform::LockGuard hold(m_connectionLock);
    const auto cameraIp = m_settings.cameraIp.Get();
    const auto localIp = m_settings.localIp.Get();
    if (cameraIp.empty() || localIp.empty()) {
        return kInvalid;
    }
    CloseCurCamera();
    const auto cameraAddress = PackAddress(cameraIp.view());
    const auto localAddress = PackAddress(localIp.view());
    if (!cameraAddress || !localAddress) {
        CAM_LOG(kLogError, ModuleId(), kConnectByIp, "Bad address, camera [%s], local [%s]",
                cameraIp.c_str(), localIp.c_str());
        return kInvalid;
    }
    CameraDeviceInfo record{};
    record.transportType = KZ_TRANSPORT_GIGE;
    record.gige.currentIp = *cameraAddress;
    record.gige.netExportIp = *localAddress;

    const CMyCamera::Configuration configuration(m_camera);
    const Status opened = m_camera.Open(&record);
    m_closedByUser.Set(false);
    m_camera.ReverseElecLevel(m_settings.cameraMold.Get(),
                              m_settings.ioEnableElectricalLevel.Get());
    if (opened != kOk) {
        CAM_LOG(kLogError, ModuleId(), kConnectByIp, "(%s)Open failed, error code:%x",
                cameraIp.c_str(), opened);
        return opened;
    }
    ConfigureByAddress(IdentityOf(record));
    return kOk;
} catch (...) {
    return kOpenFailed;
}

}  // namespace cam
