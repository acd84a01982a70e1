// The smart cameras among the models.
#pragma once

#include <string_view>

namespace cam {

[[nodiscard]] constexpr bool IsSmartModel(std::string_view model) {
    return model.starts_with("KZ-QS");
}

}  // namespace cam
