// Saves frames as PNG files beside the frame path.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>

#include "host/module_session.h"

namespace host {

// The picture of a record as the bytes of a PNG file; empty when its format is neither Mono8 nor
// RGB8 or its data are too short for its size.
[[nodiscard]] std::string EncodePng(const cam::BufferNode& record);

// Owns the thread that encodes and writes, and the frames until they are written, so that the
// pixels are not copied. A file has its name only once it is complete. Lives no longer than the
// module.
class PictureWriter {
  public:
    // Makes the folder (UTF-8) where it is missing; throws host::Failure when that fails.
    explicit PictureWriter(const std::string& folder);
    // Writes what is still waiting.
    ~PictureWriter();
    PictureWriter(const PictureWriter&) = delete;
    PictureWriter& operator=(const PictureWriter&) = delete;

    // Saves the frame as "frame-NNNNNN.png" of its number in the run. Waits while the writer is
    // far behind, rather than to let pictures go missing.
    void Write(Frame frame, std::uint64_t number);

    // Waits until all are written and returns how many are. Throws host::Failure with the first
    // reason when one could not be.
    std::uint64_t Finish();

  private:
    struct Job {
        Frame frame;
        std::uint64_t number = 0;
    };

    void Run();
    void Stop() noexcept;
    [[nodiscard]] std::string Save(const Job& job) const;  // the error; empty when it went well

    const std::filesystem::path m_folder;
    std::mutex m_mutex;  // guards all below but the thread
    std::condition_variable m_changed;
    std::deque<Job> m_jobs;
    bool m_stop = false;
    std::uint64_t m_written = 0;
    std::string m_error;
    std::thread m_thread;
};

}  // namespace host
