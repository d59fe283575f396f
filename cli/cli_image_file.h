// Writing a decoded picture for people and other programs: binary PPM (P6) or PNG, top-down
// RGB. The PNG is written with stored deflate blocks: large, but exact and dependency-free.
#pragma once

#include <string>

#include "codec/jpeg_decoder.h"

// Writes by the file name's extension (.png, anything else PPM). False when it cannot write.
bool CliWriteImage(const std::string& path, const RasterImage& image);
