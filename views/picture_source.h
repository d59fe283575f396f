// Where the views get pictures: a decoder of JPEG bytes installed by whoever provides one. Until
// one is installed, every picture pane shows its "no picture" mark; nothing here decodes.
#pragma once

#include <QImage>
#include <cstdint>

using PictureDecoder = QImage (*)(const uint8_t* bytes, uint32_t size);

void PictureDecoderInstall(PictureDecoder decoder);

// The decoded picture, or a null image when no decoder is installed or it fails.
QImage PictureDecode(const uint8_t* bytes, uint32_t size);
