#include "imaging/frame_delivery.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "base/log.h"
#include "base/on_exit.h"
#include "module/framework/module_frame.h"

namespace cam {

namespace {

constexpr char kGetImage[] = "CCameraModule::GetImage";
constexpr char kProcessing[] = "CCameraModule::StartImageProcessingThread";

constexpr std::chrono::milliseconds kSynchronousTriggerWait{1000};

// After a refusal, and while no procedure is related.
constexpr std::chrono::milliseconds kProcessingPause{5};
// The next frame ends an idle wait; this bounds a single wait.
constexpr std::chrono::milliseconds kIdleLook{1000};

}  // namespace

FrameDelivery::FrameDelivery(CMyCamera& camera, CameraConnection& connection,
                             const StopGate& stopGate, FrameStore& store,
                             const ReceiverRegistry& receivers, LocalImages& localImages,
                             const Notices& notices, Settings& settings, ModuleEvents& events)
    : m_camera(camera),
      m_connection(connection),
      m_stopGate(stopGate),
      m_store(store),
      m_receivers(receivers),
      m_localImages(localImages),
      m_notices(notices),
      m_settings(settings),
      m_events(events),
      m_thImageProcessing([this] { StartImageProcessingThread(); }, &store.Queued()) {
    static_cast<void>(m_requestDone.Create());
}

Status FrameDelivery::SoftTrigger() {
    const Status status = m_camera.SetCommandValue("TriggerSoftware");
    CAM_LOG(kLogDebug, m_notices.ModuleId(), "CCameraModule::SoftTrigger",
            "Soft trigger camera: %s, return 0x%x", m_connection.Serial().c_str(), status);
    return status;
}

BufferNode FrameDelivery::GetImage() {
    if (!AcquireForRequest()) {
        return {};
    }
    const BufferNode node = GetImageLocked();
    m_getImageLock.unlock();
    m_requestDone.Set();
    return node;
}

bool FrameDelivery::AcquireForRequest() {
    // Inside a notice about the camera another GetImage may be waiting for the connection, so this
    // one does not wait for it.
    if (m_stopGate.HoldsConnection()) {
        return m_getImageLock.try_lock();
    }
    m_getImageLock.CheckOrder();
    if (m_getImageLock.try_lock()) {
        return true;
    }
    ++m_waitingRequests;
    const OnExit done([this] { --m_waitingRequests; });
    return m_stopGate.Acquire(m_getImageLock);
}

BufferNode FrameDelivery::GetImageLocked() try {
    Status status = kOk;
    if (m_settings.debugMode.Get()) {
        if (const auto local = m_localImages.Deliver(m_settings.autoSwitch.Get())) {
            return *local;
        }
        status = kNoImage;
    } else {
        status = ConnectPending();
        if (status == kOk && m_store.Empty()) {
            status = WaitForTriggeredImage();
        }
    }
    if (status != kOk) {
        // One code for every reason, because the host's log filters expect it.
        CAM_LOG(kLogError, m_notices.ModuleId(), kGetImage, "error nRet = %#X\r\n", kNoImage);
    }

    const auto node = m_store.Pop();
    if (!node) {
        return {};
    }
    CAM_LOG(kLogDebug, m_notices.ModuleId(), kGetImage, "get picture from list success");
    return *node;
} catch (...) {
    CAM_LOG(kLogError, m_notices.ModuleId(), kGetImage, "error nRet = %#X\r\n", kNoImage);
    return {};
}

// A camera that failed to open earlier is retried when its image is requested.
Status FrameDelivery::ConnectPending() {
    if (!m_camera.IsOpen() && m_connection.HasPendingSelection()) {
        static_cast<void>(m_connection.RetryPendingSelection());
    }
    return m_camera.IsOpen() ? kOk : kNoCamera;
}

Status FrameDelivery::WaitForTriggeredImage() {
    CAM_LOG(kLogInfo, m_notices.ModuleId(), kGetImage, "have no pictures need soft trigger");
    m_events.ImageArrivedEvent.Reset();
    if (const Status status = SoftTrigger(); status != kOk) {
        CAM_LOG(kLogError, m_notices.ModuleId(), kGetImage, "(%s)TriggerSoftware failed: %x",
                m_connection.Serial().c_str(), status);
        return kNoImage;
    }
    CAM_LOG(kLogDebug, m_notices.ModuleId(), kGetImage, "soft trigger cmd send success");
    const std::chrono::milliseconds timeout =
        std::chrono::seconds(m_settings.softTriggerWaitTime.Get());
    if (m_store.Empty()) {
        // After the reset, so that a frame that came before it is not missed.
        m_events.ImageArrivedEvent.WaitFor(timeout);
    }
    if (m_store.Empty()) {
        CAM_LOG(kLogError, m_notices.ModuleId(), kGetImage,
                "(%s)TriggerSoftware no image: timeout %d ms", m_connection.Serial().c_str(),
                static_cast<int>(timeout.count()));
        return kNoImage;
    }
    return kOk;
}

Status FrameDelivery::TriggerAndWait() {
    m_events.ImageArrivedEvent.Reset();
    if (m_camera.SetCommandValue("TriggerSoftware") != kOk) {
        return kInvalid;
    }
    m_events.ImageArrivedEvent.WaitFor(kSynchronousTriggerWait);
    return kOk;
}

void FrameDelivery::StartImageProcessingThread() {
    for (;;) {
        // Before the checks, so that a frame or a stop that comes after them ends the wait.
        m_store.Queued().Reset();
        if (m_thImageProcessing.StopRequested()) {
            return;
        }
        switch (m_store.Empty() ? Pass::Done : TryDispatch()) {
            case Pass::Done:
                m_store.Queued().WaitFor(kIdleLook);
                if (m_receivers.AnyProcedure()) {
                    LetRequestGo();
                    break;
                }
                [[fallthrough]];
            case Pass::Refused:
                m_events.WakeEvent.WaitFor(kProcessingPause);
                break;
            case Pass::Busy:
                m_requestDone.WaitFor(kProcessingPause);
                break;
            case Pass::More:
                LetRequestGo();
                break;
        }
    }
}

// The lock is not fair: without this the next pass would take it again before a request that waits
// for it wakes up.
void FrameDelivery::LetRequestGo() {
    m_requestDone.Reset();
    while (m_waitingRequests.load() > 0 && !m_thImageProcessing.StopRequested() &&
           !m_requestDone.WaitFor(kProcessingPause)) {
    }
}

FrameDelivery::Pass FrameDelivery::TryDispatch() {
    // Before the try, so that a request that ends after it ends the wait for it.
    m_requestDone.Reset();
    // Only tried: the holder of the lock may be waiting for this thread to end.
    if (!m_getImageLock.try_lock()) {
        return Pass::Busy;
    }
    const Pass pass = DispatchFrames();
    m_getImageLock.unlock();
    return pass;
}

FrameDelivery::Pass FrameDelivery::DispatchFrames() try {
    // While it is asked, the host may take frames off the queue, change its registrations and open
    // a camera, so the scan keeps only a sequence number and a copy of one frame. A pass covers
    // only the frames that were queued when it began, so that requests get their turn.
    const std::uint64_t end = m_store.End();
    std::uint64_t from = 0;
    while (!m_thImageProcessing.StopRequested()) {
        m_receivers.CopyProcedures(m_offeredTo);
        if (m_offeredTo.empty()) {
            m_store.Clear();
            return Pass::Refused;
        }
        const auto offer = m_store.NextUndispatched(from);
        if (!offer) {
            return Pass::Done;
        }
        if (offer->sequence >= end) {
            return Pass::More;
        }
        const std::int32_t* const taker = Offer(offer->frameNumber);
        if (taker == nullptr) {
            return Pass::Refused;
        }
        CAM_LOG(kLogInfo, m_notices.ModuleId(), kProcessing,
                "[Run by camera] Run Procedure %d, FrameNum %d.", *taker,
                static_cast<int>(offer->frameNumber));
        m_store.MarkHandedOver(offer->sequence);
        if (m_offeredTo.size() <= 1) {
            return Pass::More;
        }
        from = offer->sequence + 1;
    }
    return Pass::More;
} catch (...) {
    CAM_LOG(kLogError, m_notices.ModuleId(), kProcessing,
            "Frames not offered in this pass, out of memory");
    return Pass::Refused;
}

const std::int32_t* FrameDelivery::Offer(std::uint32_t frameNumber) const {
    char frame[16];
    std::snprintf(frame, sizeof frame, "%u", frameNumber);
    const auto taker =
        std::find_if(m_offeredTo.begin(), m_offeredTo.end(), [&](std::int32_t procedure) {
            // Looked up again, because the host may have removed it while another one was asked.
            return m_receivers.IsRelated(procedure) &&
                   CQ_M_TryRunProcedureOnceById(procedure, frame, 0) == kOk;
        });
    return taker != m_offeredTo.end() ? &*taker : nullptr;
}

void FrameDelivery::SetTriggerProcessRunStatus(bool run) {
    static constexpr char kFunction[] = "CCameraModule::SetParam";
    m_settings.triggerProcessRunStatus.Set(run);
    if (run == m_thImageProcessing.Running()) {
        return;
    }
    if (run) {
        m_store.Clear();
        if (!m_thImageProcessing.Start()) {
            CAM_LOG(kLogError, m_notices.ModuleId(), kFunction, "Image process thread not started");
            return;
        }
        CAM_LOG(kLogError, m_notices.ModuleId(), kFunction,
                "The TriggerProcessRunStatus has opend, Image process thread enter.");
    } else {
        if (m_stopGate.OthersMayWait()) {
            // The thread may be in a procedure's run that waits for the connection or for a stop,
            // so it is only asked to end.
            m_thImageProcessing.RequestStop();
        } else {
            m_thImageProcessing.Stop();
        }
        CAM_LOG(kLogError, m_notices.ModuleId(), kFunction,
                "The TriggerProcessRunStatus has closed, Image process thread exit.");
        m_store.Clear();
    }
}

}  // namespace cam
