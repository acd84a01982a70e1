// The filled entries of a value list, whatever its count field says.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "module/framework/module_frame.h"

namespace cam {

[[nodiscard]] inline std::uint32_t EntryCount(const ModuleParamList& list) {
    return static_cast<std::uint32_t>(
        std::clamp<std::int32_t>(list.nNum, 0, std::int32_t{kFrameworkMaxEntries}));
}

[[nodiscard]] inline std::span<const ModuleParamEntry> EntriesOf(const ModuleParamList& list) {
    return {list.entries, EntryCount(list)};
}

[[nodiscard]] inline std::span<ModuleParamEntry> EntriesOf(ModuleParamList& list) {
    return {list.entries, EntryCount(list)};
}

}  // namespace cam
