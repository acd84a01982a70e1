// The host's inspection procedures as the module sees them when frames run by camera: each one
// takes a frame, is busy until the host is done with it, and refuses others meanwhile.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

namespace host {

class Procedures {
  public:
    struct Run {
        std::int32_t procedure;
        std::uint32_t frameNumber;
    };

    // Ids 1 to `count`.
    explicit Procedures(std::uint64_t count) : m_busy(count, false) {}

    // True: the procedure takes the frame. Any thread; never blocks for long.
    bool TryRun(std::int32_t procedure, std::uint32_t frameNumber);

    // The next frame taken, in the order in which they were; nothing when none comes in time.
    std::optional<Run> WaitForRun(std::chrono::milliseconds timeout);

    // The procedure is ready for another frame.
    void Done(const Run& run);

    // From now on every frame is refused.
    void Close();

  private:
    std::mutex m_mutex;  // guards all below
    std::condition_variable m_taken;
    std::vector<bool> m_busy;
    std::deque<Run> m_runs;
    bool m_closed = false;
};

}  // namespace host
