// watch: the live state of a camera.
#include <cstdio>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "host/commands.h"
#include "host/console.h"
#include "host/grab_run.h"
#include "host/interrupt.h"
#include "host/text.h"

namespace host {
namespace {

constexpr std::chrono::milliseconds kTakeInterval{50};
constexpr std::chrono::seconds kShowInterval{1};

struct Notice {
    std::uint32_t code;
    std::string text;
};

// Keeps the notices of the camera until they are shown.
class WatchObserver : public FrameObserver {
  public:
    using FrameObserver::FrameObserver;

    void OnNotice(std::uint32_t code, std::string_view text) override {
        // Comes with every frame.
        if (code != kReportFrameStarted) {
            const std::lock_guard lock(m_mutex);
            m_notices.push_back({code, std::string(text)});
        }
    }

    [[nodiscard]] std::vector<Notice> TakeNotices() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_notices, {});
    }

  private:
    std::mutex m_mutex;
    std::vector<Notice> m_notices;  // guarded by the mutex
};

enum class NoticeKind { OnLine, OffLine, Lost, Reconnected, Other };

NoticeKind KindOf(const Notice& notice) {
    if (notice.code == kReportCameraSource) {
        return notice.text == "0"   ? NoticeKind::Lost
               : notice.text == "1" ? NoticeKind::Reconnected
                                    : NoticeKind::Other;
    }
    if (notice.code == kReportCameraState) {
        const auto fields = SplitFields(notice.text, '-');
        return fields.size() > 1 && fields[1] == "1" ? NoticeKind::OnLine : NoticeKind::OffLine;
    }
    return NoticeKind::Other;
}

std::string Describe(const Notice& notice) {
    switch (KindOf(notice)) {
        case NoticeKind::OnLine:
            return "camera on line";
        case NoticeKind::OffLine:
            return "camera off line";
        case NoticeKind::Lost:
            return "camera lost";
        case NoticeKind::Reconnected:
            return "camera back again";
        case NoticeKind::Other:
            break;
    }
    return "notice " + std::to_string(notice.code) + " " + notice.text;
}

class Watch {
  public:
    Watch(ModuleSession& session, WatchObserver& observer)
        : m_session(session), m_observer(observer), m_terminal(OutputIsTerminal()) {}

    void Run(std::uint64_t seconds) {
        m_session.Command("TriggerOff", "1");
        const Clock::time_point start = Clock::now();
        Clock::time_point nextShow = start + kShowInterval;
        while (!Interrupted() && !OutputFailed() &&
               (seconds == 0 || Clock::now() < start + std::chrono::seconds(seconds))) {
            TakeFrame();
            ShowNotices();
            if (Clock::now() >= nextShow) {
                nextShow += kShowInterval;
                ShowState();
            }
        }
        m_observer.HostProcedures().Close();
        if (m_terminal) {
            std::fputs("\n", Output());
        }
    }

  private:
    void TakeFrame() {
        if (const auto run = m_observer.HostProcedures().WaitForRun(kTakeInterval)) {
            Frame frame;
            if (m_session.TakeFrame(frame) == 0) {
                m_observer.Journal().Taken(frame.Record().frameNumber, Clock::now());
                ++m_framesSinceShown;
            }
            m_observer.HostProcedures().Done(*run);
        }
    }

    void ShowNotices() {
        for (const Notice& notice : m_observer.TakeNotices()) {
            const NoticeKind kind = KindOf(notice);
            if (kind == NoticeKind::OnLine || kind == NoticeKind::Reconnected) {
                m_online = true;
            } else if (kind == NoticeKind::OffLine || kind == NoticeKind::Lost) {
                m_online = false;
            }
            // A camera that comes back waits for triggers.
            if (kind == NoticeKind::Reconnected) {
                static_cast<void>(m_session.TryCommand("TriggerOff", "1"));
            }
            std::fprintf(Output(), "%s%s\n", m_terminal ? kClearLine : "",
                         Describe(notice).c_str());
        }
        std::fflush(Output());
    }

    void ShowState() {
        const Clock::time_point now = Clock::now();
        const double seconds = std::chrono::duration<double>(now - m_lastShown).count();
        const FrameJournal::Counts counts = m_observer.Journal().Count();
        const TransportErrors errors = TransportErrors::Parse(m_session.Get("CameraErrorInfo"));
        const auto lost = errors.errorFrames + errors.lostFrames;
        std::fprintf(Output(),
                     "%s%s  %s frames/s  %llu waiting  %llu dropped  %llu missing  %lld lost%s",
                     m_terminal ? kClearLine : "", m_online ? "on line " : "off line",
                     Decimal(static_cast<double>(m_framesSinceShown) / seconds, 1).c_str(),
                     static_cast<unsigned long long>(counts.waiting),
                     static_cast<unsigned long long>(counts.discarded),
                     static_cast<unsigned long long>(counts.missing), static_cast<long long>(lost),
                     m_terminal ? "" : "\n");
        std::fflush(Output());
        m_framesSinceShown = 0;
        m_lastShown = now;
    }

    ModuleSession& m_session;
    WatchObserver& m_observer;
    bool m_terminal;
    bool m_online = true;  // the camera was opened just now
    std::uint64_t m_framesSinceShown = 0;
    Clock::time_point m_lastShown = Clock::now();
};

}  // namespace

ExitCode RunWatch(const Options& options) {
    WatchObserver observer(options.procedures);
    ModuleSession session(options, observer);
    static_cast<void>(observer.TakeNotices());  // of --gentl; no camera is open yet
    session.OpenCamera(options, true);
    session.RelateProcedures(options.procedures);
    Watch(session, observer).Run(options.seconds);
    return Interrupted() ? ExitCode::Interrupted : ExitCode::Ok;
}

}  // namespace host
