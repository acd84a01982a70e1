// What is left of a camera that no longer answers. Releasing it takes seconds, because Aravis signs
// off at the camera and waits for the answer; the handling of a loss must not wait for that.
#pragma once

#include <thread>

#include "standins/kz_camera_control/aravis/glib_ptr.h"

namespace kz {

struct Remains {
    Remains() = default;
    Remains(Remains&&) = default;
    Remains& operator=(Remains&&) = delete;
    ~Remains();

    // Released in this order: the watching thread uses the device, the stream belongs to it.
    std::thread watch;
    GObjectPtr<ArvStream> stream;
    GObjectPtr<ArvDevice> device;
};

// Releases remains on a thread of their own, because a camera that comes and goes leaves new
// remains before the old ones are released. The thread is never waited for; the library stays
// loaded. If no thread can be started, releases them here.
void GiveBack(Remains remains) noexcept;

}  // namespace kz
