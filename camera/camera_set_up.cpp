#include "camera/camera_set_up.h"

#include <cstdio>

#include "base/log.h"
#include "camera/sdk/pixel_format.h"

namespace cam {

namespace {

constexpr std::uint32_t kTriggerModeOn = 1;

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

}  // namespace

void CameraSetUp::Configure(const char* function) {
    m_notices.ReportCameraOn(function, Serial().view());
    m_settings.cameraMold.Set(CameraKindOf(m_identity.model.Get()));
    SetLines();
    LoadUserSet(function);
    KeepHeartbeat(function);
    m_notices.PublishCameraOnline(function);
    StopForConfiguration(function);
    SetTriggerModeOn(function);
    RegisterFrameCallBacks(function);
    RegisterEventCallBack();
    ReenterRealTimeMode();
    Start(function);
}

void CameraSetUp::ConfigureByAddress(const char* function, DeviceIdentity identity) {
    char model[kCameraTextSize] = {};
    if (const Status status = m_camera.GetStringValue("DeviceModelName", model, sizeof model);
        status != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), function,
                "KZ_CC_GetStringValue DeviceModelName failed, nRet %#x", status);
    }
    identity.model = model;
    m_identity.Take(identity);
    m_camera.SetKey(identity.serial);
    m_identity.transportType.Set(KZ_TRANSPORT_GIGE);
    m_notices.PublishCameraOnline(function);
    StopForConfiguration(function);
    for (const char* rate : {"AcquisitionFrameRateEnable", "AcquisitionLineRateEnable"}) {
        if (m_camera.SetBoolValue(rate, true) != kOk) {
            CAM_LOG(kLogError, m_notices.ModuleId(), function, "(%s)Set %s failed\n",
                    Serial().c_str(), rate);
        }
    }
    if (m_camera.SetEnumValue("PixelFormat", pixel_format::kMono8) != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), function, "(%s)Set PixelFormat failed\n",
                Serial().c_str());
    }
    SetTriggerModeOn(function);
    RegisterFrameCallBacks(function);
    ReenterRealTimeMode();
    Start(function);
}

// The camera always starts from its user set 1.
void CameraSetUp::LoadUserSet(const char* function) {
    if (const Status status = m_camera.SetEnumValueByString("UserSetSelector", "UserSet1");
        status != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), function,
                "Set UserSetSelector to UserSet1 failed, nRet:0x%x", status);
    } else if (const Status loaded = m_camera.SetCommandValue("UserSetLoad"); loaded != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), function, "Set UserSetLoad failed, nRet:0x%x",
                loaded);
    }
}

// Writing the heartbeat's present value back makes the camera apply it to this connection.
void CameraSetUp::KeepHeartbeat(const char* function) {
    static constexpr char kHeartbeat[] = "GevHeartbeatTimeout";
    KZIntValue timeout{};
    Status status = m_camera.GetIntValue(kHeartbeat, &timeout);
    const bool readable = status == kOk;
    if (readable && timeout.current != 0) {
        status = m_camera.SetIntValue(kHeartbeat, timeout.current);
    }
    if (status != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), function,
                "KZ_CC_SetIntValue GevHeartbeatTimeout failed, nRet %#x.", status);
    }
    if (readable && timeout.current != 0) {
        CAM_LOG(kLogInfo, m_notices.ModuleId(), function, "Set GevHeartbeatTimeout %d.",
                static_cast<int>(timeout.current));
    }
}

void CameraSetUp::StopForConfiguration(const char* function) {
    if (m_camera.StopGrabbing() != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), function, "(%s)StopGrabbing Error\n",
                Serial().c_str());
    }
    m_events.GrabStartedEvent.Reset();
}

void CameraSetUp::SetTriggerModeOn(const char* function) {
    if (m_camera.SetEnumValue("TriggerMode", kTriggerModeOn) != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), function, "(%s)Set TriggerMode failed\n",
                Serial().c_str());
    }
}

void CameraSetUp::RegisterFrameCallBacks(const char* function) {
    if (m_camera.RegisterImageCallBack(m_callbacks.image, m_callbacks.user) != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), function, "(%s)RegisterImageCallBack failed\n",
                Serial().c_str());
    }
    if (m_camera.RegisterExceptionCallBack(m_callbacks.exception, m_callbacks.user) != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), function, "(%s)RegisterExceptionCallBack failed\n",
                Serial().c_str());
    }
}

void CameraSetUp::RegisterEventCallBack() {
    if (const Status status =
            m_camera.RegisterEventCallBack("FrameStart", m_callbacks.event, m_callbacks.user);
        status != kOk) {
        // Printed, not logged: hosts look for this one line on the console.
        std::printf("Register Event CallBack fail! nRet [0x%x]\n", status);
    }
}

// A camera lost in real-time mode returns to it.
void CameraSetUp::ReenterRealTimeMode() {
    if (m_camera.InRealTimeMode()) {
        m_camera.EnterRealTimeMode();
        m_events.GrabStartedEvent.Reset();
    }
}

void CameraSetUp::Start(const char* function) {
    if (const Status status = m_camera.StartGrabbing(); status != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), function, "StartGrabbing failed\n, error code:%x",
                status);
    }
    m_events.ImageArrivedEvent.Set();
    m_events.GrabStartedEvent.Set();
    CAM_LOG(kLogError, m_notices.ModuleId(), function, "Open success(%s)\n", Serial().c_str());
}

void CameraSetUp::SetLines() {
    m_camera.ReverseElecLevel(m_settings.cameraMold.Get(),
                              m_settings.ioEnableElectricalLevel.Get());
}

}  // namespace cam
