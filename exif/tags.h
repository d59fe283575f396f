// The Exif tags the code names, by number. Only tags some code reads, writes or treats
// specially are here; the catalogue (tag_catalogue_tables.cpp) holds the names of all of them.
#pragma once

#include <cstdint>

// An unscoped enum over uint16_t, so a tag name goes wherever a tag number does.
enum ExifTag : uint16_t {
  // 0th and 1st IFD
  TagImageDescription = 0x010E,
  TagMake = 0x010F,
  TagModel = 0x0110,
  TagCompression = 0x0103,
  TagPhotometricInterpretation = 0x0106,
  TagOrientation = 0x0112,
  TagXResolution = 0x011A,
  TagYResolution = 0x011B,
  TagPlanarConfiguration = 0x011C,
  TagResolutionUnit = 0x0128,
  TagSoftware = 0x0131,
  TagDateTime = 0x0132,
  TagThumbnailOffset = 0x0201,  // JPEGInterchangeFormat
  TagThumbnailLength = 0x0202,  // JPEGInterchangeFormatLength
  TagYCbCrSubSampling = 0x0212,
  TagYCbCrPositioning = 0x0213,
  TagExifIfdPointer = 0x8769,
  TagGpsIfdPointer = 0x8825,
  // Exif IFD
  TagExposureTime = 0x829A,
  TagFNumber = 0x829D,
  TagExposureProgram = 0x8822,
  TagIsoSpeed = 0x8827,  // ISOSpeedRatings
  TagExifVersion = 0x9000,
  TagDateTimeOriginal = 0x9003,
  TagDateTimeDigitized = 0x9004,
  TagComponentsConfiguration = 0x9101,
  TagShutterSpeedValue = 0x9201,
  TagApertureValue = 0x9202,
  TagBrightnessValue = 0x9203,
  TagExposureBiasValue = 0x9204,
  TagMaxApertureValue = 0x9205,
  TagMeteringMode = 0x9207,
  TagFlash = 0x9209,
  TagExifFocalLength = 0x920A,  // FocalLength (TagFocalLength is the F6 column of shooting_fields.h)
  TagMakerNote = 0x927C,
  TagUserComment = 0x9286,
  TagTemperature = 0x9400,  // 0x9400 to 0x9405: the environment
  TagHumidity = 0x9401,
  TagPressure = 0x9402,
  TagWaterDepth = 0x9403,
  TagAcceleration = 0x9404,
  TagCameraElevationAngle = 0x9405,
  TagFlashPixVersion = 0xA000,
  TagPixelXDimension = 0xA002,
  TagPixelYDimension = 0xA003,
  TagInteropIfdPointer = 0xA005,
  TagDigitalZoomRatio = 0xA404,
  TagFocalLengthIn35mmFilm = 0xA405,
  TagGainControl = 0xA407,
  TagLensSpecification = 0xA432,
  TagLensMake = 0xA433,
  TagLensModel = 0xA434,
  TagGamma = 0xA500,
  // Tavexon's record of how far a MakerNote kept as bytes moved (SLONG).
  TagOffsetSchema = 0xEA1D,
};

// GPS IFD
enum GpsTag : uint16_t {
  TagGpsVersionId = 0x0000,
  TagGpsLatitude = 0x0002,
  TagGpsLongitude = 0x0004,
  TagGpsAltitude = 0x0006,
  TagGpsTimeStamp = 0x0007,
  TagGpsDestLatitude = 0x0014,
  TagGpsDestLongitude = 0x0016,
};
