// watch: the live state of a camera.
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "host/commands.h"
#include "host/console.h"
#include "host/frame_observer.h"
#include "host/grab_run.h"
#include "host/interrupt.h"
#include "host/print.h"
#include "host/text.h"

namespace host {
namespace {

constexpr std::chrono::milliseconds kTakeInterval{50};
constexpr std::chrono::seconds kShowInterval{1};
constexpr std::chrono::seconds kFirstFrameTime{2};
constexpr std::size_t kRoomForTime = 80;  // columns

// What is shown once a second.
struct State {
    bool online = true;
    double frameRate = 0;
    std::uint64_t waiting = 0;
    std::uint64_t dropped = 0;
    std::uint64_t missing = 0;
    TransportErrors errors;
};

std::string StateText(const State& state) {
    return std::string(state.online ? "on line " : "off line") + "  " +
           Decimal(state.frameRate, 1) + " frames/s  " + std::to_string(state.waiting) +
           " waiting  " + std::to_string(state.dropped) + " dropped  " +
           std::to_string(state.missing) + " missing  " +
           std::to_string(state.errors.errorFrames + state.errors.lostFrames) + " lost";
}

Json StateJson(const State& state) {
    Json json;
    json["event"] = "state";
    json["online"] = state.online;
    json["frames_per_second"] = state.frameRate;
    json["waiting"] = state.waiting;
    json["dropped_by_module"] = state.dropped;
    json["missing"] = state.missing;
    json["error_frames"] = state.errors.errorFrames;
    json["lost_frames"] = state.errors.lostFrames;
    json["lost_packets"] = state.errors.lostPackets;
    return json;
}

Json EventJson(const ConnectionLog::Event& event) {
    Json json;
    switch (event.kind) {
        case ConnectionLog::EventKind::Lost:
            json["event"] = "lost";
            break;
        case ConnectionLog::EventKind::Back:
            json["event"] = "back";
            break;
        case ConnectionLog::EventKind::Other:
            json["event"] = "notice";
            json["text"] = event.text;
            break;
    }
    return json;
}

class Watch {
  public:
    Watch(ModuleSession& session, FrameObserver& observer, const Options& options)
        : m_session(session), m_observer(observer), m_options(options) {}

    void Run() {
        m_session.Command("TriggerOff", "1");
        const Clock::time_point start = Clock::now();
        Clock::time_point nextShow = start + kShowInterval;
        while (!Interrupted() && !OutputFailed() &&
               (m_options.seconds == 0 ||
                Clock::now() < start + std::chrono::seconds(m_options.seconds))) {
            TakeFrame();
            ShowEvents();
            if (Clock::now() >= nextShow) {
                nextShow += kShowInterval;
                ShowState();
            }
        }
        m_observer.HostProcedures().Close();
        if (m_lineOpen) {
            Print("\n");
        }
        if (m_errors) {
            PrintMessage("frames were lost on their way; 'camera_host doctor' looks for the cause");
        }
    }

  private:
    void TakeFrame() {
        if (const auto run = m_observer.HostProcedures().WaitForRun(kTakeInterval)) {
            Frame frame;
            if (m_session.TakeFrame(frame) == 0) {
                m_observer.Journal().Taken(frame.Record().frameNumber, Clock::now());
                ++m_framesSinceShown;
                m_awaitsFirst = false;
            }
            m_observer.HostProcedures().Done(*run);
        } else if (m_awaitsFirst && m_observer.Connection().Online() && Clock::now() >= m_restart) {
            Restart();
        }
    }

    // A camera that comes back waits for triggers, and may have forgotten its settings. Repeated
    // until a frame comes: the module may still be setting the camera up.
    void Restart() try {
        m_restart = Clock::now() + kFirstFrameTime;
        m_session.WriteSettings(m_options);
        static_cast<void>(m_session.TryCommand("TriggerOff", "1"));
    } catch (const Failure&) {
        // Tried again.
        m_restart = Clock::now() + kFirstFrameTime;
    }

    void ShowEvents() {
        for (const ConnectionLog::Event& event : m_observer.Connection().Take()) {
            if (event.kind == ConnectionLog::EventKind::Lost) {
                m_observer.Journal().Restart();
            } else if (event.kind == ConnectionLog::EventKind::Back) {
                m_missingBefore = m_observer.Journal().Count().missing;
                m_awaitsFirst = true;
                m_restart = Clock::now();
            }
            Show(event.time, EventText(event), EventJson(event));
        }
    }

    void ShowState() {
        const Clock::time_point now = Clock::now();
        const double seconds = std::chrono::duration<double>(now - m_lastShown).count();
        const FrameJournal::Counts counts = m_observer.Journal().Count();
        State state;
        state.online = m_observer.Connection().Online();
        state.frameRate = static_cast<double>(m_framesSinceShown) / seconds;
        state.waiting = counts.waiting;
        state.dropped = counts.discarded;
        state.missing = counts.missing - m_missingBefore;
        state.errors = TransportErrors::Parse(m_session.Get("CameraErrorInfo"));
        m_errors = m_errors || state.errors.Matter(1);
        m_framesSinceShown = 0;
        m_lastShown = now;
        const auto time = std::chrono::system_clock::now();
        if (const std::size_t width = OutputWidth(); width != 0 && !m_options.json) {
            // One line that is drawn anew; a full one would make the terminal go to the next.
            const bool roomForTime = width >= kRoomForTime;
            const std::string line =
                (roomForTime ? TimeOfDay(time) + " " : std::string()) + StateText(state);
            Print(kClearLine + line.substr(0, width - 1));
            m_lineOpen = true;
        } else {
            Show(time, StateText(state), StateJson(state));
        }
    }

    void Show(std::chrono::system_clock::time_point time, const std::string& text,
              const Json& json) {
        if (m_options.json) {
            Json line;
            line["time"] = TimestampText(time);
            line.update(json);
            PrintJsonLine(line);
        } else {
            Print((m_lineOpen ? kClearLine : "") + TimeOfDay(time) + " " + text + "\n");
            m_lineOpen = false;
        }
    }

    ModuleSession& m_session;
    FrameObserver& m_observer;
    const Options& m_options;
    bool m_lineOpen = false;  // the state stands on the terminal's last line
    bool m_errors = false;
    bool m_awaitsFirst = false;  // no frame came since the camera came back
    Clock::time_point m_restart;
    std::uint64_t m_missingBefore = 0;  // this connection
    std::uint64_t m_framesSinceShown = 0;
    Clock::time_point m_lastShown = Clock::now();
};

}  // namespace

ExitCode RunWatch(const Options& options) {
    FrameObserver observer(options.procedures);
    ModuleSession session(options, observer);
    OpenFollowed(session, observer, options);
    session.RelateProcedures(options.procedures);
    Watch(session, observer, options).Run();
    return Interrupted() ? ExitCode::Interrupted : ExitCode::Ok;
}

}  // namespace host
