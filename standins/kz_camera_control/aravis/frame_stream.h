// The frames of one acquisition.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <thread>
#include <utility>

#include "camera/sdk/kz_camera_control.h"
#include "standins/kz_camera_control/aravis/frame_numbers.h"
#include "standins/kz_camera_control/aravis/glib_ptr.h"

namespace kz {

// What a camera's link has carried.
struct StreamCounters {
    std::uint64_t receivedBytes = 0;
    std::uint64_t receivedFrames = 0;  // complete ones
    std::uint64_t lostFrames = 0;      // incomplete, or without a free buffer, or not seen at all
    std::uint64_t lostPackets = 0;
    std::uint64_t requestedResends = 0;
    std::uint64_t resentPackets = 0;

    StreamCounters& operator+=(const StreamCounters& other);
};

// Takes frames off an Aravis stream on a thread of its own and hands over the complete ones. A
// frame that is not whole is counted and never shown.
class FrameStream {
  public:
    // As in DeviceSink.
    using Receiver = std::function<bool(const std::uint8_t* pixels, const FrameOutInfo* info)>;

    // `frameSize`: bytes of the camera's payload.
    FrameStream(GObjectPtr<ArvStream> stream, std::size_t frameSize, Receiver receiver);
    ~FrameStream();
    FrameStream(const FrameStream&) = delete;
    FrameStream& operator=(const FrameStream&) = delete;

    // Returns when the thread is out of the receiver for good. Never from within it; may be called
    // again.
    void Stop();

    [[nodiscard]] StreamCounters Counters() const;

    // Gives the stream away, to be released elsewhere; after Stop, once.
    [[nodiscard]] GObjectPtr<ArvStream> TakeStream() { return std::move(m_stream); }

  private:
    void Run();
    void Take(ArvBuffer* buffer);
    // False when the buffer holds no image that the SDK's record can tell of.
    [[nodiscard]] bool Deliver(ArvBuffer* buffer);

    GObjectPtr<ArvStream> m_stream;
    const Receiver m_receiver;
    std::atomic<bool> m_stop{false};
    std::atomic<std::uint64_t> m_received{0};
    std::atomic<std::uint64_t> m_lost{0};
    FrameNumbers m_numbers;  // of the thread
    std::thread m_thread;    // last: it uses the members above
};

}  // namespace kz
