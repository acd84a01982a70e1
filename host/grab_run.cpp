#include "host/grab_run.h"

#include <charconv>

#include "host/text.h"

namespace host {

void FrameObserver::OnFrameArrived(std::uint32_t frameNumber) {
    m_journal.Arrived(frameNumber, Clock::now());
}

bool FrameObserver::OnTryRunProcedure(std::int32_t procedure, std::uint32_t frameNumber) {
    return m_procedures.TryRun(procedure, frameNumber);
}

TransportErrors TransportErrors::Parse(std::string_view text) {
    TransportErrors errors;
    std::int64_t* const targets[] = {&errors.errorFrames, &errors.lostFrames, &errors.lostPackets};
    const auto fields = SplitFields(text);
    for (std::size_t i = 0; i < std::size(targets) && i < fields.size(); ++i) {
        std::from_chars(fields[i].data(), fields[i].data() + fields[i].size(), *targets[i]);
    }
    return errors;
}

void GrabRun::Taken(const cam::BufferNode& record) {
    const Clock::time_point now = Clock::now();
    if (const auto elapsed = m_journal.Taken(record.frameNumber, now)) {
        m_milliseconds.push_back(std::chrono::duration<double, std::milli>(*elapsed).count());
    }
    if (!m_first) {
        m_first = now;
        m_firstBytes = record.dataLength;
    }
    m_last = now;
    ++m_frames;
    m_bytes += record.dataLength;
    m_notDeliveredInARow = 0;
}

std::string GrabRun::Summary(const TransportErrors& errors) const {
    const FrameJournal::Counts counts = m_journal.Count();
    std::string text = "frames taken    " + std::to_string(m_frames) + "\n";

    // n frames span n - 1 intervals.
    const double seconds = m_first ? std::chrono::duration<double>(m_last - *m_first).count() : 0;
    if (seconds > 0) {
        constexpr double kMega = 1e6;
        text += "frame rate      " + Decimal(static_cast<double>(m_frames - 1) / seconds, 2) +
                " frames/s\n" + "data rate       " +
                Decimal(static_cast<double>(m_bytes - m_firstBytes) / seconds / kMega, 2) +
                " MB/s\n";
    }
    const auto median = Percentile(m_milliseconds, 50);
    const auto highest = Percentile(m_milliseconds, 99);
    if (median && highest) {
        text += "arrival to host " + Decimal(*median, 3) + " ms median, " + Decimal(*highest, 3) +
                " ms 99th percentile\n";
    }
    text += "not delivered   " + std::to_string(m_notDelivered) + " (no frame in time)\n" +
            "dropped         " + std::to_string(counts.discarded) +
            " by the module (queue limit, or not convertible)\n" + "missing         " +
            std::to_string(counts.missing) + " in the camera's frame numbers\n" +
            "transport       " + std::to_string(errors.errorFrames) + " error frames, " +
            std::to_string(errors.lostFrames) + " lost frames, " +
            std::to_string(errors.lostPackets) + " lost packets\n";
    return text;
}

}  // namespace host
