// Queries the identity of one GigE Vision camera without taking control of it. Aravis finds cameras
// by broadcast, which takes a second and drops half of the answer; a known address answers within a
// round trip, and a silent one costs a fraction of a second.
//
// IP addresses are packed a<<24 | b<<16 | c<<8 | d for a.b.c.d.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "camera/sdk/kz_camera_control.h"
#include "standins/kz_camera_control/feature_record.h"

namespace kz {

// The record of the camera at `cameraIp`, as the camera reports it. `localIp` is the address of the
// network card to use; 0: the system chooses. Empty when nothing answers. Blocks for at most 600
// ms.
[[nodiscard]] std::optional<CameraDeviceInfo> AskGigECamera(std::uint32_t cameraIp,
                                                            std::uint32_t localIp);

// Who controls the camera at `cameraIp`. Blocks for at most 1.2 s.
[[nodiscard]] CameraState AskWhoControls(std::uint32_t cameraIp);

// The address of this machine from which `cameraIp` is reached; 0 when there is no route.
[[nodiscard]] std::uint32_t LocalAddressTowards(std::uint32_t cameraIp);

// True when a socket of this machine can bind to the address.
[[nodiscard]] bool IsLocalAddress(std::uint32_t ip);

// 0 when the text is not a dotted quad.
[[nodiscard]] std::uint32_t ParseAddress(const char* text);
[[nodiscard]] std::string FormatAddress(std::uint32_t ip);

}  // namespace kz
