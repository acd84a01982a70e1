// From the image queue to the host: on request, or offered to its procedures.
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "module/camera_module.h"
#include "module/log/log.h"

namespace cam {

namespace {

constexpr char kGetImage[] = "CCameraModule::GetImage";

constexpr std::chrono::milliseconds kProcessingPause{5};

}  // namespace

Status CCameraModule::SoftTrigger() {
    const Status status = m_camera.SetCommandValue("TriggerSoftware");
    CAM_LOG(kLogDebug, ModuleId(), "CCameraModule::SoftTrigger",
            "Soft trigger camera: %s, return 0x%x", m_serial.Get().c_str(), status);
    return status;
}

BufferNode CCameraModule::GetImage() {
    if (m_connectionLock.HeldByThisThread()) {
        // Asked from inside a notice about the camera: another GetImage may be waiting for the
        // connection, so this one does not wait for it.
        if (!m_getImageLock.try_lock()) {
            return {};
        }
    } else if (!m_camera.LockUnlessStopping(m_getImageLock)) {
        return {};
    }
    const BufferNode node = GetImageLocked();
    m_getImageLock.unlock();
    return node;
}

BufferNode CCameraModule::GetImageLocked() try {
    Status status = kOk;
    if (m_settings.debugMode.Get()) {
        if (const auto local = m_localImages.Deliver(m_settings.autoSwitch.Get())) {
            return *local;
        }
        status = kNoImage;
    } else {
        status = ConnectPending();
        if (status == kOk && m_imageQueue.Empty()) {
            status = WaitForTriggeredImage();
        }
    }
    if (status != kOk) {
        // One code for every reason, as the host's log filters know it.
        CAM_LOG(kLogError, ModuleId(), kGetImage, "error nRet = %#X\r\n", kNoImage);
    }

    const platform::LockGuard holdList(m_imageQueue.m_lock);
    const auto node = m_imageQueue.Pop();
    if (!node) {
        return {};
    }
    CAM_LOG(kLogDebug, ModuleId(), kGetImage, "get picture from list success");
    return *node;
} catch (...) {
    CAM_LOG(kLogError, ModuleId(), kGetImage, "error nRet = %#X\r\n", kNoImage);
    return {};
}

// A camera whose open failed earlier is tried again when its image is wanted.
Status CCameraModule::ConnectPending() {
    if (!m_camera.IsOpen() && !m_pendingSelection.Get().empty()) {
        static_cast<void>(RetryPendingSelection());
    }
    return m_camera.IsOpen() ? kOk : kNoCamera;
}

Status CCameraModule::WaitForTriggeredImage() {
    CAM_LOG(kLogInfo, ModuleId(), kGetImage, "have no pictures need soft trigger");
    ImageArrivedEvent.Reset();
    if (const Status status = SoftTrigger(); status != kOk) {
        CAM_LOG(kLogError, ModuleId(), kGetImage, "(%s)TriggerSoftware failed: %x",
                m_serial.Get().c_str(), status);
        return kNoImage;
    }
    CAM_LOG(kLogDebug, ModuleId(), kGetImage, "soft trigger cmd send success");
    const std::chrono::milliseconds timeout =
        std::chrono::seconds(m_settings.softTriggerWaitTime.Get());
    if (m_imageQueue.Empty()) {
        // Behind the reset, so a frame that came ahead of it is not slept through.
        ImageArrivedEvent.WaitFor(timeout);
    }
    if (m_imageQueue.Empty()) {
        CAM_LOG(kLogError, ModuleId(), kGetImage, "(%s)TriggerSoftware no image: timeout %d ms",
                m_serial.Get().c_str(), static_cast<int>(timeout.count()));
        return kNoImage;
    }
    return kOk;
}

void CCameraModule::FreeNode(const BufferNode& node) {
    static_cast<void>(SetParam("FreeBuf", reinterpret_cast<const char*>(&node), sizeof node));
}

void CCameraModule::ClearImageQueue() {
    const platform::LockGuard hold(m_imageQueue.m_lock);
    while (const auto node = m_imageQueue.Pop()) {
        if (node->capacity > 0) {
            FreeNode(*node);
        }
    }
}

void CCameraModule::StartImageProcessingThread() {
    while (!m_thImageProcessing.StopRequested()) {
        // Only tried: who holds the lock may be waiting for this thread to end.
        if (!m_imageQueue.Empty() && m_getImageLock.try_lock()) {
            DispatchFrames();
            m_getImageLock.unlock();
        }
        WakeEvent.WaitFor(kProcessingPause);
    }
}

void CCameraModule::DispatchFrames() try {
    // The host may take frames off the queue, change its registrations and open a camera while it
    // is asked, so the scan holds on to nothing but a sequence number and, for one frame, a copy. A
    // pass ends with the frames that it began with; otherwise a fast camera would keep it going for
    // ever.
    std::uint64_t end = 0;
    {
        const platform::LockGuard holdList(m_imageQueue.m_lock);
        end = m_imageQueue.End();
    }
    std::uint64_t from = 0;
    while (!m_thImageProcessing.StopRequested()) {
        {
            const platform::LockGuard holdReceivers(m_receivers.m_lock);
            m_offeredTo = m_receivers.RelatedProcedures();
            if (m_offeredTo.empty()) {
                ClearImageQueue();
                return;
            }
        }
        const auto& procedures = m_offeredTo;
        std::optional<ImageQueue::Offer> offer;
        {
            const platform::LockGuard holdList(m_imageQueue.m_lock);
            offer = m_imageQueue.NextUndispatched(from);
        }
        if (!offer || offer->sequence >= end) {
            return;
        }
        char frame[16];
        std::snprintf(frame, sizeof frame, "%u", offer->frameNumber);
        const auto taker =
            std::find_if(procedures.begin(), procedures.end(), [&](std::int32_t procedure) {
                return CQ_M_TryRunProcedureOnceById(procedure, frame, 0) == kOk;
            });
        if (taker == procedures.end()) {
            return;
        }
        CAM_LOG(kLogInfo, ModuleId(), "CCameraModule::StartImageProcessingThread",
                "[Run by camera] Run Procedure %d, FrameNum %d.", *taker,
                static_cast<int>(offer->frameNumber));
        {
            const platform::LockGuard holdList(m_imageQueue.m_lock);
            m_imageQueue.MarkHandedOver(offer->sequence);
        }
        if (procedures.size() <= 1) {
            return;
        }
        from = offer->sequence + 1;
    }
} catch (...) {
    CAM_LOG(kLogError, ModuleId(), "CCameraModule::StartImageProcessingThread",
            "Frames not offered in this pass, out of memory");
}

void CCameraModule::SetTriggerProcessRunStatus(bool run) {
    static constexpr char kFunction[] = "CCameraModule::SetParam";
    m_settings.triggerProcessRunStatus.Set(run);
    if (run == m_thImageProcessing.Running()) {
        return;
    }
    if (run) {
        ClearImageQueue();
        if (!m_thImageProcessing.Start()) {
            CAM_LOG(kLogError, ModuleId(), kFunction, "Image process thread not started");
            return;
        }
        CAM_LOG(kLogError, ModuleId(), kFunction,
                "The TriggerProcessRunStatus has opend, Image process thread enter.");
    } else {
        if (m_connectionLock.HeldByThisThread() || m_camera.InFrameCallback()) {
            // Inside an open, or on the frame thread, which a stop waits for. The thread may stand
            // in a procedure's run that waits for the connection, so it is only asked to end.
            m_thImageProcessing.RequestStop();
        } else {
            m_thImageProcessing.Stop();
        }
        CAM_LOG(kLogError, ModuleId(), kFunction,
                "The TriggerProcessRunStatus has closed, Image process thread exit.");
        ClearImageQueue();
    }
}

}  // namespace cam
