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

// A loss is handled in steps, some of which notify the host. Each step first checks whether the
// host has chosen another camera, or none, since the loss was detected: an overtaken loss reports
// nothing more and starts no search. A thread of the SDK that has to give way leaves the remaining
// steps to the next round of the grab keeper.
class Reconnection {
  public:
    Reconnection(CMyCamera& camera, CameraConnection& connection, const StopGate& stopGate,
                 const Notices& notices, const Settings& settings, ModuleEvents& events);

    // The SDK's callbacks, on its threads.
    void OnException(std::uint32_t messageType);
    void OnEvent(const KZEventInfo* event);

    // The camera of that opening is lost: reports it, destroys its handle and starts the search.
    void HandleLoss(std::uint32_t openId);
    [[nodiscard]] bool LossSeen(std::uint32_t openId) const EXCLUDES(m_lossLock);
    // Continues a loss that gave way, and starts a search that found no thread.
    void CatchUp() EXCLUDES(m_lossLock);

    void StartReconnect() { Seek(m_connection.Choices()); }
    // Ends the search; only asks it to end if its thread may be waiting for the caller's.
    void StopLastReconnect();
    // From End to Allow no search starts.
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

    // The loss being handled; its `next` is None when there is none.
    [[nodiscard]] Loss PresentLoss() EXCLUDES(m_lossLock);
    // False: gave way, repeat the step.
    [[nodiscard]] bool Take(const Loss& loss);
    [[nodiscard]] bool EndSearch();

    // Starts the search unless the host has made a choice since `choices`.
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
    bool m_handling GUARDED_BY(m_lossLock) = false;  // a thread is taking the steps
    Relaxed<bool> m_startOwed{false};                // a search found no thread
    Relaxed<std::uint32_t> m_seekChoices{0};

    WorkerThread m_thReconnect;
};

}  // namespace cam
