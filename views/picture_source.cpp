#include "views/picture_source.h"

namespace {
PictureDecoder installed = nullptr;  // main thread only
}

void PictureDecoderInstall(PictureDecoder decoder) { installed = decoder; }

QImage PictureDecode(const uint8_t* bytes, uint32_t size) {
  return installed && bytes && size ? installed(bytes, size) : QImage();
}
