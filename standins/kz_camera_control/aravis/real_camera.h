// A GigE Vision or USB3 Vision camera behind Aravis.
#pragma once

#include <memory>

#include "standins/kz_camera_control/aravis/camera_features.h"
#include "standins/kz_camera_control/aravis/frame_stream.h"
#include "standins/kz_camera_control/aravis/loss_watch.h"
#include "standins/kz_camera_control/camera.h"

namespace kz {

// Frames come on a thread per acquisition, the exception on a thread per camera.
class RealCamera final : public Device {
  public:
    // `device` is open and under our control.
    RealCamera(GObjectPtr<ArvDevice> device, DeviceSink sink);
    ~RealCamera() override;

    Code Start() override;
    Code Stop() override;

    Code NodeType(const char* name, KZNodeType& type) override;
    Code GetInt(const char* name, KZIntValue& value) override;
    Code SetInt(const char* name, std::uint32_t value) override;
    Code GetFloat(const char* name, KZFloatValue& value) override;
    Code SetFloat(const char* name, float value) override;
    Code GetEnum(const char* name, KZEnumValue& value) override;
    Code SetEnum(const char* name, std::uint32_t value) override;
    Code SetEnumByString(const char* name, const char* entry) override;
    Code GetBool(const char* name, bool& value) override;
    Code SetBool(const char* name, bool value) override;
    Code GetString(const char* name, KZStringValue& value) override;
    Code SetString(const char* name, const char* value) override;
    Code Execute(const char* name) override;

    std::int32_t OptimalPacketSize() override;
    // Aravis receives unicast only.
    Code SetTransmissionType(const KZTransmissionType& type) override;
    // Counts from the opening on, over all acquisitions.
    Code MatchInfo(KZMatchInfo& info) override;
    // Aravis has no message channel, so camera events are not available.
    Code EnableEvent(const char* name) override;
    Code Describe(const char* name, const FeatureVisitor& visit) override;

  private:
    [[nodiscard]] Code CreateStream(GObjectPtr<ArvStream>& stream, std::size_t& frameSize);
    void LockTransport(bool locked);
    [[nodiscard]] bool IsGigE() const { return ARV_IS_GV_DEVICE(m_device.get()); }

    const DeviceSink m_sink;
    GObjectPtr<ArvDevice> m_device;

    CameraFeatures m_features;
    std::unique_ptr<FrameStream> m_frames;  // null between acquisitions
    StreamCounters m_total;                 // of the acquisitions that have ended
    LossWatch m_watch;
};

}  // namespace kz
