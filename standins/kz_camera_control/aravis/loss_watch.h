// Notices that a camera is gone. Aravis tells so too (control-lost), but only after five seconds of
// silence, and not at all while other calls keep its heartbeat waiting.
#pragma once

#include <functional>
#include <memory>
#include <thread>

#include "standins/kz_camera_control/aravis/glib_ptr.h"
#include "standins/kz_camera_control/camera.h"

namespace kz {

// A thread asks the camera twice a second; a camera that does not answer within Aravis's own
// retries (2.5 s), or answers that we no longer control it, is lost for good. So is one that leaves
// any other call without an answer.
class LossWatch {
  public:
    // `onLoss` is called once, on the watching thread, with no lock held.
    LossWatch(ArvDevice* device, std::function<void()> onLoss);
    ~LossWatch();
    LossWatch(const LossWatch&) = delete;
    LossWatch& operator=(const LossWatch&) = delete;

    [[nodiscard]] bool Lost() const;

    // Makes a call on the camera, unless it is lost. Calls and the watch take turns, so that not
    // each of them waits out a silent camera by itself.
    [[nodiscard]] Code Ask(const std::function<Code()>& call);

    // Ends the watch and hands its thread over, to be joined before the device is given back.
    // Waits for a call of `onLoss` under way; none comes any more.
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
