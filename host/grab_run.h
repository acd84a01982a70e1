// What a run of frames came to: taken, lost and why, how fast.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/module_session.h"
#include "host/procedures.h"
#include "host/statistics.h"

namespace host {

// Keeps the journal of frames and runs the host's procedures.
class FrameObserver : public ModuleObserver {
  public:
    explicit FrameObserver(std::uint64_t procedureCount) : m_procedures(procedureCount) {}

    void OnFrameArrived(std::uint32_t frameNumber) override;
    void OnNotice(std::uint32_t, std::string_view) override {}
    bool OnTryRunProcedure(std::int32_t procedure, std::uint32_t frameNumber) override;

    [[nodiscard]] FrameJournal& Journal() { return m_journal; }
    [[nodiscard]] Procedures& HostProcedures() { return m_procedures; }

  private:
    FrameJournal m_journal;
    Procedures m_procedures;
};

// The camera's and the transport's own counters, as the key "CameraErrorInfo" answers them.
struct TransportErrors {
    std::int64_t errorFrames = 0;  // USB3
    std::int64_t lostFrames = 0;   // GigE
    std::int64_t lostPackets = 0;  // GigE

    [[nodiscard]] static TransportErrors Parse(std::string_view text);
};

class GrabRun {
  public:
    explicit GrabRun(FrameJournal& journal) : m_journal(journal) {}

    void Taken(const cam::BufferNode& record);
    void NotDelivered() { ++m_notDelivered, ++m_notDeliveredInARow; }

    [[nodiscard]] std::uint64_t Frames() const { return m_frames; }
    [[nodiscard]] std::uint64_t NotDeliveredInARow() const { return m_notDeliveredInARow; }

    // A few lines for people; `errors` since the run began.
    [[nodiscard]] std::string Summary(const TransportErrors& errors) const;

  private:
    FrameJournal& m_journal;
    std::uint64_t m_frames = 0;
    std::uint64_t m_bytes = 0;
    std::uint64_t m_notDelivered = 0;
    std::uint64_t m_notDeliveredInARow = 0;
    std::optional<Clock::time_point> m_first;  // taken
    Clock::time_point m_last;
    std::uint64_t m_firstBytes = 0;
    std::vector<double> m_milliseconds;  // from arrival to the host, one a frame
};

}  // namespace host
