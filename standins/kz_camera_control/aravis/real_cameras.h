// The cameras that Aravis finds.
#pragma once

#include <mutex>
#include <vector>

#include "standins/kz_camera_control/aravis/glib_ptr.h"
#include "standins/kz_camera_control/camera.h"

namespace kz {

// GigE Vision by broadcast on every network card, USB3 Vision where there is USB. Aravis opens with
// control access whatever access mode is asked for.
class RealCameraSource final : public DeviceSource {
  public:
    // Takes a second: so long does Aravis wait for answers.
    Code Enumerate(std::uint32_t transportMask, std::vector<CameraDeviceInfo>& found) override;
    bool Knows(const CameraDeviceInfo& record) override;
    Code Open(const CameraDeviceInfo& record, std::uint32_t accessMode, DeviceSink sink,
              std::unique_ptr<Device>& device) override;

    CameraState StateOf(const CameraDeviceInfo& record) override;
    Code DescribeBeside(const char* camera, const char* name, const FeatureVisitor& visit) override;

  private:
    Code OpenGigE(const CameraDeviceInfo& record, GObjectPtr<ArvDevice>& device);
    Code OpenUsb3(const CameraDeviceInfo& record, GObjectPtr<ArvDevice>& device);

    // Aravis's device list is one for the process, and its texts live until the next look.
    std::mutex m_mutex;
    std::vector<CameraDeviceInfo> m_seen;  // guarded by m_mutex; by the last look
};

}  // namespace kz
