// What keeps a camera from working well: rules from what is known of camera and machine to what a
// person should do.
#pragma once

#include <string>
#include <vector>

#include "host/camera_inspector.h"
#include "host/machine.h"
#include "host/network.h"

namespace host {

enum class Verdict {
    Good,
    Advice,   // works, and could work better
    Problem,  // keeps the camera from working
};

struct Finding {
    std::string subject;
    Verdict verdict = Verdict::Good;
    std::string text;
    std::string remedy;  // empty where there is nothing to do
};

struct Patient {
    CameraRecord camera;
    std::vector<ValueInfo> features;  // empty where they could not be read
    std::vector<NetworkCard> cards;   // of this machine
    MachineLimits machine;
};

[[nodiscard]] std::vector<Finding> Examine(const Patient& patient);

}  // namespace host
