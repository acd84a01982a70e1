// Keeps the open camera streaming.
#pragma once

#include "base/module_events.h"
#include "base/notices.h"
#include "base/worker_thread.h"
#include "camera/my_camera.h"
#include "camera/reconnection.h"

namespace cam {

// Its thread restarts a camera within 200 ms of any stop that leaves it open, and finishes the
// handling of a loss. Nothing is started while a camera is being set up or a feature is written
// that needs the stream stopped (CMyCamera::Configuration).
class GrabKeeper {
  public:
    GrabKeeper(CMyCamera& camera, Reconnection& reconnection, const Notices& notices,
               ModuleEvents& events)
        : m_camera(camera),
          m_reconnection(reconnection),
          m_notices(notices),
          m_events(events),
          m_thGrabbing([this] { KeepGrabbing(); }, &events.WakeEvent) {}

    [[nodiscard]] bool Start() { return m_thGrabbing.Start(); }
    // True when the thread ran.
    bool Stop() { return m_thGrabbing.Stop(); }

  private:
    void KeepGrabbing();
    void SeekIfLost(std::uint32_t openId);

    CMyCamera& m_camera;
    Reconnection& m_reconnection;
    const Notices& m_notices;
    ModuleEvents& m_events;
    std::uint32_t m_lostOpen = 0;  // the opening found lost in the previous round

    WorkerThread m_thGrabbing;
};

}  // namespace cam
