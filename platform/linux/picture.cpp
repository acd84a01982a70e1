#include "platform/picture.h"

#include "platform/linux/picture_decoders.h"

namespace platform {

DecodedImage DecodePicture(const PictureFile& file) {
    return file.kind == PictureKind::Tiff ? DecodeTiff(file) : DecodeBmpJpegPng(file);
}

}  // namespace platform
