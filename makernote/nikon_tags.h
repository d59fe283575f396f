// The Nikon MakerNote tags the code names, by number: those with a structural meaning in the
// note and those the embedding fills from a roll's data. The value texts of the rest stay keyed
// by number in nikon_format.cpp's tables.
#pragma once

#include <cstdint>

enum NikonTag : uint16_t {
  NikonTagVersion = 1,
  NikonTagIsoSpeed = 2,           // SHORT 2: the speed in the second word
  NikonTagFlashSyncMode = 8,      // ASCII
  NikonTagFlashType = 9,          // ASCII: the Speedlight setting
  NikonTagExposureDifference = 14,
  NikonTagThumbnailIfd = 17,      // LONG 1: offset of table 258
  NikonTagIsoSetting = 19,
  NikonTagFlashCompensation = 23,
  NikonTagLensType = 131,         // BYTE: VR, G, D and S bits
  NikonTagLens = 132,             // RATIONAL 4: focal lengths and widest apertures
  NikonTagFlashUsed = 135,
  NikonTagExternalFlash = 168,
  NikonTagScannerIfd = 3600,      // LONG 1: offset of table 259
  // Table 258, the preview's directory: TIFF tags.
  NikonTagCompression = 259,
  NikonTagPreviewOffset = 513,
  NikonTagPreviewLength = 514,
};
