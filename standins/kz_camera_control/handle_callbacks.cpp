#include "standins/kz_camera_control/handle_callbacks.h"

#include <utility>

namespace kz {

void HandleCallbacks::SetImage(KZImageCallback callback, void* user) {
    const std::lock_guard lock(m_mutex);
    m_image = {callback, user};
}

void HandleCallbacks::SetException(KZExceptionCallback callback, void* user) {
    const std::lock_guard lock(m_mutex);
    m_exception = {callback, user};
}

void HandleCallbacks::SetEvent(const std::string& name, KZEventCallback callback, void* user) {
    const std::lock_guard lock(m_mutex);
    m_events[name] = {callback, user};
}

DeviceSink HandleCallbacks::Open() {
    const auto self = shared_from_this();
    DeviceSink sink;
    sink.frame = [self](const std::uint8_t* pixels, const FrameOutInfo* info) {
        return self->RunFrame(pixels, info);
    };
    sink.exception = [self](std::uint32_t messageType) { self->PostException(messageType); };
    sink.event = [self](const char* name) { self->PostEvent(name); };

    const std::lock_guard lock(m_mutex);
    if (!m_threadStarted) {
        // Detached, because it may be the one that destroys the handle. It shares this object, and
        // the library is never unloaded.
        std::thread([self] { self->RunEventThread(); }).detach();
        m_threadStarted = true;
    }
    m_open = true;
    return sink;
}

void HandleCallbacks::Close() {
    const std::lock_guard lock(m_mutex);
    m_open = false;
    m_queue.clear();
}

void HandleCallbacks::Shutdown() {
    Close();
    const std::lock_guard lock(m_mutex);
    m_shutDown = true;
    m_wake.notify_all();
}

void HandleCallbacks::WaitForNotice() {
    std::unique_lock lock(m_mutex);
    if (m_noticeThread != std::this_thread::get_id()) {
        m_noticeDone.wait(lock, [this] { return m_noticeThread == std::thread::id{}; });
    }
}

bool HandleCallbacks::RunFrame(const std::uint8_t* pixels, const FrameOutInfo* info) {
    Registration<KZImageCallback> image;
    {
        const std::lock_guard lock(m_mutex);
        image = m_image;
    }
    if (image.callback == nullptr) {
        return false;
    }
    m_frameThread = std::this_thread::get_id();
    image.callback(const_cast<std::uint8_t*>(pixels), const_cast<FrameOutInfo*>(info), image.user);
    m_frameThread = std::thread::id{};
    return true;
}

void HandleCallbacks::PostException(std::uint32_t messageType) noexcept {
    Notice notice;
    notice.messageType = messageType;
    Post(notice, kMostNotices);
}

void HandleCallbacks::PostEvent(std::string_view name) noexcept {
    Notice notice;
    name.copy(notice.eventName, sizeof notice.eventName - 1);
    Post(notice, kMostEvents);
}

void HandleCallbacks::Post(const Notice& notice, std::size_t room) noexcept {
    const std::lock_guard lock(m_mutex);
    if (m_open && m_queue.size() < room) {
        m_queue.push_back(notice);
        m_wake.notify_all();
    }
}

void HandleCallbacks::RunEventThread() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_shutDown || !m_queue.empty(); });
        if (m_shutDown) {
            return;
        }
        const Notice notice = m_queue.front();
        m_queue.erase(m_queue.begin());
        m_noticeThread = std::this_thread::get_id();
        const std::string_view eventName = notice.eventName;
        if (eventName.empty()) {
            const auto exception = m_exception;
            lock.unlock();
            if (exception.callback != nullptr) {
                exception.callback(notice.messageType, exception.user);
            }
        } else {
            const auto found = m_events.find(eventName);
            const auto event =
                found != m_events.end() ? found->second : Registration<KZEventCallback>{};
            lock.unlock();
            if (event.callback != nullptr) {
                KZEventInfo info{};
                eventName.copy(info.name, sizeof info.name - 1);
                event.callback(&info, event.user);
            }
        }
        lock.lock();
        m_noticeThread = {};
        m_noticeDone.notify_all();
    }
}

}  // namespace kz
