#include "standins/kz_camera_control/camera.h"

namespace kz {
namespace {

class NoCameras final : public DeviceSource {
  public:
    Code Enumerate(std::uint32_t /*transportMask*/,
                   std::vector<CameraDeviceInfo>& /*found*/) override {
        return KZ_CC_OK;
    }
    bool Knows(const CameraDeviceInfo& /*record*/) override { return false; }
    Code Open(const CameraDeviceInfo& /*record*/, std::uint32_t /*accessMode*/, DeviceSink /*sink*/,
              std::unique_ptr<Device>& /*device*/) override {
        return KZ_CC_E_DEVICE_LOST;
    }
    CameraState StateOf(const CameraDeviceInfo& /*record*/) override { return {}; }
    Code DescribeBeside(const char* /*camera*/, const char* /*name*/,
                        const FeatureVisitor& /*visit*/) override {
        return KZ_CC_E_DEVICE_LOST;
    }
};

}  // namespace

std::unique_ptr<DeviceSource> MakeRealCameraSource() {
    return std::make_unique<NoCameras>();
}

}  // namespace kz
