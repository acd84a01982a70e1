// The decoders behind DecodePicture, one per library.
#pragma once

#include "pictures/picture.h"

namespace platform {

[[nodiscard]] DecodedImage DecodeTiff(const PictureFile& file);
[[nodiscard]] DecodedImage DecodeBmpOrPng(const PictureFile& file);
[[nodiscard]] DecodedImage DecodeJpeg(const PictureFile& file);

}  // namespace platform
