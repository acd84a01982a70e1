// What the host's solution last gave the module, or took from it.
#pragma once

#include <memory>
#include <mutex>

#include "camera/sdk/kz_camera_control.h"
#include "module/framework/module_frame.h"

namespace cam {

// A load on one thread may replace it while the reconnect thread replays it on another.
class SavedData {
  public:
    using Params = std::shared_ptr<const ModuleParamList>;

    [[nodiscard]] Params GetParams() const {
        const std::lock_guard hold(m_lock);
        return m_params;
    }
    void SetParams(Params params) {
        const std::lock_guard hold(m_lock);
        m_params.swap(params);
    }

    // The camera to reconnect to; transport type 0: none was saved.
    [[nodiscard]] CameraDeviceInfo GetDevice() const {
        const std::lock_guard hold(m_lock);
        return m_device;
    }
    void SetDevice(const CameraDeviceInfo& device) {
        const std::lock_guard hold(m_lock);
        m_device = device;
    }

  private:
    mutable std::mutex m_lock;
    Params m_params;  // under m_lock, like the next; null: nothing saved yet
    CameraDeviceInfo m_device{};
};

}  // namespace cam
