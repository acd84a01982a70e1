#include "host/procedures.h"

namespace host {

bool Procedures::TryRun(std::int32_t procedure, std::uint32_t frameNumber) {
    const std::lock_guard lock(m_mutex);
    const auto index = static_cast<std::size_t>(procedure) - 1;
    if (m_closed || index >= m_busy.size() || m_busy[index]) {
        return false;
    }
    m_busy[index] = true;
    m_runs.push_back({procedure, frameNumber});
    m_taken.notify_one();
    return true;
}

std::optional<Procedures::Run> Procedures::WaitForRun(std::chrono::milliseconds timeout) {
    std::unique_lock lock(m_mutex);
    if (!m_taken.wait_for(lock, timeout, [&] { return !m_runs.empty(); })) {
        return std::nullopt;
    }
    const Run run = m_runs.front();
    m_runs.pop_front();
    return run;
}

void Procedures::Done(const Run& run) {
    const std::lock_guard lock(m_mutex);
    m_busy[static_cast<std::size_t>(run.procedure) - 1] = false;
}

void Procedures::Close() {
    const std::lock_guard lock(m_mutex);
    m_closed = true;
}

}  // namespace host
