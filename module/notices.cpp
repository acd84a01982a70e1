// What the module tells the host through the framework.
#include <cstdio>
#include <cstring>

#include "module/camera_module.h"
#include "module/log/log.h"

namespace cam {

namespace {

constexpr std::size_t kNoticeSize = 128;
constexpr unsigned kOnline = 1;
constexpr unsigned kOffline = 0;

// A report's text: the module id, then what is told, then the camera.
class Notice {
  public:
    template <typename... Args>
    explicit Notice(const char* format, Args... args) {
        std::snprintf(m_text, sizeof m_text, format, args...);
    }

    [[nodiscard]] Status Report(void* handle, std::uint32_t code) const {
        return CQ_M_ReportData(handle, code, m_text, Length());
    }
    [[nodiscard]] Status Publish(const char* key) const {
        return CQ_M_SetBinayData(kBinaryCameraState, key, m_text, Length());
    }
    [[nodiscard]] const char* c_str() const { return m_text; }

  private:
    [[nodiscard]] std::uint32_t Length() const {
        return static_cast<std::uint32_t>(std::strlen(m_text));
    }

    char m_text[kNoticeSize];
};

}  // namespace

void CCameraModule::ReportFrame(std::uint32_t frameNumber) {
    const Notice notice("%u-%u-%u-%s", static_cast<unsigned>(ModuleId()), 1U, frameNumber,
                        m_camera.Key().c_str());
    if (const Status status = notice.Report(m_hModule, kReportFrameArrived); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), "CCameraModule::DoImageCallBack",
                "CQ_M_ReportData return [%x]", status);
    }
}

void CCameraModule::ReportFrameStarted() {
    static constexpr char kFunction[] = "EventCallBack";
    const Notice notice("%u-%u-%u-%s", static_cast<unsigned>(ModuleId()), 0U, 0U,
                        m_serial.Get().c_str());
    CAM_LOG(kLogError, ModuleId(), kFunction, "CQ_M_ReportData  405 %s", notice.c_str());
    if (const Status status = notice.Report(m_hModule, kReportFrameStarted); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "CQ_M_ReportData return [%x]", status);
    }
}

void CCameraModule::ReportCameraOn(const char* function) {
    const Notice notice("%u-%u-%s", static_cast<unsigned>(ModuleId()), kOnline,
                        m_serial.Get().c_str());
    if (const Status status = notice.Report(m_hModule, kReportCameraState); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "CQ_M_ReportData Camera On return [%x]", status);
    }
}

void CCameraModule::ReportCameraOff(const char* function, const CameraText& serial) {
    const Notice notice("%u-%u-%s", static_cast<unsigned>(ModuleId()), kOffline, serial.c_str());
    if (const Status status = notice.Report(m_hModule, kReportCameraState); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "CQ_M_ReportData Camera Off return [%x]", status);
    }
}

void CCameraModule::ReportCameraSource(const char* function, const char* text) {
    const Notice notice("%s", text);
    if (const Status status = notice.Report(m_hModule, kReportCameraSource); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "CQ_M_ReportData return [%x]", status);
    }
}

void CCameraModule::PublishCameraOnline(const char* function) {
    const Notice notice("%d", ModuleId());
    if (const Status status = notice.Publish("CameraOnline"); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "Send CameraOnline error.nRet:[%x]", status);
    }
}

void CCameraModule::PublishCameraOffline(const char* function) {
    const Notice notice("%d", ModuleId());
    if (const Status status = notice.Publish("CameraOffline"); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "Send CameraOffline error.nRet:[%x]", status);
    }
}

}  // namespace cam
