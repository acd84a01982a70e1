// What is left of a camera that does not answer any more. Giving it back to Aravis takes seconds,
// because Aravis says goodbye to the camera and waits for the answer; nobody who handles the loss
// should have to wait for that.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "standins/kz_camera_control/linux/glib_ptr.h"

namespace kz {

struct Remains {
    Remains() = default;
    Remains(Remains&&) = default;
    Remains& operator=(Remains&&) = delete;
    ~Remains();

    // Given back in this order: the watching thread uses the device, the stream belongs to it.
    std::thread watch;
    GObjectPtr<ArvStream> stream;
    GObjectPtr<ArvDevice> device;
};

// Gives remains back on a thread of its own. The destructor waits for those still under way.
class RemainsCollector {
  public:
    RemainsCollector();
    ~RemainsCollector();
    RemainsCollector(const RemainsCollector&) = delete;
    RemainsCollector& operator=(const RemainsCollector&) = delete;

    void Take(Remains remains);

  private:
    void Run();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Remains> m_waiting;  // guarded by m_mutex
    bool m_stop = false;            // guarded by m_mutex
    std::thread m_thread;           // last: it uses the members above
};

}  // namespace kz
