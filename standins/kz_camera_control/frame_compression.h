// The lossless compression of the simulated cameras' compressed pixel formats.
//
// A compressed frame, little-endian:
//    0  u32  magic, "KZF1"
//    4  u32  pixel type, without the compressed bit
//    8  u32  length of the frame in bytes
//   12       packets that make up the whole frame
//
// Before it is packed, each byte is replaced by its difference (modulo 256) from the same byte of
// the previous pixel - or group of pixels, where pixels share bytes - so that ramps and plain
// colours become runs. A packet begins with a control byte c:
//   0 to 127    the next c + 1 bytes verbatim
//   129 to 255  the next byte, 257 - c times
//   128         is not used
#pragma once

#include <cstdint>

#include "standins/kz_camera_control/camera.h"

namespace kz {

// `pixelType` with or without the compressed bit. Returns the compressed length; 0 when `capacity`
// is too small. The worst case takes a header and one byte in 128 more than the frame.
[[nodiscard]] std::uint32_t CompressFrame(std::uint32_t pixelType, const std::uint8_t* pixels,
                                          std::uint32_t length, std::uint8_t* destination,
                                          std::uint32_t capacity);

// Restores the frame and sets `decodedLength` and `decodedPixelType` (without the compressed bit);
// ignores what follows the last packet. The source may be any bytes; nothing outside it is read,
// nothing outside the destination written. On an error both are 0:
//   KZ_CC_E_PARAMETER      a null pointer
//   KZ_CC_E_NOT_SUPPORTED  not a frame of this compression
//   KZ_CC_E_RESOURCE       the destination is too small for the frame
//   KZ_CC_E_NO_DATA        cut short or damaged
[[nodiscard]] Code DecompressFrame(HbDecodeParam& param);

}  // namespace kz
