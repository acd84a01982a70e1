#include "standins/module_frame/config_file.h"

#include <algorithm>
#include <array>
#include <utility>

namespace module_frame {
namespace {

constexpr std::string_view kSpace = " \t\r\n";

constexpr std::array<std::pair<std::string_view, char>, 5> kEntities{{
    {"&amp;", '&'},
    {"&lt;", '<'},
    {"&gt;", '>'},
    {"&quot;", '"'},
    {"&apos;", '\''},
}};

std::optional<std::string> Unescape(std::string_view raw) {
    std::string text;
    while (!raw.empty()) {
        if (raw.front() == '<' || raw.front() == '\0') {
            return std::nullopt;
        }
        if (raw.front() != '&') {
            text += raw.front();
            raw.remove_prefix(1);
            continue;
        }
        bool known = false;
        for (const auto& [entity, character] : kEntities) {
            if (raw.starts_with(entity)) {
                text += character;
                raw.remove_prefix(entity.size());
                known = true;
                break;
            }
        }
        if (!known) {
            return std::nullopt;
        }
    }
    return text;
}

class Reader {
  public:
    explicit Reader(std::string_view text) : m_rest(text) {}

    std::optional<Values> Read() {
        Take("\xEF\xBB\xBF");
        if (Take("<?xml") && !SkipPast("?>")) {
            return std::nullopt;
        }
        Values values;
        if (!SkipBetween() || !Take("<ModuleConfig")) {
            return std::nullopt;
        }
        SkipSpace();
        if (!Take("/>")) {
            if (!Take(">")) {
                return std::nullopt;
            }
            while (true) {
                if (!SkipBetween()) {
                    return std::nullopt;
                }
                if (Take("</ModuleConfig")) {
                    break;
                }
                std::optional<NamedValue> param = ReadParam();
                if (!param) {
                    return std::nullopt;
                }
                values.push_back(std::move(*param));
            }
            SkipSpace();
            if (!Take(">")) {
                return std::nullopt;
            }
        }
        if (!SkipBetween() || !m_rest.empty()) {
            return std::nullopt;
        }
        return values;
    }

  private:
    bool Take(std::string_view token) {
        if (!m_rest.starts_with(token)) {
            return false;
        }
        m_rest.remove_prefix(token.size());
        return true;
    }

    bool SkipPast(std::string_view token) {
        const std::size_t found = m_rest.find(token);
        if (found == std::string_view::npos) {
            return false;
        }
        m_rest.remove_prefix(found + token.size());
        return true;
    }

    // True when there was any.
    bool SkipSpace() {
        const std::size_t end = std::min(m_rest.find_first_not_of(kSpace), m_rest.size());
        m_rest.remove_prefix(end);
        return end > 0;
    }

    // Blanks and comments; false for an unterminated comment.
    bool SkipBetween() {
        SkipSpace();
        while (Take("<!--")) {
            if (!SkipPast("-->")) {
                return false;
            }
            SkipSpace();
        }
        return true;
    }

    std::optional<std::string> ReadAttributeValue() {
        SkipSpace();
        if (!Take("=")) {
            return std::nullopt;
        }
        SkipSpace();
        if (m_rest.empty() || (m_rest.front() != '"' && m_rest.front() != '\'')) {
            return std::nullopt;
        }
        const std::size_t end = m_rest.find(m_rest.front(), 1);
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        const std::string_view raw = m_rest.substr(1, end - 1);
        m_rest.remove_prefix(end + 1);
        return Unescape(raw);
    }

    // Name and Value, each once, in either order.
    std::optional<NamedValue> ReadParam() {
        if (!Take("<Param")) {
            return std::nullopt;
        }
        std::optional<std::string> name;
        std::optional<std::string> value;
        while (true) {
            const bool spaced = SkipSpace();
            if (Take("/>")) {
                break;
            }
            std::optional<std::string>* attribute = nullptr;
            if (spaced && Take("Name")) {
                attribute = &name;
            } else if (spaced && Take("Value")) {
                attribute = &value;
            }
            if (attribute == nullptr || attribute->has_value()) {
                return std::nullopt;
            }
            *attribute = ReadAttributeValue();
            if (!*attribute) {
                return std::nullopt;
            }
        }
        if (!name || name->empty() || !value) {
            return std::nullopt;
        }
        return NamedValue{std::move(*name), std::move(*value)};
    }

    std::string_view m_rest;
};

}  // namespace

std::optional<Values> ParseConfig(std::string_view text) {
    return Reader(text).Read();
}

}  // namespace module_frame
