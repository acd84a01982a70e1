// The text in which the module offers cameras to choose from, and the text form of its values.
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

// The fields of a value text, which stand between '$'.
[[nodiscard]] std::vector<std::string_view> SplitFields(std::string_view text,
                                                        char separator = '$');

}  // namespace host
