// The callbacks registered on one handle, and the thread on which exceptions and events come.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "standins/kz_camera_control/camera.h"

namespace kz {

// Frames come on the device's thread, exceptions and events on a thread of this object's own. Any
// thread may call.
class HandleCallbacks : public std::enable_shared_from_this<HandleCallbacks> {
  public:
    HandleCallbacks() { m_queue.reserve(kMostNotices); }

    void SetImage(KZImageCallback callback, void* user);
    void SetException(KZExceptionCallback callback, void* user);
    void SetEvent(const std::string& name, KZEventCallback callback, void* user);

    // Starts accepting what a device delivers. The sink shares this object.
    [[nodiscard]] DeviceSink Open();
    // Drops what is queued. A callback in progress on the event thread continues, none starts.
    void Close();
    // Closes and ends the event thread, which may be the calling one, without waiting for it.
    void Shutdown();

    // Waits for the exception or event callback in progress, unless this is its thread.
    void WaitForNotice();

    [[nodiscard]] bool InFrameCallback() const {
        return m_frameThread == std::this_thread::get_id();
    }

  private:
    template <typename Function>
    struct Registration {
        Function callback = nullptr;
        void* user = nullptr;
    };

    // A pending report of the event thread: an event by its name, or without a name an exception.
    struct Notice {
        char eventName[sizeof KZEventInfo::name] = {};
        std::uint32_t messageType = 0;
    };
    // Events beyond this are lost when a callback is slow; space for exceptions is reserved.
    static constexpr std::size_t kMostNotices = 256;
    static constexpr std::size_t kMostEvents = 240;

    bool RunFrame(const std::uint8_t* pixels, const FrameOutInfo* info);
    void PostException(std::uint32_t messageType) noexcept;
    void PostEvent(std::string_view name) noexcept;
    void Post(const Notice& notice, std::size_t room) noexcept;
    void RunEventThread();

    std::atomic<std::thread::id> m_frameThread{};  // the one inside the frame callback

    std::mutex m_mutex;  // guards the members below; never held while calling out
    std::condition_variable m_wake;
    std::condition_variable m_noticeDone;
    std::thread::id m_noticeThread;  // inside an exception or event callback
    Registration<KZImageCallback> m_image;
    Registration<KZExceptionCallback> m_exception;
    std::map<std::string, Registration<KZEventCallback>, std::less<>> m_events;
    std::vector<Notice> m_queue;  // never grows: posting must not throw
    bool m_open = false;
    bool m_threadStarted = false;
    bool m_shutDown = false;
};

}  // namespace kz
