#include "pictures/picture.h"

#include "pictures/linux/picture_decoders.h"

namespace platform {

DecodedImage DecodePicture(const PictureFile& file) {
    switch (file.kind) {
        case PictureKind::Jpeg:
            return DecodeJpeg(file);
        case PictureKind::Tiff:
            return DecodeTiff(file);
        case PictureKind::Bmp:
        case PictureKind::Png:
            break;
    }
    return DecodeBmpOrPng(file);
}

}  // namespace platform
