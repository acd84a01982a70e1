// The text in which the module offers cameras to choose from.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

struct CameraChoice {
    std::string name;
    std::string serial;
};

struct ChoiceList {
    int selected = 0;             // 1-based number of the connected camera; 0: none
    std::string connectedSerial;  // empty: no camera is connected
    std::vector<CameraChoice> cameras;
};

// "selected$serial$$$$Close\rName (SERIAL)\r...". What does not look like an entry is left out.
[[nodiscard]] ChoiceList ParseChoiceList(std::string_view text);

}  // namespace host
