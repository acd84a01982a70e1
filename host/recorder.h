// Records frames as files beside the frame path.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/command_line.h"
#include "host/module_session.h"
#include "host/statistics.h"

namespace host {

// Owns the threads that encode and write, and the frames until they are written, so that the pixels
// are not copied. Lives no longer than the module.
class Recorder {
  public:
    struct Counts {
        std::uint64_t written = 0;  // frames
        std::uint64_t dropped = 0;  // because the queue was full
        std::uint64_t bytes = 0;
        double seconds = 0;  // from the first frame offered to the last one written
        std::string error;   // why a file could not be written; empty: all could
    };

    // What happens to a frame while the queue is full.
    enum class WhenFull { Wait, Drop };

    // Makes the folder where it is missing; throws host::Failure when that fails.
    Recorder(const RecordingOptions& options, WhenFull whenFull);
    // Writes what is still waiting.
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    // Records the frame as "frame-NNNNNN" of its number in the run. After a failure it does
    // nothing.
    void Offer(Frame frame, std::uint64_t number);

    // A file could not be written; nothing more is.
    [[nodiscard]] bool Failed() const;

    // Waits until all are written.
    [[nodiscard]] Counts Finish();

  private:
    struct Job {
        Frame frame;
        std::uint64_t number = 0;
    };

    void Run();
    void Stop() noexcept;
    [[nodiscard]] std::uint64_t Save(const Job& job) const;

    const std::filesystem::path m_folder;
    const PictureFormat m_format;
    const WhenFull m_whenFull;

    mutable std::mutex m_mutex;  // guards all below but the threads
    std::condition_variable m_changed;
    std::uint64_t m_room;  // frames that may wait; 0: not known before the first one
    std::deque<Job> m_jobs;
    bool m_stop = false;
    Counts m_counts;
    Clock::time_point m_begin;
    std::vector<std::thread> m_threads;
};

}  // namespace host
