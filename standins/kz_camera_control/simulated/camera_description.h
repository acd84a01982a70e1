// The text that describes the simulated cameras (its form is documented in simulated_cameras.h).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "camera/sdk/pixel_format.h"

namespace kz {

enum class CameraKind { GigE, Usb3, GenTL };

struct CameraDescription {
    CameraKind kind = CameraKind::GigE;
    std::uint32_t transportType = 0;  // as in its record; 0 for GenTL
    std::string serial;
    std::string model;
    std::string maker = "Simulated";
    std::string name;
    std::uint32_t ip = 0;  // packed as in the device records
    std::uint32_t nic = 0;
    std::uint32_t width = 640;
    std::uint32_t height = 480;
    std::uint32_t pixelFormat = pixel_format::kMono8;
    float rate = 30.0F;  // frames per second
    bool events = true;
    std::uint32_t interfaceNumber = 1;  // GenTL
};

struct ParsedDescription {
    std::vector<CameraDescription> cameras;
    std::uint32_t wrongLine = 0;  // counted from 1; 0: no error
    std::string wrongWord;        // in that line; empty if no single word is wrong
};

// "a.b.c.d", packed as in the device records; false for any other text.
[[nodiscard]] bool ParseIp(std::string_view text, std::uint32_t& ip);

[[nodiscard]] ParsedDescription ParseCameraDescription(std::string_view text);

}  // namespace kz
