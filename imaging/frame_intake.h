// From the SDK's frame callback into the store.
#pragma once

#include <cstdint>

#include "base/module_events.h"
#include "base/notices.h"
#include "base/settings.h"
#include "camera/my_camera.h"
#include "camera/sdk/kz_camera_control.h"
#include "camera/stop_gate.h"
#include "imaging/frame_store.h"
#include "imaging/receiver_registry.h"

namespace cam {

// Everything runs on the SDK's frame thread, one frame at a time. A frame is queued whole or not at
// all; the reason is logged. No lock of the store is held while pixels are copied or converted.
class FrameIntake {
  public:
    FrameIntake(CMyCamera& camera, StopGate& stopGate, FrameStore& store,
                const ReceiverRegistry& receivers, const Notices& notices, const Settings& settings,
                ModuleEvents& events)
        : m_camera(camera),
          m_stopGate(stopGate),
          m_store(store),
          m_receivers(receivers),
          m_notices(notices),
          m_settings(settings),
          m_events(events) {}

    // `data` and `info` belong to the SDK and are valid during the call. Never throws.
    void DoImageCallBack(std::uint8_t* data, const FrameOutInfo* info);

  private:
    // False: the frame is dropped; the reason is logged.
    [[nodiscard]] bool TakeFrame(std::uint8_t* data, const FrameOutInfo& info);
    [[nodiscard]] bool DecodeFrame(FrameStore::FrameUnderWay& frame, const FrameOutInfo& info,
                                   BufferNode& source);
    [[nodiscard]] bool GetOutputNode(FrameStore::FrameUnderWay& frame, const FrameOutInfo& info,
                                     std::uint64_t length, BufferNode& output);
    [[nodiscard]] bool FillOutputNode(const FrameOutInfo& info, const BufferNode& source,
                                      std::uint64_t length, BufferNode& output);
    [[nodiscard]] bool AddNode(FrameStore::FrameUnderWay& frame, std::uint64_t size,
                               std::uint32_t frameNumber, BufferNode& node);
    [[nodiscard]] bool TakeFreeNode(FrameStore::FrameUnderWay& frame, std::uint64_t size,
                                    NodePool::Fit fit, std::uint32_t frameNumber, BufferNode& node);
    [[nodiscard]] bool ResizeNode(FrameStore::FrameUnderWay& frame, std::uint64_t size,
                                  std::uint32_t frameNumber, BufferNode& node);
    [[nodiscard]] Status ConvertPixelFormat(const BufferNode& source, BufferNode& output);

    [[nodiscard]] std::int32_t ModuleId() const { return m_notices.ModuleId(); }

    CMyCamera& m_camera;
    StopGate& m_stopGate;
    FrameStore& m_store;
    const ReceiverRegistry& m_receivers;
    const Notices& m_notices;
    const Settings& m_settings;
    ModuleEvents& m_events;
};

}  // namespace cam
