#include "host/recorder.h"

#include <algorithm>
#include <cstdio>
#include <system_error>

#include "host/exit_codes.h"
#include "host/files.h"
#include "host/machine.h"

namespace host {
namespace {

constexpr std::uint64_t kQueueBytes = 512ULL << 20;
constexpr std::uint64_t kFewestWaiting = 4;
constexpr std::uint64_t kMostWaiting = 64;
constexpr unsigned kFewestWriters = 2;
constexpr unsigned kMostWriters = 8;

}  // namespace

Recorder::Recorder(const RecordingOptions& options, WhenFull whenFull)
    : m_folder(PathOf(options.folder)),
      m_format(options.format),
      m_whenFull(whenFull),
      m_room(options.queue.value_or(0)) {
    std::error_code error;
    std::filesystem::create_directories(m_folder, error);
    if (std::error_code ignored; !std::filesystem::is_directory(m_folder, ignored)) {
        throw Failure("the folder '" + options.folder + "' cannot be made: " +
                      (error ? error.message() : "something else has its name"));
    }
    const std::uint64_t writers = options.writers.value_or(
        std::clamp(std::thread::hardware_concurrency(), kFewestWriters, kMostWriters));
    for (std::uint64_t i = 0; i < writers; ++i) {
        m_threads.emplace_back([this] {
            // A frame that waits to be written is safe; one that waits to be received is lost.
            LowerThreadPriority();
            Run();
        });
    }
}

Recorder::~Recorder() {
    Stop();
}

void Recorder::Offer(Frame frame, std::uint64_t number) {
    std::unique_lock lock(m_mutex);
    if (m_room == 0) {
        const std::uint64_t size = std::max<std::uint64_t>(frame.Record().dataLength, 1);
        m_room = std::clamp(kQueueBytes / size, kFewestWaiting, kMostWaiting);
    }
    if (m_counts.written == 0 && m_jobs.empty() && m_begin == Clock::time_point()) {
        m_begin = Clock::now();
    }
    const auto hasRoom = [&] { return m_jobs.size() < m_room || !m_counts.error.empty(); };
    if (m_whenFull == WhenFull::Wait) {
        m_changed.wait(lock, hasRoom);
    }
    if (!m_counts.error.empty()) {
        return;
    }
    if (!hasRoom()) {
        ++m_counts.dropped;
        return;
    }
    m_jobs.push_back({std::move(frame), number});
    m_changed.notify_all();
}

bool Recorder::Failed() const {
    const std::lock_guard lock(m_mutex);
    return !m_counts.error.empty();
}

Recorder::Counts Recorder::Finish() {
    Stop();
    const std::lock_guard lock(m_mutex);
    return m_counts;
}

void Recorder::Stop() noexcept {
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
        m_changed.notify_all();
    }
    for (std::thread& thread : m_threads) {
        if (thread.joinable()) {
            thread.join();
        }
    }
}

void Recorder::Run() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [&] { return m_stop || !m_jobs.empty(); });
        if (m_jobs.empty()) {
            return;
        }
        Job job = std::move(m_jobs.front());
        m_jobs.pop_front();
        m_changed.notify_all();
        if (!m_counts.error.empty()) {
            continue;
        }
        lock.unlock();
        std::string error;
        std::uint64_t bytes = 0;
        try {
            bytes = Save(job);
        } catch (const std::exception& failed) {
            error = failed.what();
        }
        job = {};  // handed back without the lock
        lock.lock();
        if (error.empty()) {
            ++m_counts.written;
            m_counts.bytes += bytes;
            m_counts.seconds = std::chrono::duration<double>(Clock::now() - m_begin).count();
        } else if (m_counts.error.empty()) {
            m_counts.error = std::move(error);
            m_changed.notify_all();
        }
    }
}

std::uint64_t Recorder::Save(const Job& job) const {
    char name[40];
    std::snprintf(name, sizeof name, "frame-%06llu", static_cast<unsigned long long>(job.number));
    return WritePicture(job.frame.Record(), m_format, m_folder / name);
}

}  // namespace host
