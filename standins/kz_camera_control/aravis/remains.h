// What is left of a camera that does not answer any more. Giving it back to Aravis takes seconds,
// because Aravis says goodbye to the camera and waits for the answer; nobody who handles the loss
// should have to wait for that.
#pragma once

#include <thread>

#include "standins/kz_camera_control/aravis/glib_ptr.h"

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

// Gives remains back on a thread of their own, because a camera that comes and goes leaves new ones
// sooner than the old are gone. Nobody waits for it; the library is never unloaded under it. Where
// no thread can be had it happens here.
void GiveBack(Remains remains) noexcept;

}  // namespace kz
