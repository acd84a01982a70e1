// The page about the module's keys (docs/parameters.md).
#pragma once

#include <string>

namespace host {

// Markdown.
[[nodiscard]] std::string ParameterPage();

}  // namespace host
