// What a run of frames came to: taken, lost and why, how fast.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/connection_log.h"
#include "host/recorder.h"
#include "host/statistics.h"
#include "host/value_info.h"

namespace host {

// The camera's and the transport's own counters, as the key "CameraErrorInfo" answers them.
struct TransportErrors {
    std::int64_t errorFrames = 0;  // USB3
    std::int64_t lostFrames = 0;   // GigE
    std::int64_t lostPackets = 0;  // GigE

    [[nodiscard]] static TransportErrors Parse(std::string_view text);
    // More than the frame that was under way when the camera's stream was opened.
    [[nodiscard]] bool Matter(std::uint64_t streams) const {
        return errorFrames + lostFrames > static_cast<std::int64_t>(streams);
    }
};

// All of a run that is worth telling.
struct GrabSummary {
    std::string model;
    std::string camera;  // serial number or address
    bool runByCamera = false;
    std::uint64_t frames = 0;
    double seconds = 0;
    std::optional<double> cameraRate;  // frames per second, as they arrived at the module
    std::optional<double> frameRate;   // as the host took them
    std::optional<double> byteRate;
    std::optional<double> medianMilliseconds;  // from arrival to the host
    std::optional<double> highMilliseconds;    // 99th percentile
    std::uint64_t notDelivered = 0;
    std::uint64_t dropped = 0;  // by the module
    std::uint64_t missing = 0;
    TransportErrors transport;
    ConnectionLog::Totals connection;
    struct Recording {
        std::string folder;
        PictureFormat format = PictureFormat::Png;
        Recorder::Counts counts;
    };
    std::optional<Recording> recording;
};

// A few lines for people.
[[nodiscard]] std::string SummaryText(const GrabSummary& summary);
[[nodiscard]] Json ToJson(const GrabSummary& summary);

class GrabRun {
  public:
    explicit GrabRun(FrameJournal& journal) : m_journal(journal) {}

    void Taken(const cam::BufferNode& record);
    void NotDelivered() { ++m_notDelivered, ++m_notDeliveredInARow; }
    // The camera is lost: neither rates nor numbers go on from here.
    void Interrupted();

    [[nodiscard]] std::uint64_t Frames() const { return m_frames; }
    [[nodiscard]] std::uint64_t NotDeliveredInARow() const { return m_notDeliveredInARow; }

    void Fill(GrabSummary& summary) const;

  private:
    FrameJournal& m_journal;
    std::uint64_t m_frames = 0;
    std::uint64_t m_notDelivered = 0;
    std::uint64_t m_notDeliveredInARow = 0;
    Rate m_rate;
    Clock::time_point m_begin = Clock::now();
    std::vector<double> m_milliseconds;  // from arrival to the host, one per frame
};

}  // namespace host
