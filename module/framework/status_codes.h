// The module's 32-bit status codes. Codes of the camera SDK and of the framework are passed through
// unchanged.
#pragma once

#include <cstdint>

namespace cam {

using Status = std::uint32_t;

inline constexpr Status kOk = 0;
inline constexpr Status kInvalid = 0xE0000001;          // bad argument, or the operation failed
inline constexpr Status kNoResources = 0xE0000002;      // module, event or value list not created
inline constexpr Status kNoBufferNode = 0xE0000003;     // no buffer node for a frame
inline constexpr Status kNoRegion = 0xE0000015;         // shared-memory region not made
inline constexpr Status kBadRegionName = 0xE0000018;    // region name not parseable
inline constexpr Status kNotifyAnswer = 0xE00000FF;     // the notify callback's fixed answer
inline constexpr Status kNoImageFolder = 0xE0000203;    // image folder missing or not listable
inline constexpr Status kOpenFailed = 0xE0000403;       // open sequence, enumeration or selection
inline constexpr Status kNoImage = 0xE0000409;          // no image to deliver
inline constexpr Status kNoCamera = 0xE0000410;         // no camera, or of an unknown transport
inline constexpr Status kNoTransportType = 0xE0000411;  // device record without transport type

}  // namespace cam
