#include "imaging/region_name.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <system_error>

#include "base/text.h"

namespace cam {
namespace {

constexpr std::size_t kNameBuffer = 63;  // with the terminator

std::optional<std::int32_t> TakeNumber(std::string_view& text) {
    text = WithoutLeadingBlanks(text);
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{}) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

bool Take(std::string_view& text, char expected) {
    if (!text.starts_with(expected)) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

// A '-' and the number after it.
std::optional<std::int32_t> TakeNextNumber(std::string_view& text) {
    return Take(text, '-') ? TakeNumber(text) : std::nullopt;
}

std::optional<RegionOwner> TakeOwner(std::string_view& text) {
    if (!Take(text, '{')) {
        return std::nullopt;
    }
    const std::optional<std::int32_t> moduleId = TakeNumber(text);
    const std::optional<std::int32_t> key = moduleId ? TakeNextNumber(text) : std::nullopt;
    return key ? std::optional(RegionOwner{*moduleId, *key}) : std::nullopt;
}

bool IsGuid(std::string_view text) {
    constexpr std::string_view kForm = "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}";
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    return std::equal(text.begin(), text.end(), kForm.begin(), kForm.end(), [&](char c, char form) {
        return form == 'X' ? kDigits.find(c) != kDigits.npos : c == form;
    });
}

}  // namespace

std::string RegionName(std::int32_t moduleId, std::int32_t key, std::int32_t processId,
                       const char* guid, std::int32_t index) {
    char name[kNameBuffer];
    std::snprintf(name, sizeof(name), "{%d-%d-%d-%s-%d}", moduleId, key, processId, guid, index);
    return name;
}

std::optional<RegionOwner> ParseRegionName(std::string_view name) {
    return TakeOwner(name);
}

std::optional<std::uint32_t> ProcessOfRegion(std::string_view name) {
    std::string_view rest = name;
    const std::optional<RegionOwner> owner = TakeOwner(rest);
    const std::optional<std::int32_t> process = owner ? TakeNextNumber(rest) : std::nullopt;
    if (!process || *process <= 0 || !Take(rest, '-')) {
        return std::nullopt;
    }
    constexpr std::size_t kGuidLength = 38;
    const std::string guid(rest.substr(0, kGuidLength));
    rest.remove_prefix(guid.size());
    const std::optional<std::int32_t> index = TakeNextNumber(rest);
    // Rebuilding the name from its fields shows whether it contains anything else.
    const bool isWhole =
        IsGuid(guid) && index &&
        RegionName(owner->moduleId, owner->key, *process, guid.c_str(), *index) == name;
    return isWhole ? std::optional(static_cast<std::uint32_t>(*process)) : std::nullopt;
}

}  // namespace cam
