#include "camera/reconnection.h"

#include <chrono>

#include "base/log.h"
#include "base/on_exit.h"

namespace cam {

namespace {

constexpr char kFrameStart[] = "FrameStart";
constexpr char kReconnect[] = "ReConnectDevice";
constexpr char kException[] = "cbException";

constexpr std::chrono::milliseconds kFirstPause{50};
constexpr std::chrono::milliseconds kRetryPause{500};

}  // namespace

Reconnection::Reconnection(CMyCamera& camera, CameraConnection& connection,
                           const StopGate& stopGate, const Notices& notices,
                           const Settings& settings, ModuleEvents& events)
    : m_camera(camera),
      m_connection(connection),
      m_stopGate(stopGate),
      m_notices(notices),
      m_settings(settings),
      m_events(events),
      m_thReconnect([this] { ReConnectDevice(); }, &events.ReconnectStopEvent) {}

void Reconnection::OnException(std::uint32_t messageType) {
    // Before anything that takes time: by then the host may have chosen another camera, or none.
    const std::uint32_t openId = m_camera.OpenId();
    CAM_LOG(kLogError, m_notices.ModuleId(), kException, "(%s)Camera callback exception:(%x)",
            m_connection.Serial().c_str(), messageType);
    if (messageType == KZ_EXCEPTION_DISCONNECTED) {
        HandleLoss(openId);
    }
}

void Reconnection::OnEvent(const KZEventInfo* event) {
    if (event == nullptr || FieldText(event->name) != kFrameStart) {
        return;
    }
    CAM_LOG(kLogError, m_notices.ModuleId(), "EventCallBack",
            "Receive FrameStart event from CamSDK.");
    m_notices.ReportFrameStarted(m_connection.Serial().view());
}

void Reconnection::HandleLoss(std::uint32_t openId) {
    const Loss loss{openId, m_connection.Choices(), m_connection.Serial(), Step::Publish};
    {
        const LockGuard hold(m_lossLock);
        if (openId == 0 || openId != m_camera.OpenId() || openId == m_loss.openId) {
            return;
        }
        m_loss = loss;
    }
    CatchUp();
}

bool Reconnection::LossSeen(std::uint32_t openId) const {
    const LockGuard hold(m_lossLock);
    return m_loss.openId == openId;
}

void Reconnection::CatchUp() {
    if (m_startOwed.Get()) {
        Seek(m_seekChoices.Get());
    }
    {
        const LockGuard hold(m_lossLock);
        if (m_handling || m_loss.next == Step::None) {
            return;
        }
        m_handling = true;
    }
    const OnExit done([this] {
        const LockGuard hold(m_lossLock);
        m_handling = false;
    });
    for (Loss loss = PresentLoss(); loss.next != Step::None; loss = PresentLoss()) {
        if (!Take(loss)) {
            return;
        }
        const LockGuard hold(m_lossLock);
        if (m_loss.openId == loss.openId) {
            m_loss.next = static_cast<Step>(static_cast<int>(loss.next) + 1);
        }
    }
}

Reconnection::Loss Reconnection::PresentLoss() {
    const LockGuard hold(m_lossLock);
    if (m_loss.choices != m_connection.Choices()) {
        m_loss.next = Step::None;  // overtaken
    }
    return m_loss;
}

bool Reconnection::Take(const Loss& loss) {
    switch (loss.next) {
        case Step::Publish:
            m_notices.PublishCameraOffline(kException);
            return true;
        case Step::Report:
            m_notices.ReportCameraOff(kException, loss.serial.view());
            return true;
        case Step::EndSearch:
            return EndSearch();
        case Step::Drop:
            return m_camera.DropLost(loss.openId);
        case Step::ReportSource:
            m_notices.ReportCameraSource(kException, kSourceCameraLost);
            return true;
        case Step::Search:
            Seek(loss.choices);
            return true;
        case Step::None:
            break;
    }
    return true;
}

// A search left from an earlier loss may be about to report success, which must come before what
// follows.
bool Reconnection::EndSearch() {
    if (m_stopGate.HoldsConnection()) {
        m_thReconnect.RequestStop();
        return true;
    }
    m_thReconnect.Stop([this] { return !m_stopGate.MustGiveWay(); });
    return !m_stopGate.MustGiveWay();
}

void Reconnection::Seek(std::uint32_t choices) {
    m_seekChoices.Set(choices);
    const bool started = m_thReconnect.Start();
    if (!started && !m_startOwed.Get()) {
        CAM_LOG(kLogError, m_notices.ModuleId(), "CCameraModule::StartReconnect",
                "Reconnect thread not started, no resources; tried again");
    }
    m_startOwed.Set(!started);
}

void Reconnection::StopLastReconnect() {
    m_startOwed.Set(false);
    if (m_stopGate.OthersMayWait()) {
        // The host called from inside an open, or on a thread that a stop waits for. The search may
        // be waiting for the connection, so it is only asked to end; it does once it finds the
        // camera open.
        m_thReconnect.RequestStop();
        return;
    }
    m_thReconnect.Stop();
}

void Reconnection::ReConnectDevice() {
    using Clock = std::chrono::steady_clock;
    try {
        const std::uint32_t choices = m_seekChoices.Get();
        m_events.ReconnectStopEvent.Reset();
        m_events.ReconnectStopEvent.WaitFor(kFirstPause);
        if (choices != m_connection.Choices()) {
            return;  // the host has just chosen another camera, or none
        }
        const CameraText sought = m_connection.SoughtSerial();
        const Clock::time_point start = Clock::now();
        // A stop during the first pause comes from a module that has just closed the camera.
        while (!m_thReconnect.StopRequested() && ReconnectWanted(sought.view())) {
            CAM_LOG(kLogError, m_notices.ModuleId(), kReconnect, "Try connect to camera(%s)...",
                    sought.c_str());
            if (m_connection.Reopen(sought)) {
                return;
            }
            if (m_events.ReconnectStopEvent.WaitFor(kRetryPause)) {
                m_events.ReconnectStopEvent.Reset();
            }
            const std::chrono::seconds limit(m_settings.reconnectTime.Get());
            if (Clock::now() - start >= limit) {
                return;
            }
        }
    } catch (...) {
        CAM_LOG(kLogError, m_notices.ModuleId(), kReconnect, "Exception happened id=%d",
                m_notices.ModuleId());
    }
}

bool Reconnection::ReconnectWanted(std::string_view serial) const {
    const std::int32_t mode = m_settings.connectionMode.Get();
    const bool byAddress = mode == kConnectByAddress && m_settings.autoConnect.Get();
    const bool bySelection = mode == kConnectBySelection && !serial.empty();
    return (byAddress || bySelection) && !m_camera.IsOpen();
}

}  // namespace cam
