// Detects the loss of a camera. Aravis reports it too (control-lost), but only after five seconds
// of silence, and not at all while other calls delay its heartbeat.
#pragma once

#include <functional>
#include <memory>
#include <thread>

#include "standins/kz_camera_control/aravis/glib_ptr.h"
#include "standins/kz_camera_control/camera.h"

namespace kz {

// A thread polls the camera twice a second; a camera that does not answer within Aravis's own
// retries (2.5 s), or that we no longer control, is lost for good. So is one that does not answer
// any other call.
class LossWatch {
  public:
    // `onLoss` is called once, on the watching thread, with no lock held.
    LossWatch(ArvDevice* device, std::function<void()> onLoss);
    ~LossWatch();
    LossWatch(const LossWatch&) = delete;
    LossWatch& operator=(const LossWatch&) = delete;

    [[nodiscard]] bool Lost() const;

    // Makes a call on the camera, unless it is lost. Calls and the watch take turns, so that a
    // silent camera is not waited for twice.
    [[nodiscard]] Code Ask(const std::function<Code()>& call);

    // Ends the watch and returns its thread, to be joined before the device is released. Waits for
    // `onLoss` if it is running; it is not called again.
    [[nodiscard]] std::thread End();

  private:
    struct State;
    static void Run(State& state);
    static void OnControlLost(ArvDevice* device, gpointer state);

    std::shared_ptr<State> m_state;
    ArvDevice* m_device;
    gulong m_signal = 0;
    std::thread m_thread;
};

}  // namespace kz
