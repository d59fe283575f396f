// Pictures made from pictures: scaled JPEGs in memory, Exif thumbnails, the small pictures of
// the list and thumbnail windows, and a JPEG rewritten smaller with its Exif kept and corrected.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "codec/raster_scale.h"
#include "exif/exif_document.h"
#include "frame/prompt.h"

// The encoder set-ups of EncodeScaledJpeg.
enum ScaledJpegMode : int {
  ScaledFinest = 1,      // T1/T2, 1 by 1
  ScaledFine = 2,        // T2/T3, 2 by 1
  ScaledNormal = 3,      // T3/T4, 2 by 1
  ScaledSmall = 4,       // T4/T5, 2 by 2
  ScaledInBox = 5,       // T4/T5, 2 by 1, fitted into the given box on black
  ScaledThumbnail = 9,   // T1/T2, 2 by 1, fitted into 160x120 (120x160 upright) on black
};

// Installs into the libraries below what needs the decoder: the thumbnail maker that lets the
// embedding serve scans without Exif. Every program calls it once at start, after EngineInstall.
void CodecInstall();

// Decodes the JPEG at path (or in memory when memory is given) on the single-thread path,
// reduces it by factor and encodes it by mode, without Exif or restart interval. 1 on success.
int EncodeScaledJpeg(const std::string& path, const uint8_t* memory, size_t size, float factor,
                     std::vector<uint8_t>& out, int mode, uint32_t boxWidth = 0, uint32_t boxHeight = 0);

// The same from pixels already decoded (bottom-up BGR rows padded to 4 bytes).
int EncodeScaledRaster(const uint8_t* pixels, uint32_t width, uint32_t height, float factor,
                       std::vector<uint8_t>& out, int mode, uint32_t boxWidth = 0, uint32_t boxHeight = 0);

// A new Exif thumbnail: exactly 160x120, or 120x160 for an upright picture, centred on black.
// 0 on failure, 1 on success.
int GenerateExifThumbnail(const std::string& path, const uint8_t* memory, size_t size, std::vector<uint8_t>& out);

// The small picture of a file for the list and thumbnail windows: its Exif thumbnail (or, with
// preview, the MakerNote's preview) when it has one; else, with generate, the picture itself,
// decoded at half size when both sides are at least 321. At most 160x120 (120x160 upright).
// document may be null (the file is read then). 1 on success.
int LoadThumbnailPixels(const std::string& path, ExifDocument* document, RasterPixels& out, bool generate,
                        bool preview);

// Rewrites source smaller at destination: decoded whole, reduced by factor when below 1.0,
// sharpened at level 1 to 3 (0 none), encoded at the quality level (0 the encoder's default)
// with sampling 2 by 1 and one restart interval a row. The source's Exif comes along with
// PixelXDimension and PixelYDimension set to the new size where present, and a thumbnail made
// fresh from the new picture where it had one; it is saved as every Exif is (MakerNote guarded,
// read back and compared), through a temporary file, so the destination is whole or untouched.
// A source without Exif gives a file without APP1. 1 on success, 0 otherwise.
int ShrinkJpegFile(const std::string& source, const std::string& destination, float factor, int sharpenLevel,
                   int qualityLevel, const Prompt* prompt = nullptr);
