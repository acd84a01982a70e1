// The names of shared-memory regions: "{module-key-process-guid-index}", cut to 62 characters. The
// GUID text includes its own braces.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace cam {

[[nodiscard]] std::string RegionName(std::int32_t moduleId, std::int32_t key,
                                     std::int32_t processId, const char* guid, std::int32_t index);

struct RegionOwner {
    std::int32_t moduleId;
    std::int32_t key;
    bool operator==(const RegionOwner&) const = default;
};
// The two numbers at the start of a region name; the rest is ignored.
[[nodiscard]] std::optional<RegionOwner> ParseRegionName(std::string_view name);

// The process in a complete region name of exactly the form above; nothing for any other name. Used
// to remove what a process has left: a foreign object must not be taken for a region.
[[nodiscard]] std::optional<std::uint32_t> ProcessOfRegion(std::string_view name);

}  // namespace cam
