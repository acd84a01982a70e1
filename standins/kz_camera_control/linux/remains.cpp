#include "standins/kz_camera_control/linux/remains.h"

#include <utility>

namespace kz {

Remains::~Remains() {
    if (watch.joinable()) {
        watch.join();
    }
    stream.reset();
    device.reset();
}

RemainsCollector::RemainsCollector() : m_thread([this] { Run(); }) {}

RemainsCollector::~RemainsCollector() {
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

void RemainsCollector::Take(Remains remains) {
    {
        const std::lock_guard lock(m_mutex);
        m_waiting.push_back(std::move(remains));
    }
    m_changed.notify_one();
}

void RemainsCollector::Run() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_stop || !m_waiting.empty(); });
        if (m_waiting.empty()) {
            return;
        }
        {
            const Remains remains = std::move(m_waiting.front());
            m_waiting.pop_front();
            lock.unlock();
        }
        lock.lock();
    }
}

}  // namespace kz
