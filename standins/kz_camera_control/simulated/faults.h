// Faults that tests request of a simulated camera (their text form is documented in
// simulated_cameras.h).
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "standins/kz_camera_control/camera.h"

namespace kz {

// Not synchronised.
class FaultSet {
  public:
    // Nothing when the text is not understood.
    [[nodiscard]] static std::optional<FaultSet> Parse(std::string_view text);

    [[nodiscard]] std::chrono::milliseconds Delay(std::string_view function) const;
    // The code that the function returns instead of doing its work; 0: it does its work.
    [[nodiscard]] Code Answer(std::string_view function) const;

    [[nodiscard]] bool Missing(std::string_view feature) const;
    // The code that a write of the feature returns; counts down those that are out of range. 0: the
    // write is done.
    [[nodiscard]] Code AnswerWrite(std::string_view feature);

    [[nodiscard]] std::uint32_t Claimed(std::uint32_t length) const {
        return m_claimed.value_or(length);
    }
    [[nodiscard]] std::optional<std::int32_t> PacketSize() const { return m_packetSize; }
    [[nodiscard]] std::uint32_t ShortBy() const { return m_shortBy; }
    [[nodiscard]] bool StopsWaitForNotices() const { return m_stopsWait; }
    [[nodiscard]] Code InterfaceAnswer(std::uint32_t number) const;
    // What a list claims to hold; nothing: what it holds.
    [[nodiscard]] std::optional<std::uint32_t> ListClaim() const { return m_listClaim; }

  private:
    [[nodiscard]] bool Add(std::string_view name, std::string_view value);

    std::map<std::string, std::chrono::milliseconds, std::less<>> m_delays;
    std::map<std::string, Code, std::less<>> m_answers;
    std::set<std::string, std::less<>> m_missing;
    std::map<std::string, Code, std::less<>> m_refusedWrites;
    std::map<std::string, std::uint32_t, std::less<>> m_writesOutOfRange;
    std::map<std::uint32_t, Code> m_interfaceAnswers;
    std::optional<std::uint32_t> m_claimed;
    std::optional<std::uint32_t> m_listClaim;
    std::optional<std::int32_t> m_packetSize;
    std::uint32_t m_shortBy = 0;
    bool m_stopsWait = false;
};

}  // namespace kz
