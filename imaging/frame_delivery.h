// From the store to the host: on request, or offered to its procedures.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "base/lock.h"
#include "base/module_events.h"
#include "base/notices.h"
#include "base/settings.h"
#include "base/worker_thread.h"
#include "camera/camera_connection.h"
#include "camera/my_camera.h"
#include "camera/stop_gate.h"
#include "imaging/buffer_node.h"
#include "imaging/frame_store.h"
#include "imaging/local_images.h"
#include "imaging/receiver_registry.h"
#include "platform/event.h"

namespace cam {

// One request, or one pass of the run-by-camera thread, at a time.
class FrameDelivery {
  public:
    FrameDelivery(CMyCamera& camera, CameraConnection& connection, const StopGate& stopGate,
                  FrameStore& store, const ReceiverRegistry& receivers, LocalImages& localImages,
                  const Notices& notices, Settings& settings, ModuleEvents& events);

    // "CameraImage": the oldest frame, else a newly triggered one, or a picture of the folder; a
    // record without data when there is none. The caller owns the record until FreeBuf. From inside
    // a notice it does not wait for another request.
    [[nodiscard]] BufferNode GetImage() EXCLUDES(m_getImageLock);

    // "SynTriggerSoftware": triggers and waits up to 1 s for the frame. kInvalid: not triggered.
    [[nodiscard]] Status TriggerAndWait();

    // "TriggerProcessRunStatus": whether frames are offered to procedures.
    void SetTriggerProcessRunStatus(bool run);

    [[nodiscard]] bool Start() { return m_thImageProcessing.Start(); }
    void Allow() { m_thImageProcessing.Allow(); }
    // From End to Allow no frame is offered. True when the thread ran.
    bool End() { return m_thImageProcessing.End(); }

  private:
    // How a pass over the waiting frames ended.
    enum class Pass : std::uint8_t {
        Done,     // nothing is left to offer
        More,     // frames are left; requests get their turn first
        Refused,  // no procedure took the frame, or none is related
        Busy,     // a request is in progress
    };

    [[nodiscard]] bool AcquireForRequest() TRY_ACQUIRE(true, m_getImageLock);
    [[nodiscard]] BufferNode GetImageLocked() REQUIRES(m_getImageLock);
    [[nodiscard]] Status ConnectPending();
    [[nodiscard]] Status WaitForTriggeredImage();
    [[nodiscard]] Status SoftTrigger();

    void StartImageProcessingThread();
    // Returns when a request that waits for the lock is done, if there is one, or the thread must
    // end.
    void LetRequestGo();
    [[nodiscard]] Pass TryDispatch();
    [[nodiscard]] Pass DispatchFrames() REQUIRES(m_getImageLock);
    // The procedure that took the frame; null: none did.
    [[nodiscard]] const std::int32_t* Offer(std::uint32_t frameNumber) const
        REQUIRES(m_getImageLock);

    CMyCamera& m_camera;
    CameraConnection& m_connection;
    const StopGate& m_stopGate;
    FrameStore& m_store;
    const ReceiverRegistry& m_receivers;
    LocalImages& m_localImages;
    const Notices& m_notices;
    Settings& m_settings;
    ModuleEvents& m_events;

    ReentrantLock m_getImageLock{LockRank::GetImage, "GetImage"};
    // The procedures that the current frame is offered to; kept to reuse its memory.
    std::vector<std::int32_t> m_offeredTo GUARDED_BY(m_getImageLock);
    std::atomic<int> m_waitingRequests{0};  // for the lock
    platform::Event m_requestDone;

    WorkerThread m_thImageProcessing;
};

}  // namespace cam
