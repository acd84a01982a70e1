// The configuration file of a module:
//
//   <?xml version="1.0" encoding="UTF-8"?>
//   <ModuleConfig>
//     <Param Name="WaitForConnectingTime" Value="1000"/>
//   </ModuleConfig>
//
// Comments are allowed between the elements, and so are the five named entities. Anything else
// counts as damage, because half a configuration would look like a whole one.
#pragma once

#include <optional>
#include <string_view>

#include "standins/module_frame/values.h"

namespace module_frame {

// The parameters in file order, including duplicate names; nothing when damaged.
[[nodiscard]] std::optional<Values> ParseConfig(std::string_view text);

}  // namespace module_frame
