// Pictures for the panes: JPEG bytes decoded by Tavexon's own decoder and wrapped as a QImage at
// the edge (the raster is BGR, bottom-up, rows padded to 4 bytes).
#pragma once

#include <QImage>
#include <cstdint>

// The decoded picture, or a null image when the bytes do not decode.
QImage KitDecodeJpeg(const uint8_t* bytes, uint32_t size);
