// How a GigE Vision stream receives packets. Aravis has two ways: a packet socket, whose ring of 32
// MB the kernel fills, and a plain UDP socket, which costs several times the CPU time and loses
// packets as soon as its buffer is full. Both have a flaw at the start that is fixed here.
#pragma once

#include <cstddef>

#include "standins/kz_camera_control/aravis/glib_ptr.h"

namespace kz {

// Creates a stream that has received no packet yet: on the packet socket if possible, else on a
// plain one with buffer space for frames of `frameSize` bytes, whose reason is logged once per
// process. Null: `error` has the reason. The camera must not be sending. Takes at most a second.
[[nodiscard]] GObjectPtr<ArvStream> CreateGigEStream(ArvGvDevice* device,
                                                     ArvStreamCallback callback,
                                                     std::size_t frameSize, GErrorHolder& error);

}  // namespace kz
