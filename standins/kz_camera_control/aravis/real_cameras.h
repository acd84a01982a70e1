// The cameras that Aravis finds.
#pragma once

#include <mutex>
#include <vector>

#include "standins/kz_camera_control/aravis/glib_ptr.h"
#include "standins/kz_camera_control/camera.h"

namespace kz {

// GigE Vision by broadcast on every network card, USB3 Vision if the machine has USB. Aravis opens
// with control access, whatever access mode is requested.
class RealCameraSource final : public DeviceSource {
  public:
    // Takes a second, while Aravis waits for answers.
    Code Enumerate(std::uint32_t transportMask, std::vector<CameraDeviceInfo>& found) override;
    bool Knows(const CameraDeviceInfo& record) override;
    Code Open(const CameraDeviceInfo& record, std::uint32_t accessMode, DeviceSink sink,
              std::unique_ptr<Device>& device) override;

    CameraState StateOf(const CameraDeviceInfo& record) override;
    Code DescribeBeside(const char* camera, const char* name, const FeatureVisitor& visit) override;

  private:
    Code OpenGigE(const CameraDeviceInfo& record, GObjectPtr<ArvDevice>& device);
    Code OpenUsb3(const CameraDeviceInfo& record, GObjectPtr<ArvDevice>& device);

    // Aravis has one device list per process, and its texts live until the next update.
    std::mutex m_mutex;
    std::vector<CameraDeviceInfo> m_seen;  // guarded by m_mutex; from the last enumeration
};

}  // namespace kz
