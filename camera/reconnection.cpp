// What happens when the SDK reports a camera lost, and how it comes back.
#include <chrono>

#include "camera/callback_gate.h"
#include "module/camera_module.h"
#include "module/log/log.h"

namespace cam {

namespace {

constexpr char kFrameStart[] = "FrameStart";
constexpr char kReconnect[] = "ReConnectDevice";
constexpr char kException[] = "cbException";

// What a change of the camera's source is told as.
constexpr char kCameraLost[] = "0";
constexpr char kCameraBack[] = "1";

constexpr std::chrono::milliseconds kFirstPause{50};
constexpr std::chrono::milliseconds kRetryPause{500};

}  // namespace

void CCameraModule::cbException(std::uint32_t messageType, void* user) {
    const CallbackGate::Entry entry(user);
    if (!entry) {
        return;
    }
    auto& module = *static_cast<CCameraModule*>(user);
    // Before anything that takes time: by then the host may have chosen another camera, or none.
    const std::uint32_t openId = module.m_camera.OpenId();
    CAM_LOG(kLogError, module.ModuleId(), kException, "(%s)Camera callback exception:(%x)",
            module.m_serial.Get().c_str(), messageType);
    if (messageType == KZ_EXCEPTION_DISCONNECTED) {
        module.HandleDisconnect(openId);
    }
}

void CCameraModule::HandleDisconnect(std::uint32_t openId) {
    if (openId == 0 || openId != m_camera.OpenId()) {
        // The host has closed this camera since, and was told so.
        return;
    }
    m_lossSeen.Set(openId);
    PublishCameraOffline(kException);
    ReportCameraOff(kException, m_serial.Get());
    StopLastReconnect();
    m_camera.DropLost(openId);
    ReportCameraSource(kException, kCameraLost);
    StartReconnect();
}

void CCameraModule::StartReconnect() {
    if (!m_thReconnect.Start()) {
        CAM_LOG(kLogError, ModuleId(), "CCameraModule::StartReconnect",
                "Reconnect thread not started, no resources");
    }
}

void CCameraModule::StopLastReconnect() {
    if (m_connectionLock.HeldByThisThread() || m_camera.InFrameCallback()) {
        // The host called back in from inside an open, or on the frame thread, which a stop waits
        // for. The thread may be waiting for the connection lock, so it is only asked to end; it
        // finds the camera open and does.
        m_thReconnect.RequestStop();
        return;
    }
    m_thReconnect.Stop();
}

void CCameraModule::ReConnectDevice() {
    using Clock = std::chrono::steady_clock;
    try {
        ReconnectStopEvent.Reset();
        ReconnectStopEvent.WaitFor(kFirstPause);
        const CameraText sought = SoughtSerial();
        const Clock::time_point start = Clock::now();
        // A stop during the first pause is one by a module that has just closed the camera.
        while (!m_thReconnect.StopRequested() && ReconnectWanted(sought.view())) {
            CAM_LOG(kLogError, ModuleId(), kReconnect, "Try connect to camera(%s)...",
                    sought.c_str());
            if (ReconnectOnce(sought)) {
                return;
            }
            if (ReconnectStopEvent.WaitFor(kRetryPause)) {
                ReconnectStopEvent.Reset();
            }
            const std::chrono::seconds limit(m_settings.reconnectTime.Get());
            if (Clock::now() - start >= limit) {
                return;
            }
        }
    } catch (...) {
        CAM_LOG(kLogError, ModuleId(), kReconnect, "Exception happened id=%d", ModuleId());
    }
}

CameraText CCameraModule::SoughtSerial() const {
    return CameraText(m_serial.Get().view().substr(0, sizeof KZGigEDeviceInfo::serialNumber));
}

bool CCameraModule::ReconnectWanted(std::string_view serial) const {
    const std::int32_t mode = m_settings.connectionMode.Get();
    const bool byAddress = mode == kConnectByAddress && m_settings.autoConnect.Get();
    const bool bySelection = mode == kConnectBySelection && !serial.empty();
    return (byAddress || bySelection) && !m_camera.IsOpen();
}

bool CCameraModule::ReconnectOnce(const CameraText& serial) {
    // Held for the whole attempt, so that it does not open anew what the host opens meanwhile.
    const platform::LockGuard hold(m_connectionLock);
    if (m_camera.IsOpen()) {
        return true;
    }
    if (m_settings.connectionMode.Get() == kConnectByAddress) {
        static constexpr char kTrue[] = "True";
        if (SetParam("ConnectIP", kTrue, sizeof kTrue - 1) != kOk) {
            return false;
        }
        CAM_LOG(kLogError, ModuleId(), kReconnect, "(%s)Camera reconnect success", serial.c_str());
        return true;
    }
    const CameraDeviceInfo saved = m_savedData.GetDevice();
    if (saved.transportType != 0 && ConnectDevice(saved) == kOk) {
        // What an earlier attempt enumerated lacks the camera. Whoever reads the list would take it
        // for lost, and a save would not find its record.
        if (!FindDevice(m_camera.Key().view())) {
            static_cast<void>(EnumDevices());
        }
        return true;
    }
    static_cast<void>(EnumDevices());
    if (SetParam("CameraName", serial.c_str(), static_cast<std::int32_t>(serial.view().size())) !=
        kOk) {
        return false;
    }
    CAM_LOG(kLogError, ModuleId(), kReconnect, "(%s)Camera reconnect success", serial.c_str());
    ReportCameraSource(kReconnect, kCameraBack);
    return true;
}

void CCameraModule::EventCallBack(KZEventInfo* event, void* user) {
    const CallbackGate::Entry entry(user);
    if (!entry || event == nullptr || FieldText(event->name) != kFrameStart) {
        return;
    }
    auto& module = *static_cast<CCameraModule*>(user);
    CAM_LOG(kLogError, module.ModuleId(), "EventCallBack", "Receive FrameStart event from CamSDK.");
    module.ReportFrameStarted();
}

}  // namespace cam
