#include "camera/grab_keeper.h"

#include <chrono>

#include "base/log.h"

namespace cam {

namespace {

constexpr std::chrono::milliseconds kPause{200};

}  // namespace

void GrabKeeper::KeepGrabbing() {
    m_lostOpen = 0;
    while (!m_thGrabbing.StopRequested()) {
        const std::uint32_t openId = m_camera.OpenId();
        if (m_camera.ResumeGrabbing(m_events.ImageArrivedEvent, m_events.GrabStartedEvent) ==
            KZ_CC_E_DEVICE_LOST) {
            SeekIfLost(openId);
        }
        m_reconnection.CatchUp();
        m_events.WakeEvent.WaitFor(kPause);
    }
}

// A camera lost before its open registered the exception callback: nothing else reports the loss.
// If the callback is on its way after all, waiting one round lets it report first.
void GrabKeeper::SeekIfLost(std::uint32_t openId) {
    if (m_lostOpen == openId && !m_reconnection.LossSeen(openId)) {
        CAM_LOG(kLogError, m_notices.ModuleId(), "CCameraModule::KeepGrabbing",
                "(%s)Camera lost, found when grabbing was to start", m_camera.Key().c_str());
        m_reconnection.HandleLoss(openId);
    }
    m_lostOpen = openId;
}

}  // namespace cam
