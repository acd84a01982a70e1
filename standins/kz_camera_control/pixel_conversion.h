// Conversion of a camera's pixel formats to the two that every host accepts, Mono8 and RGB8.
#pragma once

#include "standins/kz_camera_control/camera.h"

namespace kz {

// Converts a frame of `width` x `height` pixels without padding between the lines.
//
// Sources: Mono8, 10, 12, 14, 16, Mono10Packed, Mono12Packed, Bayer of 8, 10 and 12 bits in all
// four orders, RGB8, BGR8, YUV422_8, YUV422_8_UYVY and the SDK's own 24-bit colour, whose memory
// layout is RGB8. Destinations: Mono8 and RGB8.
//
// - Samples of more than 8 bits lose their lower ones.
// - Colour becomes grey as ITU-R BT.601 luma, rounded to the nearest integer.
// - YUV is full-range BT.601 (Y, U and V from 0 to 255, chroma centred on 128), rounded to the
//   nearest integer and clipped. Pairs of pixels continue from line to line; a pixel left over at
//   the end of the frame takes the chroma of the previous pair.
// - Bayer mosaics are interpolated bilinearly at their full depth, averages rounded to the nearest
//   integer, halves up; beyond the borders the mosaic is mirrored at its outermost samples. One
//   that is a single line or column does not hold all colours and comes out as the grey of its
//   samples.
//
// Touches only the frame and the destination; any thread, several at once. 0, with
// `convertedLength` filled, or with `convertedLength` 0:
//   KZ_CC_E_PARAMETER      a null pointer, or no width or height
//   KZ_CC_E_NOT_SUPPORTED  this pair of formats
//   KZ_CC_E_NO_DATA        the source is shorter than the picture
//   KZ_CC_E_RESOURCE       the destination is too small for it
[[nodiscard]] Code ConvertPixels(PixelConvertParam& param);

}  // namespace kz
