#include "host/connection_log.h"

#include <utility>

#include "host/text.h"
#include "module/framework/module_frame.h"

namespace host {
namespace {

constexpr std::string_view kOfflineKey = "CameraOffline";
constexpr std::string_view kOnlineKey = "CameraOnline";
// Of kReportCameraSource.
constexpr std::string_view kLost = "0";
constexpr std::string_view kReconnected = "1";

// kReportCameraState is "id-state-serial".
bool TellsOffline(std::string_view text) {
    const auto fields = SplitFields(text, '-');
    return fields.size() > 1 && fields[1] == "0";
}

}  // namespace

void ConnectionLog::Opened(bool byAddress) {
    const std::lock_guard lock(m_mutex);
    m_opened = true;
    m_byAddress = byAddress;
    m_lostAt.reset();
    m_events.clear();
}

void ConnectionLog::OnNotice(std::uint32_t code, std::string_view text) {
    const std::lock_guard lock(m_mutex);
    if (!m_opened) {
        return;
    }
    if (code == kReportCameraState) {
        if (TellsOffline(text)) {
            Lost();
        }
    } else if (code == kReportCameraSource) {
        if (text == kLost) {
            Lost();
        } else if (text == kReconnected) {
            Back();
        }
    } else if (code != kReportFrameStarted) {  // which comes with every frame
        m_events.push_back({EventKind::Other, std::chrono::system_clock::now(),
                            "notice " + std::to_string(code) + " " + std::string(text)});
    }
}

void ConnectionLog::OnPublished(std::string_view key) {
    const std::lock_guard lock(m_mutex);
    if (key == kOfflineKey && m_opened) {
        Lost();
    } else if (key == kOnlineKey && m_opened && m_byAddress) {
        // A camera found by its serial number is told once it is set up, too, which is later and
        // better.
        Back();
    }
}

void ConnectionLog::Lost() {
    if (!m_lostAt) {
        m_lostAt = Clock::now();
        ++m_totals.losses;
        m_events.push_back({EventKind::Lost, std::chrono::system_clock::now(), {}});
    }
}

void ConnectionLog::Back() {
    if (m_lostAt) {
        m_totals.secondsAway += std::chrono::duration<double>(Clock::now() - *m_lostAt).count();
        m_lostAt.reset();
        m_events.push_back({EventKind::Back, std::chrono::system_clock::now(), {}});
    }
}

std::vector<ConnectionLog::Event> ConnectionLog::Take() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_events, {});
}

bool ConnectionLog::Online() const {
    const std::lock_guard lock(m_mutex);
    return !m_lostAt;
}

std::optional<Clock::duration> ConnectionLog::Away() const {
    const std::lock_guard lock(m_mutex);
    return m_lostAt ? std::optional(Clock::now() - *m_lostAt) : std::nullopt;
}

ConnectionLog::Totals ConnectionLog::Count() const {
    const std::lock_guard lock(m_mutex);
    Totals totals = m_totals;
    if (m_lostAt) {
        totals.secondsAway += std::chrono::duration<double>(Clock::now() - *m_lostAt).count();
    }
    return totals;
}

std::string EventText(const ConnectionLog::Event& event) {
    switch (event.kind) {
        case ConnectionLog::EventKind::Lost:
            return "camera lost";
        case ConnectionLog::EventKind::Back:
            return "camera back";
        case ConnectionLog::EventKind::Other:
            break;
    }
    return event.text;
}

}  // namespace host
