#include "standins/kz_camera_control/simulated/stream.h"

#include <algorithm>
#include <new>
#include <utility>

namespace kz {
namespace {

constexpr std::int64_t kBufferedFrames = 8;

std::chrono::nanoseconds Period(float rate) {
    return std::chrono::nanoseconds(static_cast<std::int64_t>(1e9 / static_cast<double>(rate)));
}

}  // namespace

SimulatedStream::SimulatedStream(const Picture& picture, const Pacing& pacing, Outlet outlet)
    : m_format(picture),
      m_outlet(std::move(outlet)),
      m_picture(picture.width, picture.height, picture.pixelType),
      m_pacing(pacing),
      m_nextFrame(Clock::now() + Period(pacing.rate)) {
    m_thread = std::thread([this] { Run(); });
}

SimulatedStream::~SimulatedStream() {
    Stop();
}

void SimulatedStream::SetPacing(const Pacing& pacing) {
    const std::lock_guard lock(m_mutex);
    if (pacing == m_pacing) {
        return;
    }
    m_pacing = pacing;
    m_nextFrame = Clock::now() + Period(pacing.rate);
    m_triggeredFrames = 0;
    m_wake.notify_all();
}

void SimulatedStream::Trigger(std::uint32_t frames) {
    const std::lock_guard lock(m_mutex);
    if (m_pacing.triggered) {
        m_triggeredFrames += frames;
        m_wake.notify_all();
    }
}

bool SimulatedStream::Deliver(const std::uint8_t* pixels, const FrameOutInfo* info) {
    ForeignFrame frame{pixels, info};
    std::unique_lock lock(m_mutex);
    if (m_stopping) {
        return false;
    }
    m_foreignFrames.push_back(&frame);
    m_wake.notify_all();
    m_foreignDone.wait(lock, [&frame] { return frame.done; });
    return frame.taken;
}

void SimulatedStream::RequestStop() {
    const std::lock_guard lock(m_mutex);
    m_stopping = true;
    m_wake.notify_all();
}

void SimulatedStream::Stop() {
    RequestStop();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void SimulatedStream::Run() {
    std::unique_lock lock(m_mutex);
    while (!m_stopping) {
        if (!m_foreignFrames.empty()) {
            HandOverForeign(lock);
        } else if (m_pacing.triggered) {
            if (m_triggeredFrames == 0) {
                m_wake.wait(lock);
            } else {
                --m_triggeredFrames;
                HandOver(lock);
            }
        } else if (Clock::now() < m_nextFrame) {
            m_wake.wait_until(lock, m_nextFrame);
        } else {
            m_nextFrame += Period(m_pacing.rate);
            HandOver(lock);
            CountLost(lock);
        }
    }
    for (ForeignFrame* const frame : m_foreignFrames) {
        frame->done = true;
    }
    m_foreignFrames.clear();
    m_foreignDone.notify_all();
}

void SimulatedStream::HandOver(std::unique_lock<std::mutex>& lock) {
    const std::uint32_t number = ++m_frameNumber;
    lock.unlock();
    try {
        Send(number);
    } catch (const std::bad_alloc&) {
        // Like a real camera's frame that found no buffer.
        m_outlet.lost(1);
    }
    lock.lock();
}

void SimulatedStream::Send(std::uint32_t number) {
    const auto pixels = m_picture.Render(number);
    const auto deviceTime = static_cast<std::uint64_t>(
        std::chrono::nanoseconds(Clock::now().time_since_epoch()).count());
    const auto hostTime = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::system_clock::now().time_since_epoch());
    FrameOutInfo info{};
    info.width = static_cast<std::uint16_t>(m_format.width);
    info.height = static_cast<std::uint16_t>(m_format.height);
    info.pixelType = m_format.pixelType;
    info.frameNumber = number;
    info.deviceTimestampHigh = static_cast<std::uint32_t>(deviceTime >> 32);
    info.deviceTimestampLow = static_cast<std::uint32_t>(deviceTime);
    info.hostTimestamp = hostTime.count();
    info.frameLength = static_cast<std::uint32_t>(pixels.size());
    m_outlet.frame(pixels.data(), info);
}

void SimulatedStream::HandOverForeign(std::unique_lock<std::mutex>& lock) {
    ForeignFrame* const frame = m_foreignFrames.front();
    m_foreignFrames.pop_front();
    lock.unlock();
    const bool taken = m_outlet.foreignFrame(frame->pixels, frame->info);
    lock.lock();
    frame->taken = taken;
    frame->done = true;
    m_foreignDone.notify_all();
}

void SimulatedStream::CountLost(std::unique_lock<std::mutex>& lock) {
    const auto period = Period(m_pacing.rate);
    const std::int64_t behind = (Clock::now() - m_nextFrame) / period;
    if (behind <= kBufferedFrames) {
        return;
    }
    const auto lost = static_cast<std::uint32_t>(behind - kBufferedFrames);
    m_frameNumber += lost;
    m_nextFrame += period * static_cast<std::int64_t>(lost);
    lock.unlock();
    m_outlet.lost(lost);
    lock.lock();
}

}  // namespace kz
