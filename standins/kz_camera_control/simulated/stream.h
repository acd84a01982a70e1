// One acquisition of a simulated camera: the thread that paces frames and delivers them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "standins/kz_camera_control/camera.h"
#include "standins/kz_camera_control/simulated/picture.h"

namespace kz {

// Frame numbers start at 1 with each acquisition, like the block ids of a camera. A few buffers
// absorb a late callback; further frames are lost, and their numbers missing.
class SimulatedStream {
  public:
    struct Picture {
        std::uint32_t width;
        std::uint32_t height;
        std::uint32_t pixelType;
    };
    struct Pacing {
        bool triggered;
        float rate;  // frames per second, in free run
        bool operator==(const Pacing&) const = default;
    };
    // Receives the frames; called on the stream's thread, without its lock.
    struct Outlet {
        // A frame of the camera; may change `info`.
        std::function<void(const std::uint8_t* pixels, FrameOutInfo& info)> frame;
        // A frame supplied by a test. True: a callback took it.
        std::function<bool(const std::uint8_t* pixels, const FrameOutInfo* info)> foreignFrame;
        std::function<void(std::uint32_t count)> lost;
    };

    SimulatedStream(const Picture& picture, const Pacing& pacing, Outlet outlet);
    ~SimulatedStream();
    SimulatedStream(const SimulatedStream&) = delete;
    SimulatedStream& operator=(const SimulatedStream&) = delete;

    void SetPacing(const Pacing& pacing);
    // Frames for one trigger; without effect in free run.
    void Trigger(std::uint32_t frames);

    // One frame as given. Waits until it has been delivered; false when it was not.
    bool Deliver(const std::uint8_t* pixels, const FrameOutInfo* info);

    // No frame starts after this; one in progress continues.
    void RequestStop();
    // RequestStop, then waits for the frame in progress. Not from inside the outlet.
    void Stop();

  private:
    using Clock = std::chrono::steady_clock;

    struct ForeignFrame {
        const std::uint8_t* pixels;
        const FrameOutInfo* info;
        bool done = false;
        bool taken = false;
    };

    void Run();
    // All three with the lock held on entry and return, and released in between.
    void HandOver(std::unique_lock<std::mutex>& lock);
    void HandOverForeign(std::unique_lock<std::mutex>& lock);
    void CountLost(std::unique_lock<std::mutex>& lock);
    void Send(std::uint32_t number);  // without the lock

    const Picture m_format;
    const Outlet m_outlet;
    TestPicture m_picture;  // used by the thread only

    std::mutex m_mutex;  // guards the members below, up to the thread
    std::condition_variable m_wake;
    std::condition_variable m_foreignDone;
    bool m_stopping = false;
    Pacing m_pacing;
    Clock::time_point m_nextFrame;
    std::uint32_t m_frameNumber = 0;
    std::uint32_t m_triggeredFrames = 0;
    std::deque<ForeignFrame*> m_foreignFrames;  // owned by the threads that wait for them

    std::thread m_thread;
};

}  // namespace kz
