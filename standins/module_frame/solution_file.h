// What a module saved, as a text that people can read and compare:
//
//   module-solution 1
//   param "ExposureTime" "5000"
//   module-data
//   binary "ConnectDeviceInfo" "0100ff..."
//   end
//
// In quotes, \" and \\ stand for themselves and \xHH for a control character; all other bytes are
// verbatim, whatever their encoding. Binary data is hexadecimal. "module-data" means that the
// module filled its own half of the record.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "standins/module_frame/values.h"

namespace module_frame {

struct BinaryItem {
    std::string name;
    std::string data;
};

struct Solution {
    Values params;
    bool hasModuleData = false;
    std::vector<BinaryItem> binaries;
};

[[nodiscard]] std::string FormatSolution(const Solution& solution);

// Nothing when the text is damaged or exceeds a record.
[[nodiscard]] std::optional<Solution> ParseSolution(std::string_view text);

// Copies a record that a module filled; nothing when its counts, texts or pointers are wrong.
[[nodiscard]] std::optional<Solution> SolutionOfRecord(const SAVE_MODULE_DATA_PARAM& record);

// The record points into `solution`. It must have been zeroed.
void FillRecord(const Solution& solution, SAVE_MODULE_DATA_PARAM& record);

}  // namespace module_frame
