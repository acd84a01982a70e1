// What the module tells the host through the framework.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/relaxed.h"

namespace cam {

// A failure is logged in the name of `function` and changes nothing. The host may call back into
// the module from inside every notice, so none goes out under the parameter lock or one behind it.
class Notices {
  public:
    // What the framework knows the module by; before the first notice.
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
    // Of the camera's source: `text` is one of the kSource texts.
    void ReportCameraSource(const char* function, const char* text) const;
    void PublishCameraOnline(const char* function) const;
    void PublishCameraOffline(const char* function) const;

  private:
    Relaxed<void*> m_handle{nullptr};
    Relaxed<std::int32_t> m_nModuleId{0};
};

// A lost camera: it is gone, or back. A change to GenTL producers, or away from them.
inline constexpr char kSourceCameraLost[] = "0";
inline constexpr char kSourceCameraBack[] = "1";
inline constexpr char kSourceGenTL[] = "1";
inline constexpr char kSourcePlain[] = "2";

}  // namespace cam
