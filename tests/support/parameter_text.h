// The page about the module's keys (docs/parameters.md).
#pragma once

#include <string>

namespace tests {

[[nodiscard]] std::string ParameterPage();

}  // namespace tests
