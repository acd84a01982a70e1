// grab: frames on request or run by camera.
#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

#include "host/commands.h"
#include "host/console.h"
#include "host/frame_observer.h"
#include "host/grab_run.h"
#include "host/interrupt.h"
#include "host/print.h"
#include "host/progress.h"
#include "host/text.h"

namespace host {
namespace {

constexpr std::uint64_t kDefaultFrames = 10;
constexpr std::uint64_t kNoLimit = 0;
// A camera that misses this many frames in a row is not going to send any.
constexpr std::uint64_t kGiveUpAfter = 3;
constexpr std::chrono::milliseconds kLookInterval{50};
constexpr std::chrono::seconds kErrorInterval{1};
// How much longer than the module a lost camera is waited for.
constexpr std::chrono::seconds kReconnectMargin{5};
constexpr std::int64_t kUsualSoftwareSource = 7;

// The module writes enumerations by number, and cameras number their trigger sources as they like.
std::string SoftwareTriggerSource(ModuleSession& session) {
    if (const auto& inspector = session.Inspector()) {
        if (const auto feature = inspector->Feature(session.CameraId(), "TriggerSource")) {
            for (const ValueEntry& entry : feature->entries) {
                if (entry.name == "Software") {
                    return std::to_string(entry.value);
                }
            }
        }
    }
    const std::string text = session.Get("TriggerSource");
    if (IsUnreadable(text)) {
        return {};
    }
    std::int64_t highest = -1;
    for (const ValueEntry& entry :
         DescribeFeature("TriggerSource", ValueType::Enumeration, text).entries) {
        if (entry.value == kUsualSoftwareSource) {
            return std::to_string(kUsualSoftwareSource);
        }
        highest = std::max(highest, entry.value);
    }
    return highest < 0 ? std::string() : std::to_string(highest);
}

std::uint64_t WantedFrames(const Options& options) {
    return options.frames.value_or(options.seconds > 0 ? kNoLimit : kDefaultFrames);
}

class Grab {
  public:
    Grab(const Options& options, ModuleSession& session, FrameObserver& observer)
        : m_options(options),
          m_session(session),
          m_observer(observer),
          m_run(observer.Journal()),
          m_wanted(WantedFrames(options)),
          m_reconnectTime(ParseInteger(session.Get("ReconnectTime")).value_or(0)),
          m_errorsBefore(Errors()),
          m_errorsNow(m_errorsBefore),
          m_progress(m_wanted) {
        if (!options.recording.folder.empty()) {
            m_recorder.emplace(options.recording, options.runByCamera ? Recorder::WhenFull::Drop
                                                                      : Recorder::WhenFull::Wait);
        }
        m_summary.model = session.Get("ModelName");
        // A camera opened by address tells no serial number.
        m_summary.camera = session.CameraId();
        m_summary.runByCamera = options.runByCamera;
    }

    void Run() {
        Prepare();
        m_start = Clock::now();
        m_deadline = m_start + Timeout();
        while (GoesOn()) {
            FollowConnection();
            const bool online = m_observer.Connection().Online();
            if (!online || (m_prepare && !PrepareAgain())) {
                std::this_thread::sleep_for(kLookInterval);
            } else if (m_options.runByCamera) {
                TakeOffered();
            } else {
                TakeRequested();
            }
        }
        m_observer.HostProcedures().Close();
        if (m_options.runByCamera) {
            // A lost camera cannot be stopped, and need not be.
            static_cast<void>(m_session.TryCommand("TriggerOn", "1"));
        }
    }

    // Ends the recording and says how the run went.
    ExitCode Conclude() {
        FollowErrors();
        m_run.Fill(m_summary);
        m_summary.connection = m_observer.Connection().Count();
        m_progress.Clear();
        if (m_recorder) {
            m_summary.recording = {m_options.recording.folder, m_options.recording.format,
                                   m_recorder->Finish()};
        }
        if (m_options.json) {
            PrintJson(ToJson(m_summary));
        } else {
            Print(SummaryText(m_summary));
        }
        if (m_summary.transport.Matter(1 + m_summary.connection.losses)) {
            PrintMessage("frames were lost on their way; 'camera_host doctor' looks for the cause");
        }
        return Outcome();
    }

  private:
    [[nodiscard]] std::chrono::seconds Timeout() const {
        return std::chrono::seconds(m_options.timeoutSeconds);
    }

    [[nodiscard]] bool TimeIsUp() const {
        return m_options.seconds > 0 &&
               Clock::now() >= m_start + std::chrono::seconds(m_options.seconds);
    }

    [[nodiscard]] bool CameraGone() const {
        const auto away = m_observer.Connection().Away();
        return away && *away > m_reconnectTime + kReconnectMargin;
    }

    [[nodiscard]] bool GoesOn() const {
        return (m_wanted == kNoLimit || m_run.Frames() < m_wanted) && !TimeIsUp() &&
               m_run.NotDeliveredInARow() < kGiveUpAfter && !CameraGone() && !Interrupted() &&
               !OutputFailed() && !(m_recorder && m_recorder->Failed());
    }

    // Makes the camera send frames as they are wanted.
    void Prepare() {
        if (m_options.runByCamera) {
            m_session.Command("TriggerProcessRunStatus", "True");
            m_session.Command("TriggerOff", "1");
            return;
        }
        // Or the module would offer the frames to the procedures, too.
        m_session.Command("TriggerProcessRunStatus", "False");
        m_session.Command("SoftTriggerWaitTime", std::to_string(m_options.timeoutSeconds));
        m_session.Command("TriggerOn", "1");
        const std::string source = m_options.triggerSource
                                       ? std::to_string(*m_options.triggerSource)
                                       : SoftwareTriggerSource(m_session);
        if (!source.empty()) {
            m_session.Command("TriggerSource", source);
        }
    }

    // For a camera that is back and may have forgotten everything. False: it is not ready yet.
    bool PrepareAgain() try {
        m_session.WriteSettings(m_options);
        Prepare();
        m_prepare = false;
        m_deadline = Clock::now() + Timeout();
        return true;
    } catch (const Failure& failure) {
        if (Clock::now() >= m_deadline) {
            Tell(std::string("the camera could not be set up: ") + failure.what());
            m_run.NotDelivered();
            m_deadline = Clock::now() + Timeout();
        }
        return false;
    }

    void Tell(const std::string& text) {
        m_progress.Clear();
        std::fprintf(stderr, "%s %s\n", TimeOfDay(std::chrono::system_clock::now()).c_str(),
                     text.c_str());
    }

    void FollowConnection() {
        if (Clock::now() >= m_nextErrors) {
            FollowErrors();
        }
        for (const ConnectionLog::Event& event : m_observer.Connection().Take()) {
            m_progress.Clear();
            std::fprintf(stderr, "%s %s\n", TimeOfDay(event.time).c_str(),
                         EventText(event).c_str());
            if (event.kind == ConnectionLog::EventKind::Lost) {
                m_run.Interrupted();
                // A camera that is opened again counts from 0.
                m_errorsBefore = {};
                m_errorsEarlier = m_summary.transport;
                m_errorsNow = {};
            } else if (event.kind == ConnectionLog::EventKind::Back) {
                m_prepare = true;
                m_awaitsFirst = true;
                m_deadline = Clock::now() + Timeout();
            }
        }
    }

    [[nodiscard]] TransportErrors Errors() {
        return TransportErrors::Parse(m_session.Get("CameraErrorInfo"));
    }

    void FollowErrors() {
        m_nextErrors = Clock::now() + kErrorInterval;
        if (!m_observer.Connection().Online()) {
            return;
        }
        m_errorsNow = Errors();
        TransportErrors& total = m_summary.transport;
        total = m_errorsEarlier;
        total.errorFrames += m_errorsNow.errorFrames - m_errorsBefore.errorFrames;
        total.lostFrames += m_errorsNow.lostFrames - m_errorsBefore.lostFrames;
        total.lostPackets += m_errorsNow.lostPackets - m_errorsBefore.lostPackets;
    }

    void TakeOffered() {
        Procedures& procedures = m_observer.HostProcedures();
        if (const auto run = procedures.WaitForRun(kLookInterval)) {
            Take();
            procedures.Done(*run);
            m_deadline = Clock::now() + Timeout();
        } else if (Clock::now() >= m_deadline) {
            Missed();
        }
    }

    void TakeRequested() {
        m_deadline = Clock::now() + Timeout();
        if (Take()) {
            return;
        }
        // A request that is refused at once would otherwise be repeated as fast as that.
        while (Clock::now() < m_deadline && m_observer.Connection().Online() && !Interrupted()) {
            std::this_thread::sleep_for(kLookInterval);
        }
    }

    void Missed() {
        m_run.NotDelivered();
        // What was written while the camera was still being set up may be undone by now.
        m_prepare = m_awaitsFirst;
        m_deadline = Clock::now() + Timeout();
    }

    // Reads the frame that is due and passes it on.
    bool Take() {
        Frame frame;
        if (m_session.TakeFrame(frame) != 0) {
            Missed();
            // A frame that comes late after all must not pass for the next one asked for.
            m_session.Command("ClearCacheImage", "1");
            return false;
        }
        m_awaitsFirst = false;
        m_run.Taken(frame.Record());
        m_progress.Update(m_run.Frames());
        if (m_recorder && m_run.Frames() % m_options.recording.every == 0) {
            m_recorder->Offer(std::move(frame), m_run.Frames());
        }
        return true;
    }

    [[nodiscard]] ExitCode Outcome() const {
        if (m_summary.recording && !m_summary.recording->counts.error.empty()) {
            throw Failure(m_summary.recording->counts.error);
        }
        if (Interrupted()) {
            return ExitCode::Interrupted;
        }
        if (CameraGone()) {
            throw Failure(ExitCode::NoCamera, "the camera did not come back within " +
                                                  std::to_string(m_reconnectTime.count()) +
                                                  " s (ReconnectTime)");
        }
        // Output that fails is told by main.
        const bool enough =
            m_wanted == kNoLimit ? m_run.Frames() > 0 : m_run.Frames() >= m_wanted || TimeIsUp();
        if (m_run.NotDeliveredInARow() >= kGiveUpAfter || (!enough && !OutputFailed()) ||
            m_run.Frames() == 0) {
            throw Failure(ExitCode::NoFrame, "no frame came any more");
        }
        return ExitCode::Ok;
    }

    const Options& m_options;
    ModuleSession& m_session;
    FrameObserver& m_observer;
    GrabRun m_run;
    const std::uint64_t m_wanted;
    const std::chrono::seconds m_reconnectTime;
    GrabSummary m_summary;
    TransportErrors m_errorsBefore;  // this connection's first ones
    TransportErrors m_errorsNow;
    TransportErrors m_errorsEarlier;  // of connections before
    Clock::time_point m_nextErrors = Clock::now() + kErrorInterval;
    std::optional<Recorder> m_recorder;
    ProgressBar m_progress;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_deadline;
    bool m_prepare = false;
    bool m_awaitsFirst = false;  // no frame came since the camera came back
};

}  // namespace

ExitCode RunGrab(const Options& options) {
    FrameObserver observer(options.procedures);
    ModuleSession session(options, observer);
    OpenFollowed(session, observer, options);
    session.RelateProcedures(options.runByCamera ? options.procedures : 1);
    Grab grab(options, session, observer);
    grab.Run();
    return grab.Conclude();
}

}  // namespace host
