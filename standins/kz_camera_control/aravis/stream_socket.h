// How a GigE Vision stream gets its packets. Aravis has two ways: a packet socket, whose ring of
// 32 MB the kernel fills, and a plain UDP socket, which costs a multiple of the CPU time and loses
// packets as soon as its buffer is full. Both have a flaw at the start that is mended here.
#pragma once

#include <cstddef>

#include "standins/kz_camera_control/aravis/glib_ptr.h"

namespace kz {

// Creates a stream that has heard no packet yet: on the packet socket where that can be had, else
// on a plain one with room for frames of `frameSize` bytes. Why it is a plain one is logged, once a
// process. Null: `error` tells why. The camera must not be sending. Takes a second at most.
[[nodiscard]] GObjectPtr<ArvStream> CreateGigEStream(ArvGvDevice* device,
                                                     ArvStreamCallback callback,
                                                     std::size_t frameSize, GErrorHolder& error);

}  // namespace kz
