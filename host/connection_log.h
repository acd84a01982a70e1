// When the camera went and came back, from the module's notices.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/statistics.h"

namespace host {

// The module tells one loss by several notices, and a return by others; here each is one event.
// Notices come on threads of the module.
class ConnectionLog {
  public:
    enum class EventKind { Lost, Back, Other };
    struct Event {
        EventKind kind;
        std::chrono::system_clock::time_point time;
        std::string text;  // of Other
    };
    struct Totals {
        std::uint64_t losses = 0;
        double secondsAway = 0;
    };

    // The camera was opened, by its serial number or by address; what was told until now is of no
    // interest.
    void Opened(bool byAddress);

    void OnNotice(std::uint32_t code, std::string_view text);
    void OnPublished(std::string_view key);

    // The events since the last call.
    [[nodiscard]] std::vector<Event> Take();

    [[nodiscard]] bool Online() const;
    // How long the camera has been away this time; nothing while it is there.
    [[nodiscard]] std::optional<Clock::duration> Away() const;
    [[nodiscard]] Totals Count() const;

  private:
    // With the lock held.
    void Lost();
    void Back();

    mutable std::mutex m_mutex;  // guards all below
    bool m_opened = false;
    bool m_byAddress = false;
    std::optional<Clock::time_point> m_lostAt;
    std::vector<Event> m_events;
    Totals m_totals;
};

// "camera lost", "camera back", or what else was told.
[[nodiscard]] std::string EventText(const ConnectionLog::Event& event);

}  // namespace host
