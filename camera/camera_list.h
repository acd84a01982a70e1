// The text of the camera choice list: how the host's user sees and picks a camera.
#pragma once

#include <string>
#include <string_view>

#include "camera/device_tables.h"

namespace cam {

struct CameraList {
    // "selection$serial$$$$Close\rName (SERIAL)\r...", its last character a NUL.
    std::string text;
    bool connectedListed = false;
};

// `connectedSerial` is null when no camera is connected.
[[nodiscard]] CameraList MakeCameraList(const DeviceTables& tables, bool useGenTL,
                                        const std::string_view* connectedSerial);

// The serial number that a choice names: the second '$' field where the value has one, else all.
[[nodiscard]] std::string_view SelectionOf(std::string_view value);

// A text as one list entry can hold it: '\r' separates entries, so one becomes a blank. The
// character after a replaced one is passed over, so of two in a row the second stays.
[[nodiscard]] std::string WithoutEntryEnds(std::string_view text);

}  // namespace cam
