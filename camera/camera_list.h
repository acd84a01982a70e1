// The text of the camera choice list, from which the host's user picks a camera.
#pragma once

#include <string>
#include <string_view>

#include "camera/device_tables.h"

namespace cam {

struct CameraList {
    // "selection$serial$$$$Close\rName (SERIAL)\r...", ending with a NUL.
    std::string text;
    bool connectedListed = false;
};

// `connectedSerial` is null when no camera is connected.
[[nodiscard]] CameraList MakeCameraList(const DeviceTables& tables, bool useGenTL,
                                        const std::string_view* connectedSerial);

// The serial number that a selection names: the second '$' field if there is one, else the whole
// value.
[[nodiscard]] std::string_view SelectionOf(std::string_view value);

// A text made safe for one list entry: '\r' separates entries, so it becomes a blank. The character
// after a replaced one is skipped, so of two in a row the second stays.
[[nodiscard]] std::string WithoutEntryEnds(std::string_view text);

}  // namespace cam
