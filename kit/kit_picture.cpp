#include "kit/kit_picture.h"

#include "codec/jpeg_decoder.h"

QImage KitDecodeJpeg(const uint8_t* bytes, uint32_t size) {
  JpegDecoder* opened = nullptr;
  if (!bytes || size == 0 || JpegDecoderOpen("", bytes, size, &opened) != 0) return {};
  JpegDecoderPtr decoder(opened);
  RasterImage image;
  if (JpegDecoderDecode(decoder.get(), &image, 0) != 0) return {};
  // The raster belongs to the decoder: wrap it, turn it top-down, and keep the copy.
  const QImage wrapped(image.pixels, image.width, image.height, image.stride, QImage::Format_BGR888);
  return wrapped.mirrored(false, true);
}
