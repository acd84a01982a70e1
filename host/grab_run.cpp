#include "host/grab_run.h"

#include <nlohmann/json.hpp>

#include <charconv>

#include "host/text.h"

namespace host {
namespace {

constexpr double kMega = 1e6;

std::string Line(const char* name, const std::string& text) {
    std::string line = name;
    line.resize(16, ' ');
    return line + text + "\n";
}

std::string RecordingText(const GrabSummary::Recording& recording) {
    const Recorder::Counts& counts = recording.counts;
    std::string text = std::to_string(counts.written) + " as " +
                       PictureFormatName(recording.format) + " in " + recording.folder;
    if (counts.seconds > 0) {
        text += ", " + Decimal(static_cast<double>(counts.written) / counts.seconds, 2) +
                " frames/s, " +
                Decimal(static_cast<double>(counts.bytes) / counts.seconds / kMega, 2) + " MB/s";
    }
    return Line("pictures saved", text) +
           Line("disk dropped",
                std::to_string(counts.dropped) + " frames that writing did not keep up with");
}

Json NumberOrNull(const std::optional<double>& number) {
    return number ? Json(*number) : Json(nullptr);
}

}  // namespace

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
    m_rate.Count(now, record.dataLength);
    ++m_frames;
    m_notDeliveredInARow = 0;
}

void GrabRun::Interrupted() {
    m_rate.Pause();
    m_journal.Restart();
    m_notDeliveredInARow = 0;
}

void GrabRun::Fill(GrabSummary& summary) const {
    const FrameJournal::Counts counts = m_journal.Count();
    summary.frames = m_frames;
    summary.seconds = std::chrono::duration<double>(Clock::now() - m_begin).count();
    summary.cameraRate = counts.rate;
    summary.frameRate = m_rate.PerSecond();
    summary.byteRate = m_rate.AmountPerSecond();
    summary.medianMilliseconds = Percentile(m_milliseconds, 50);
    summary.highMilliseconds = Percentile(m_milliseconds, 99);
    summary.notDelivered = m_notDelivered;
    summary.dropped = counts.discarded;
    summary.missing = counts.missing;
}

std::string SummaryText(const GrabSummary& summary) {
    std::string text = Line("camera", summary.model + " (" + summary.camera + "), " +
                                          (summary.runByCamera ? "run by camera" : "on request")) +
                       Line("frames taken", std::to_string(summary.frames));
    if (summary.cameraRate) {
        text += Line("camera rate",
                     Decimal(*summary.cameraRate, 2) + " frames/s, as they arrived at the module");
    }
    if (summary.frameRate && summary.byteRate) {
        text += Line("frame rate", Decimal(*summary.frameRate, 2) + " frames/s taken") +
                Line("data rate", Decimal(*summary.byteRate / kMega, 2) + " MB/s");
    }
    if (summary.medianMilliseconds && summary.highMilliseconds) {
        text += Line("arrival to host", Decimal(*summary.medianMilliseconds, 3) + " ms median, " +
                                            Decimal(*summary.highMilliseconds, 3) +
                                            " ms 99th percentile");
    }
    text += Line("not delivered", std::to_string(summary.notDelivered) + " (no frame in time)") +
            Line("dropped", std::to_string(summary.dropped) +
                                " by the module (queue limit, or not convertible)") +
            Line("missing", std::to_string(summary.missing) + " in the camera's frame numbers") +
            Line("transport", std::to_string(summary.transport.errorFrames) + " error frames, " +
                                  std::to_string(summary.transport.lostFrames) + " lost frames, " +
                                  std::to_string(summary.transport.lostPackets) + " lost packets") +
            Line("connection", std::to_string(summary.connection.losses) +
                                   (summary.connection.losses == 1 ? " loss, " : " losses, ") +
                                   Decimal(summary.connection.secondsAway, 1) +
                                   " s without the camera");
    return summary.recording ? text + RecordingText(*summary.recording) : text;
}

Json ToJson(const GrabSummary& summary) {
    Json json;
    json["model"] = summary.model;
    json["camera"] = summary.camera;
    json["run_by_camera"] = summary.runByCamera;
    json["frames"] = summary.frames;
    json["seconds"] = summary.seconds;
    json["camera_frames_per_second"] = NumberOrNull(summary.cameraRate);
    json["frames_per_second"] = NumberOrNull(summary.frameRate);
    json["bytes_per_second"] = NumberOrNull(summary.byteRate);
    json["latency_ms_median"] = NumberOrNull(summary.medianMilliseconds);
    json["latency_ms_p99"] = NumberOrNull(summary.highMilliseconds);
    json["not_delivered"] = summary.notDelivered;
    json["dropped_by_module"] = summary.dropped;
    json["missing"] = summary.missing;
    json["error_frames"] = summary.transport.errorFrames;
    json["lost_frames"] = summary.transport.lostFrames;
    json["lost_packets"] = summary.transport.lostPackets;
    json["losses"] = summary.connection.losses;
    json["seconds_away"] = summary.connection.secondsAway;
    if (summary.recording) {
        const Recorder::Counts& counts = summary.recording->counts;
        Json recording;
        recording["folder"] = summary.recording->folder;
        recording["format"] = PictureFormatName(summary.recording->format);
        recording["written"] = counts.written;
        recording["dropped"] = counts.dropped;
        recording["bytes"] = counts.bytes;
        recording["seconds"] = counts.seconds;
        recording["error"] = counts.error.empty() ? Json(nullptr) : Json(counts.error);
        json["recording"] = std::move(recording);
    }
    return json;
}

}  // namespace host
