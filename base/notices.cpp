#include "base/notices.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>
#include <type_traits>

#include "base/log.h"
#include "module/framework/module_frame.h"
#include "module/framework/status_codes.h"

namespace cam {

namespace {

constexpr std::size_t kNoticeSize = 128;
constexpr unsigned kOnline = 1;
constexpr unsigned kOffline = 0;

// A notice text, its fields joined by '-'. Built for each frame, so without a formatter. Numbers
// come first and always fit; excess text is cut.
class Notice {
  public:
    template <typename... Fields>
    explicit Notice(const Fields&... fields) {
        (AppendField(fields), ...);
        *m_end = '\0';
    }

    [[nodiscard]] Status Report(void* handle, std::uint32_t code) const {
        return CQ_M_ReportData(handle, code, m_text, Length());
    }
    [[nodiscard]] Status Publish(const char* key) const {
        return CQ_M_SetBinayData(kBinaryCameraState, key, m_text, Length());
    }
    [[nodiscard]] const char* c_str() const { return m_text; }

  private:
    template <typename Field>
    void AppendField(const Field& field) {
        if (m_end != m_text) {
            Append("-");
        }
        if constexpr (std::is_integral_v<Field>) {
            m_end = std::to_chars(m_end, TextEnd(), field).ptr;
        } else {
            Append(field);
        }
    }

    void Append(std::string_view text) {
        const auto room = static_cast<std::size_t>(TextEnd() - m_end);
        m_end = std::copy_n(text.data(), std::min(text.size(), room), m_end);
    }

    // Where the terminator stands at the latest.
    [[nodiscard]] char* TextEnd() { return std::end(m_text) - 1; }

    [[nodiscard]] std::uint32_t Length() const {
        return static_cast<std::uint32_t>(m_end - m_text);
    }

    char m_text[kNoticeSize];
    char* m_end = m_text;
};

}  // namespace

void Notices::ReportFrame(std::uint32_t frameNumber, std::string_view cameraKey) const {
    const Notice notice(static_cast<std::uint32_t>(ModuleId()), 1U, frameNumber, cameraKey);
    if (const Status status = notice.Report(Handle(), kReportFrameArrived); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), "CCameraModule::DoImageCallBack",
                "CQ_M_ReportData return [%x]", status);
    }
}

void Notices::ReportFrameStarted(std::string_view serial) const {
    static constexpr char kFunction[] = "EventCallBack";
    const Notice notice(static_cast<std::uint32_t>(ModuleId()), 0U, 0U, serial);
    CAM_LOG(kLogError, ModuleId(), kFunction, "CQ_M_ReportData  405 %s", notice.c_str());
    if (const Status status = notice.Report(Handle(), kReportFrameStarted); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), kFunction, "CQ_M_ReportData return [%x]", status);
    }
}

void Notices::ReportCameraOn(const char* function, std::string_view serial) const {
    const Notice notice(static_cast<std::uint32_t>(ModuleId()), kOnline, serial);
    if (const Status status = notice.Report(Handle(), kReportCameraState); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "CQ_M_ReportData Camera On return [%x]", status);
    }
}

void Notices::ReportCameraOff(const char* function, std::string_view serial) const {
    const Notice notice(static_cast<std::uint32_t>(ModuleId()), kOffline, serial);
    if (const Status status = notice.Report(Handle(), kReportCameraState); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "CQ_M_ReportData Camera Off return [%x]", status);
    }
}

void Notices::ReportCameraSource(const char* function, const char* text) const {
    const Notice notice(std::string_view{text});
    if (const Status status = notice.Report(Handle(), kReportCameraSource); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "CQ_M_ReportData return [%x]", status);
    }
}

void Notices::PublishCameraOnline(const char* function) const {
    const Notice notice(ModuleId());
    if (const Status status = notice.Publish("CameraOnline"); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "Send CameraOnline error.nRet:[%x]", status);
    }
}

void Notices::PublishCameraOffline(const char* function) const {
    const Notice notice(ModuleId());
    if (const Status status = notice.Publish("CameraOffline"); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), function, "Send CameraOffline error.nRet:[%x]", status);
    }
}

}  // namespace cam
