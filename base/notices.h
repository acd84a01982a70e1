// What the module reports to the host through the framework.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/relaxed.h"

namespace cam {

// A failure is logged under the name `function` and changes nothing. The host may call back into
// the module from inside any notice, so none is sent under the parameter lock or a later one.
class Notices {
  public:
    // Sets the framework's handle and id of the module; called before the first notice.
    void Attach(void* handle, std::int32_t moduleId) {
        m_handle.Set(handle);
        m_nModuleId.Set(moduleId);
    }
    [[nodiscard]] void* Handle() const { return m_handle.Get(); }
    // 0 before Init has read it. In every log line of the module.
    [[nodiscard]] std::int32_t ModuleId() const { return m_nModuleId.Get(); }

    void ReportFrame(std::uint32_t frameNumber, std::string_view cameraKey) const;
    void ReportFrameStarted(std::string_view serial) const;
    void ReportCameraOn(const char* function, std::string_view serial) const;
    void ReportCameraOff(const char* function, std::string_view serial) const;
    // `text` is one of the kSource texts.
    void ReportCameraSource(const char* function, const char* text) const;
    void PublishCameraOnline(const char* function) const;
    void PublishCameraOffline(const char* function) const;

  private:
    Relaxed<void*> m_handle{nullptr};
    Relaxed<std::int32_t> m_nModuleId{0};
};

// A camera was lost, or is back; GenTL was switched on, or off.
inline constexpr char kSourceCameraLost[] = "0";
inline constexpr char kSourceCameraBack[] = "1";
inline constexpr char kSourceGenTL[] = "1";
inline constexpr char kSourcePlain[] = "2";

}  // namespace cam
