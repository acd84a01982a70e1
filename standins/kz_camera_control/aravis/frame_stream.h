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

// What a camera's link has transferred.
struct StreamCounters {
    std::uint64_t receivedBytes = 0;
    std::uint64_t receivedFrames = 0;  // complete ones
    std::uint64_t lostFrames = 0;      // incomplete, without a free buffer, or not seen at all
    std::uint64_t lostPackets = 0;
    std::uint64_t requestedResends = 0;
    std::uint64_t resentPackets = 0;

    StreamCounters& operator+=(const StreamCounters& other);
};

// Takes frames off an Aravis stream on its own thread and delivers the complete ones. An incomplete
// frame is only counted.
class FrameStream {
  public:
    // As in DeviceSink.
    using Receiver = std::function<bool(const std::uint8_t* pixels, const FrameOutInfo* info)>;

    // `frameSize`: bytes of the camera's payload.
    FrameStream(GObjectPtr<ArvStream> stream, std::size_t frameSize, Receiver receiver);
    ~FrameStream();
    FrameStream(const FrameStream&) = delete;
    FrameStream& operator=(const FrameStream&) = delete;

    // Returns when the thread has left the receiver for good. Not from inside the receiver; may be
    // repeated.
    void Stop();

    [[nodiscard]] StreamCounters Counters() const;

    // Releases ownership of the stream; once, after Stop.
    [[nodiscard]] GObjectPtr<ArvStream> TakeStream() { return std::move(m_stream); }

  private:
    void Run();
    void Take(ArvBuffer* buffer);
    // False when the SDK's record cannot describe the buffer's content.
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
