#include "host/choice_list.h"

#include <charconv>
#include <optional>

#include "host/text.h"

namespace host {
namespace {

constexpr std::size_t kSelectionField = 0;
constexpr std::size_t kSerialField = 1;
constexpr std::size_t kEntriesField = 5;

// The serial number stands in the last pair of parentheses; a name may hold some of its own.
std::optional<CameraChoice> ParseEntry(std::string_view entry) {
    const std::size_t open = entry.rfind(" (");
    if (open == std::string_view::npos || !entry.ends_with(')')) {
        return std::nullopt;
    }
    const std::string_view serial = entry.substr(open + 2, entry.size() - open - 3);
    return CameraChoice{std::string(entry.substr(0, open)), std::string(serial)};
}

}  // namespace

ChoiceList ParseChoiceList(std::string_view text) {
    ChoiceList list;
    // A camera may have a '$' in its name, so the entries are what follows the fifth one.
    std::size_t entriesBegin = 0;
    std::vector<std::string_view> head;
    while (head.size() < kEntriesField) {
        const std::size_t end = text.find('$', entriesBegin);
        if (end == std::string_view::npos) {
            return list;
        }
        head.push_back(text.substr(entriesBegin, end - entriesBegin));
        entriesBegin = end + 1;
    }
    const std::string_view selection = head[kSelectionField];
    std::from_chars(selection.data(), selection.data() + selection.size(), list.selected);
    if (head[kSerialField] != "0") {
        list.connectedSerial = head[kSerialField];
    }
    for (const std::string_view line : SplitFields(text.substr(entriesBegin), '\r')) {
        if (auto camera = ParseEntry(line)) {
            list.cameras.push_back(std::move(*camera));
        }
    }
    return list;
}

}  // namespace host
