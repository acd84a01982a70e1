// What happens when a camera is lost, and how it comes back.
#pragma once

#include <cstdint>

#include "base/lock.h"
#include "base/module_events.h"
#include "base/notices.h"
#include "base/relaxed.h"
#include "base/settings.h"
#include "base/worker_thread.h"
#include "camera/camera_connection.h"
#include "camera/my_camera.h"
#include "camera/sdk/kz_camera_control.h"
#include "camera/stop_gate.h"

namespace cam {

// A loss is handled in steps, notices to the host among them. Ahead of each step it is asked
// whether the host has chosen another camera, or none, since the loss was seen: an overtaken loss
// tells nothing more and seeks nothing. A thread of the SDK that has to give way leaves the
// remaining steps to the next round of the grab keeper.
class Reconnection {
  public:
    Reconnection(CMyCamera& camera, CameraConnection& connection, const StopGate& stopGate,
                 const Notices& notices, const Settings& settings, ModuleEvents& events);

    // The SDK's callbacks, on its threads.
    void OnException(std::uint32_t messageType);
    void OnEvent(const KZEventInfo* event);

    // The camera of that opening is lost: reports it, lets its handle go and begins the search.
    void HandleLoss(std::uint32_t openId);
    [[nodiscard]] bool LossSeen(std::uint32_t openId) const EXCLUDES(m_lossLock);
    // Goes on with a loss that gave way, and starts a search for which there was no thread.
    void CatchUp() EXCLUDES(m_lossLock);

    void StartReconnect() { Seek(m_connection.Choices()); }
    // Ends the search; asks it only to end where its thread may be waiting for the caller's.
    void StopLastReconnect();
    // From End to Allow no search begins.
    void End() { m_thReconnect.End(); }
    void Allow() { m_thReconnect.Allow(); }

  private:
    enum class Step : std::uint8_t { Publish, Report, EndSearch, Drop, ReportSource, Search, None };
    struct Loss {
        std::uint32_t openId = 0;   // CMyCamera::OpenId of the lost camera
        std::uint32_t choices = 0;  // CameraConnection::Choices when the loss was seen
        CameraText serial;
        Step next = Step::None;
    };

    // The loss whose next step is to be taken; its `next` is None when there is none.
    [[nodiscard]] Loss PresentLoss() EXCLUDES(m_lossLock);
    // False: gave way, the step is to be taken again.
    [[nodiscard]] bool Take(const Loss& loss);
    [[nodiscard]] bool EndSearch();

    // Begins the search unless the host makes another choice than the last of `choices`.
    void Seek(std::uint32_t choices);
    void ReConnectDevice();
    [[nodiscard]] bool ReconnectWanted(std::string_view serial) const;

    CMyCamera& m_camera;
    CameraConnection& m_connection;
    const StopGate& m_stopGate;
    const Notices& m_notices;
    const Settings& m_settings;
    ModuleEvents& m_events;

    mutable Lock m_lossLock{LockRank::Leaf, "loss"};
    Loss m_loss GUARDED_BY(m_lossLock);
    bool m_handling GUARDED_BY(m_lossLock) = false;  // a thread takes the steps
    Relaxed<bool> m_startOwed{false};                // a search found no thread
    Relaxed<std::uint32_t> m_seekChoices{0};

    WorkerThread m_thReconnect;
};

}  // namespace cam
