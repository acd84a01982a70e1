#include "standins/kz_camera_control/simulated/faults.h"

#include <array>
#include <charconv>

namespace kz {
namespace {

std::optional<std::uint32_t> ParseCode(std::string_view text) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        base = 16;
    }
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

// Faults with their own name for "this function returns a code".
struct FunctionFault {
    std::string_view name;
    std::string_view function;
};
constexpr auto kFunctionFaults = std::to_array<FunctionFault>({
    {"create", "KZ_CC_CreateHandle"},
    {"create", "KZ_CC_CreateHandleByGenTL"},
    {"open", "KZ_CC_OpenDevice"},
    {"start", "KZ_CC_StartGrabbing"},
    {"stop", "KZ_CC_StopGrabbing"},
    {"decode", "KZ_CC_HB_Decode"},
    {"convert", "KZ_CC_ConvertPixelType"},
});

template <typename Map, typename Key>
typename Map::mapped_type ValueOr(const Map& map, const Key& key,
                                  typename Map::mapped_type otherwise) {
    const auto found = map.find(key);
    return found == map.end() ? otherwise : found->second;
}

}  // namespace

std::optional<FaultSet> FaultSet::Parse(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    FaultSet faults;
    for (auto start = text.find_first_not_of(kBlanks); start != std::string_view::npos;
         start = text.find_first_not_of(kBlanks)) {
        text.remove_prefix(start);
        const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
        text.remove_prefix(word.size());
        const auto equals = word.find('=');
        if (equals == std::string_view::npos ||
            !faults.Add(word.substr(0, equals), word.substr(equals + 1))) {
            return std::nullopt;
        }
    }
    return faults;
}

bool FaultSet::Add(std::string_view name, std::string_view value) {
    if (name == "missing") {
        m_missing.emplace(value);
        return !value.empty();
    }
    const auto colon = value.rfind(':');
    const std::string_view subject = colon == std::string_view::npos ? "" : value.substr(0, colon);
    const auto number = ParseCode(value.substr(subject.empty() ? 0 : colon + 1));
    if (!number) {
        return false;
    }
    if (subject.empty()) {
        bool known = false;
        for (const FunctionFault& fault : kFunctionFaults) {
            if (fault.name == name) {
                m_answers[std::string(fault.function)] = *number;
                known = true;
            }
        }
        if (name == "claimed") {
            m_claimed = *number;
            known = true;
        } else if (name == "list") {
            m_listClaim = *number;
            known = true;
        } else if (name == "packet") {
            m_packetSize = static_cast<std::int32_t>(*number);
            known = true;
        } else if (name == "short") {
            m_shortBy = *number;
            known = true;
        } else if (name == "stopswait") {
            m_stopsWait = *number != 0;
            known = true;
        }
        return known;
    }
    if (name == "refuse") {
        m_refusedWrites[std::string(subject)] = *number;
    } else if (name == "range") {
        m_writesOutOfRange[std::string(subject)] = *number;
    } else if (name == "slow") {
        m_delays[std::string(subject)] = std::chrono::milliseconds(*number);
    } else if (name == "fail") {
        m_answers[std::string(subject)] = *number;
    } else if (const auto index = ParseCode(subject); name == "interface" && index) {
        m_interfaceAnswers[*index] = *number;
    } else {
        return false;
    }
    return true;
}

std::chrono::milliseconds FaultSet::Delay(std::string_view function) const {
    return ValueOr(m_delays, function, std::chrono::milliseconds{0});
}

Code FaultSet::Answer(std::string_view function) const {
    return ValueOr(m_answers, function, KZ_CC_OK);
}

bool FaultSet::Missing(std::string_view feature) const {
    return m_missing.contains(feature);
}

Code FaultSet::AnswerWrite(std::string_view feature) {
    const auto outOfRange = m_writesOutOfRange.find(feature);
    if (outOfRange != m_writesOutOfRange.end() && outOfRange->second > 0) {
        --outOfRange->second;
        return KZ_CC_E_NODE_RANGE;
    }
    return ValueOr(m_refusedWrites, feature, KZ_CC_OK);
}

Code FaultSet::InterfaceAnswer(std::uint32_t number) const {
    return ValueOr(m_interfaceAnswers, number, KZ_CC_OK);
}

}  // namespace kz
