// Asking one GigE Vision camera who it is, without taking control of it. Aravis finds cameras by
// broadcast, which takes a second and leaves out half of the answer; a question to a known address
// is answered within a round trip, and a silent address costs a fraction of a second.
//
// IP addresses are packed a<<24 | b<<16 | c<<8 | d for a.b.c.d.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "camera/sdk/kz_camera_control.h"
#include "standins/kz_camera_control/feature_record.h"

namespace kz {

// The record of the camera at `cameraIp`, as the camera itself tells it. `localIp` is the address
// of the network card to ask through; 0 leaves the choice to the system. Empty when nothing
// answers. Blocks for 600 ms at most.
[[nodiscard]] std::optional<CameraDeviceInfo> AskGigECamera(std::uint32_t cameraIp,
                                                            std::uint32_t localIp);

// Who controls the camera at `cameraIp`. Blocks for 1.2 s at most.
[[nodiscard]] CameraState AskWhoControls(std::uint32_t cameraIp);

// The address of this machine from which `cameraIp` is reached; 0 when there is no route.
[[nodiscard]] std::uint32_t LocalAddressTowards(std::uint32_t cameraIp);

// True when a socket of this machine can have the address.
[[nodiscard]] bool IsLocalAddress(std::uint32_t ip);

// 0 when the text is no dotted quad.
[[nodiscard]] std::uint32_t ParseAddress(const char* text);
[[nodiscard]] std::string FormatAddress(std::uint32_t ip);

}  // namespace kz
