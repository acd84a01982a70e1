// What is left of a camera that does not answer any more. Giving it back to Aravis takes seconds,
// because Aravis says goodbye to the camera and waits for the answer; nobody who handles the loss
// should have to wait for that.
#pragma once

#include <future>
#include <mutex>
#include <thread>
#include <vector>

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

// Gives remains back, each on a thread of its own, because a camera that comes and goes leaves new
// ones sooner than the old are gone. The destructor waits for those under way.
class RemainsCollector {
  public:
    void Take(Remains remains);

  private:
    std::mutex m_mutex;
    std::vector<std::future<void>> m_underWay;  // guarded by m_mutex; a future waits for its thread
};

}  // namespace kz
