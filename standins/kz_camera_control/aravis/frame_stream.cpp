#include "standins/kz_camera_control/aravis/frame_stream.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace kz {
namespace {

// Enough buffers to bridge a slow receiver, limited so that large frames do not exhaust the
// machine's memory.
constexpr std::size_t kMostBuffers = 16;
constexpr std::size_t kFewestBuffers = 4;
constexpr std::size_t kBufferMemory = std::size_t{256} << 20;

// How soon a stop is noticed while no frames come.
constexpr guint64 kWaitMicroseconds = 50'000;

constexpr std::uint64_t kNanosecondsPerMillisecond = 1'000'000;

// Touches the memory now and not while packets wait. Aravis's own allocation would end the process
// when out of memory.
ArvBuffer* MakeBuffer(std::size_t size) {
    void* const memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    // Not 0, which compilers may turn into an untouched zeroed allocation.
    std::memset(memory, 1, size);
    return arv_buffer_new_full(size, memory, memory, &std::free);
}

bool HoldsImage(ArvBuffer* buffer) {
    switch (arv_buffer_get_payload_type(buffer)) {
        case ARV_BUFFER_PAYLOAD_TYPE_IMAGE:
        case ARV_BUFFER_PAYLOAD_TYPE_EXTENDED_CHUNK_DATA:
        case ARV_BUFFER_PAYLOAD_TYPE_MULTIPART:
            return arv_buffer_get_n_parts(buffer) > 0;
        default:
            return false;
    }
}

// A buffer that can no longer become a frame, as opposed to one that a stop returned.
bool IsSpoilt(ArvBufferStatus status) {
    return status == ARV_BUFFER_STATUS_TIMEOUT || status == ARV_BUFFER_STATUS_MISSING_PACKETS ||
           status == ARV_BUFFER_STATUS_WRONG_PACKET_ID || status == ARV_BUFFER_STATUS_SIZE_MISMATCH;
}

bool FitsRecord(gint pixels) {
    return pixels > 0 && pixels <= std::numeric_limits<std::uint16_t>::max();
}

}  // namespace

StreamCounters& StreamCounters::operator+=(const StreamCounters& other) {
    receivedBytes += other.receivedBytes;
    receivedFrames += other.receivedFrames;
    lostFrames += other.lostFrames;
    lostPackets += other.lostPackets;
    requestedResends += other.requestedResends;
    resentPackets += other.resentPackets;
    return *this;
}

FrameStream::FrameStream(GObjectPtr<ArvStream> stream, std::size_t frameSize, Receiver receiver)
    : m_stream(std::move(stream)), m_receiver(std::move(receiver)) {
    const std::size_t buffers = std::clamp(kBufferMemory / std::max<std::size_t>(frameSize, 1),
                                           kFewestBuffers, kMostBuffers);
    for (std::size_t index = 0; index < buffers; ++index) {
        arv_stream_push_buffer(m_stream.get(), MakeBuffer(frameSize));
    }
    m_thread = std::thread([this] { Run(); });
}

FrameStream::~FrameStream() {
    Stop();
}

void FrameStream::Stop() {
    m_stop = true;
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

StreamCounters FrameStream::Counters() const {
    const auto counter = [this](const char* name) {
        return arv_stream_get_info_uint64_by_name(m_stream.get(), name);
    };
    StreamCounters counters;
    counters.receivedFrames = m_received;
    counters.receivedBytes = counter("n_transferred_bytes");
    counters.lostFrames = m_lost;
    if (ARV_IS_GV_STREAM(m_stream.get())) {
        counters.lostPackets = counter("n_missing_packets");
        counters.requestedResends = counter("n_resend_requests");
        counters.resentPackets = counter("n_resent_packets");
    }
    return counters;
}

void FrameStream::Run() {
    while (!m_stop) {
        ArvBuffer* const buffer = arv_stream_timeout_pop_buffer(m_stream.get(), kWaitMicroseconds);
        if (buffer == nullptr) {
            continue;
        }
        if (!m_stop) {
            Take(buffer);
        }
        arv_stream_push_buffer(m_stream.get(), buffer);
    }
}

void FrameStream::Take(ArvBuffer* buffer) {
    const ArvBufferStatus status = arv_buffer_get_status(buffer);
    const bool whole = status == ARV_BUFFER_STATUS_SUCCESS;
    if (!whole && !IsSpoilt(status)) {
        return;
    }
    // Counted here because Aravis counts a frame that found no buffer once for each packet.
    m_lost += static_cast<std::uint64_t>(CountUnseen(m_numbers, arv_buffer_get_frame_id(buffer)));
    ++(whole && Deliver(buffer) ? m_received : m_lost);
}

bool FrameStream::Deliver(ArvBuffer* buffer) {
    if (!HoldsImage(buffer)) {
        return false;
    }
    const gint width = arv_buffer_get_image_width(buffer);
    const gint height = arv_buffer_get_image_height(buffer);
    std::size_t size = 0;
    const void* const pixels = arv_buffer_get_image_data(buffer, &size);
    if (pixels == nullptr || !FitsRecord(width) || !FitsRecord(height) ||
        size > std::numeric_limits<std::uint32_t>::max()) {
        return false;
    }
    const std::uint64_t deviceTime = arv_buffer_get_timestamp(buffer);
    FrameOutInfo info{};
    info.width = static_cast<std::uint16_t>(width);
    info.height = static_cast<std::uint16_t>(height);
    info.pixelType = arv_buffer_get_image_pixel_format(buffer);
    info.frameNumber = static_cast<std::uint32_t>(arv_buffer_get_frame_id(buffer));
    info.deviceTimestampHigh = static_cast<std::uint32_t>(deviceTime >> 32);
    info.deviceTimestampLow = static_cast<std::uint32_t>(deviceTime);
    info.hostTimestamp = static_cast<std::int64_t>(arv_buffer_get_system_timestamp(buffer) /
                                                   kNanosecondsPerMillisecond);
    info.frameLength = static_cast<std::uint32_t>(size);
    // The counters count received frames, wanted or not.
    (void)m_receiver(static_cast<const std::uint8_t*>(pixels), &info);
    return true;
}

}  // namespace kz
