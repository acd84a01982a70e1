#include "standins/kz_camera_control/linux/remains.h"

#include <chrono>
#include <utility>

namespace kz {

Remains::~Remains() {
    if (watch.joinable()) {
        watch.join();
    }
    stream.reset();
    device.reset();
}

void RemainsCollector::Take(Remains remains) {
    const std::lock_guard lock(m_mutex);
    std::erase_if(m_underWay, [](const std::future<void>& each) {
        return each.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    });
    // Given back within the thread: what a task has captured lives as long as its future.
    m_underWay.push_back(std::async(std::launch::async, [taken = std::move(remains)]() mutable {
        const Remains released = std::move(taken);
    }));
}

}  // namespace kz
