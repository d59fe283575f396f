#include "codec/thumbnail.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "codec/jpeg_decoder.h"
#include "codec/jpeg_encoder.h"
#include "exif/exif_reader.h"
#include "exif/exif_writer.h"
#include "exif/file_replace.h"
#include "exif/jpeg_file.h"
#include "exif/makernote_handler.h"
#include "exif/tags.h"
#include "makernote/makernote_save.h"
#include "shooting/embed.h"

namespace {

constexpr uint32_t kThumbnailLong = 160, kThumbnailShort = 120;

// The quantisation tables of the scaled encodings, natural order. T2 is the coarse level table.
constexpr int32_t kT1[64] = {
    1, 1, 2, 3, 4, 6,  8,  10, 2, 3, 3, 4, 4, 7,  7,  9,  3, 2, 4, 5, 6, 8,  7,  9,  3, 3, 4, 4, 5, 9,  10, 11,
    3, 4, 6, 6, 6, 11, 11, 10, 5, 5, 5, 6, 8, 10, 11, 12, 5, 6, 8, 6, 9, 12, 12, 12, 6, 7, 9, 10, 10, 12, 12, 12,
};
constexpr int32_t kT4[64] = {
    6,  8,  12, 8,  24, 36, 48, 60, 12, 18, 18, 24, 24, 42, 42, 54, 18, 12, 24, 30, 36, 48, 42, 54,
    18, 18, 24, 24, 30, 54, 60, 66, 36, 24, 36, 36, 36, 66, 66, 60, 30, 30, 30, 36, 48, 60, 66, 72,
    30, 36, 48, 36, 54, 72, 72, 72, 36, 42, 54, 30, 60, 72, 72, 72,
};
constexpr int32_t kT5[64] = {
    10, 12, 18, 18, 36, 54, 72,  72,  12, 18, 18, 36, 36, 64,  64,  72,  18, 18, 36, 45, 54,  72,
    64, 72, 24, 24, 36, 36, 48,  72,  96, 96, 36, 36, 54, 54,  54,  72,  96, 96, 48, 48, 48,  54,
    72, 96, 96, 108, 48, 54, 72, 48, 72, 108, 108, 108, 48, 64, 72, 72, 96, 108, 108, 108,
};

// T3: T2 doubled, entry by entry.
const int32_t* TableT3() {
  static const auto table = [] {
    std::array<int32_t, 64> doubled{};
    for (int i = 0; i < 64; ++i) doubled[i] = 2 * kJpegQuantCoarse[i];
    return doubled;
  }();
  return table.data();
}

struct ModeSetup {
  const int32_t* luma;
  const int32_t* chroma;
  uint32_t h, v;
};

ModeSetup SetupOf(int mode) {
  switch (mode) {
    case ScaledFinest: return {kT1, kJpegQuantCoarse, 1, 1};
    case ScaledFine: return {kJpegQuantCoarse, TableT3(), 2, 1};
    case ScaledNormal: return {TableT3(), kT4, 2, 1};
    case ScaledSmall: return {kT4, kT5, 2, 2};
    case ScaledInBox: return {kT4, kT5, 2, 1};
    case ScaledThumbnail: return {kT1, kJpegQuantCoarse, 2, 1};
    default: return {nullptr, nullptr, 2, 1};  // the encoder's own tables
  }
}

// Tightly packed rows (FitIntoBox) to rows padded to 4 bytes, as the encoder reads them.
std::vector<uint8_t> PadRows(const RasterPixels& packed) {
  const size_t from = size_t(packed.width) * 3, to = RasterRowBytes(packed.width);
  if (from == to) return packed.pixels;
  std::vector<uint8_t> padded(to * packed.height, 0);
  for (uint32_t y = 0; y < packed.height; ++y)
    std::copy_n(&packed.pixels[y * from], from, &padded[y * to]);
  return padded;
}

// Opens and decodes a JPEG from a path or memory. method 0 is the single-thread path.
int DecodeWhole(const std::string& path, const uint8_t* memory, size_t size, int method, int halfSize,
                JpegDecoderPtr& decoder, RasterImage& image) {
  JpegDecoder* opened = nullptr;
  if (JpegDecoderOpen(path, memory, size, &opened) != 0) return 0;
  decoder.reset(opened);
  JpegDecoderSetMethod(decoder.get(), method);
  return JpegDecoderDecode(decoder.get(), &image, halfSize) == 0 ? 1 : 0;
}

// The thumbnail box for a picture: 160x120, or 120x160 when it is upright.
void ThumbnailBox(uint32_t width, uint32_t height, uint32_t* boxWidth, uint32_t* boxHeight) {
  const bool upright = width < height;
  *boxWidth = upright ? kThumbnailShort : kThumbnailLong;
  *boxHeight = upright ? kThumbnailLong : kThumbnailShort;
}

// Removes a file when it goes out of scope, unless kept.
struct TemporaryFile {
  std::string path;
  ~TemporaryFile() {
    if (!path.empty()) ::unlink(path.c_str());
  }
};

int WriteWhole(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wbx");
  if (!file) return 0;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return (std::fclose(file) == 0 && written) ? 1 : 0;
}

// Sets a dimension tag to value with the type it already has; nothing when it is absent.
int SetDimension(ExifDocument* document, uint16_t tag, uint32_t value) {
  const TagEntry* entry = ExifFindTag(document, IfdExif, tag);
  if (!entry) return 1;
  if (entry->type == TypeShort) {
    if (value > 0xFFFF) return 0;
    const uint16_t shortValue = uint16_t(value);
    return ExifQueueEdit(document, PendingSet, IfdExif, tag, TypeShort, 1, &shortValue);
  }
  return ExifQueueEdit(document, PendingSet, IfdExif, tag, TypeLong, 1, &value);
}

}  // namespace

int EncodeScaledRaster(const uint8_t* pixels, uint32_t width, uint32_t height, float factor,
                       std::vector<uint8_t>& out, int mode, uint32_t boxWidth, uint32_t boxHeight) {
  RasterPixels scaled;
  if (!ScaleRaster(pixels, width, height, factor, scaled)) return 0;
  std::vector<uint8_t> encodeFrom = std::move(scaled.pixels);
  uint32_t encodeWidth = scaled.width, encodeHeight = scaled.height;
  if (mode == ScaledInBox || mode == ScaledThumbnail) {
    if (mode == ScaledThumbnail) ThumbnailBox(encodeWidth, encodeHeight, &boxWidth, &boxHeight);
    RasterPixels boxed;
    if (!FitIntoBox(encodeFrom.data(), encodeWidth, encodeHeight, boxWidth, boxHeight, 0x000000, boxed)) return 0;
    encodeFrom = PadRows(boxed);
    encodeWidth = boxed.width;
    encodeHeight = boxed.height;
  }
  const ModeSetup setup = SetupOf(mode);
  JpegEncoderPtr encoder = JpegEncoderCreate();
  JpegEncoderSetSampling(encoder.get(), setup.h, setup.v);
  JpegEncoderSetTables(encoder.get(), setup.luma, setup.chroma);
  if (JpegEncoderEncode(encoder.get(), encodeFrom.data(), encodeWidth, encodeHeight) != JpegEncoderOk) return 0;
  return JpegEncoderToMemory(encoder.get(), out) == JpegEncoderOk ? 1 : 0;
}

int EncodeScaledJpeg(const std::string& path, const uint8_t* memory, size_t size, float factor,
                     std::vector<uint8_t>& out, int mode, uint32_t boxWidth, uint32_t boxHeight) {
  JpegDecoderPtr decoder;
  RasterImage image;
  if (!DecodeWhole(path, memory, size, 0, 0, decoder, image)) return 0;
  return EncodeScaledRaster(image.pixels, uint32_t(image.width), uint32_t(image.height), factor, out, mode,
                            boxWidth, boxHeight);
}

int GenerateExifThumbnail(const std::string& path, const uint8_t* memory, size_t size, std::vector<uint8_t>& out) {
  JpegDecoderPtr decoder;
  RasterImage image;
  if (!DecodeWhole(path, memory, size, 0, 0, decoder, image)) return 0;
  uint32_t boxWidth = 0, boxHeight = 0;
  ThumbnailBox(uint32_t(image.width), uint32_t(image.height), &boxWidth, &boxHeight);
  const float factor = FitRatio(uint32_t(image.width), uint32_t(image.height), boxWidth, boxHeight);
  return EncodeScaledRaster(image.pixels, uint32_t(image.width), uint32_t(image.height), factor, out,
                            ScaledThumbnail);
}

int LoadThumbnailPixels(const std::string& path, ExifDocument* document, RasterPixels& out, bool generate,
                        bool preview) {
  ExifDocumentPtr owned;
  uint32_t fileClass = StatusJpeg;
  if (!document) {
    fileClass = ExifCheckFile(path, owned);
    if (fileClass & StatusUnusable) return 0;
    document = owned.get();
  }
  JpegDecoderPtr decoder;
  RasterImage image;
  bool decoded = false;
  if (document && ExifThumbnail(document) && !(fileClass & (StatusParseFailed | StatusNoExif))) {
    const uint8_t* bytes = ExifThumbnail(document);
    uint32_t size = ExifThumbnailSize(document);
    if (preview) {
      const uint8_t* previewBytes = nullptr;
      uint32_t previewSize = 0;
      if (ExifMakerNotePreview(document, &previewBytes, &previewSize) == 1 && previewBytes && previewSize) {
        bytes = previewBytes;
        size = previewSize;
      }
    }
    decoded = DecodeWhole("", bytes, size, 0, 0, decoder, image) == 1;
  }
  if (!decoded && generate) {
    int32_t width = 0, height = 0;
    if (JpegProbeSize(path, &width, &height) != 0) return 0;
    decoded = DecodeWhole(path, nullptr, 0, 2, width >= 321 && height >= 321, decoder, image) == 1;
  }
  if (!decoded) return 0;
  const uint32_t width = uint32_t(image.width), height = uint32_t(image.height);
  if (width > kThumbnailLong || height > kThumbnailLong) {
    uint32_t boxWidth = 0, boxHeight = 0;
    ThumbnailBox(width, height, &boxWidth, &boxHeight);
    return ScaleRaster(image.pixels, width, height, FitRatio(width, height, boxWidth, boxHeight), out);
  }
  out.width = width;
  out.height = height;
  out.pixels.assign(image.pixels, image.pixels + size_t(RasterRowBytes(width)) * height);
  return 1;
}

int ShrinkJpegFile(const std::string& source, const std::string& destination, float factor, int sharpenLevel,
                   int qualityLevel, const Prompt* prompt) {
  JpegDecoderPtr decoder;
  RasterImage image;
  if (!DecodeWhole(source, nullptr, 0, 2, 0, decoder, image)) return 0;
  RasterPixels picture;
  picture.width = uint32_t(image.width);
  picture.height = uint32_t(image.height);
  picture.pixels.assign(image.pixels, image.pixels + size_t(RasterRowBytes(picture.width)) * picture.height);
  decoder.reset();
  if (factor < 1.0f) {
    RasterPixels scaled;
    if (ScaleRaster(picture.pixels.data(), picture.width, picture.height, factor, scaled)) picture = std::move(scaled);
  }
  if (sharpenLevel >= 1 && sharpenLevel <= 3) {
    RasterPixels sharp;
    if (SharpenRaster(picture.pixels.data(), picture.width, picture.height, sharpenLevel - 1, sharp))
      picture = std::move(sharp);
  }
  JpegEncoderPtr encoder = JpegEncoderCreate();
  JpegEncoderSetSampling(encoder.get(), 2, 1);
  JpegEncoderSetRestart(encoder.get(), -1);
  if (qualityLevel > 0) JpegEncoderSetLevel(encoder.get(), qualityLevel);
  std::vector<uint8_t> encoded;
  if (JpegEncoderEncode(encoder.get(), picture.pixels.data(), picture.width, picture.height) != JpegEncoderOk ||
      JpegEncoderToMemory(encoder.get(), encoded) != JpegEncoderOk)
    return 0;

  // The new picture without Exif stands in a temporary file beside the destination; the Exif
  // is then written into it by the same road as every save, onto the destination.
  TemporaryFile picked{FileTemporaryPath(destination)};
  if (!WriteWhole(picked.path, encoded)) return 0;
  ExifDocumentPtr document;
  const uint32_t fileClass = ExifCheckFile(source, document);
  if (document && (fileClass & StatusJpeg)) {
    if (!SetDimension(document.get(), TagPixelXDimension, picture.width) ||
        !SetDimension(document.get(), TagPixelYDimension, picture.height))
      return 0;
    std::vector<uint8_t> thumbnail;
    if (ExifThumbnail(document.get())) {
      // A new thumbnail sets the six tags of the 1st IFD; the resolutions the file had stay.
      std::vector<TagEntry> kept;
      for (uint16_t tag : {TagXResolution, TagYResolution, TagResolutionUnit})
        if (const TagEntry* entry = ExifFindTag(document.get(), IfdThumbnail, tag)) kept.push_back(*entry);
      if (!EncodeScaledRaster(picture.pixels.data(), picture.width, picture.height,
                              FitRatio(picture.width, picture.height, picture.width >= picture.height ? 160 : 120,
                                       picture.width >= picture.height ? 120 : 160),
                              thumbnail, ScaledThumbnail) ||
          !ExifSetThumbnail(document.get(), thumbnail.data(), uint32_t(thumbnail.size()), 1))
        return 0;
      for (const TagEntry& entry : kept)
        if (!ExifQueueEdit(document.get(), PendingSet, IfdThumbnail, entry.tag, entry.type, entry.count, entry.Data()))
          return 0;
    }
    // A new thumbnail has a new size and place: only a full rebuild lays it out.
    SaveLayout layout;
    layout.bigEndian = ExifByteOrder(document.get());
    layout.commitMode = thumbnail.empty() ? CommitMode::Classify : CommitMode::ForceRebuild;
    return ExifSaveFileWithLayout(picked.path, destination, document.get(), prompt, SaveMode::PendingEdits, layout) == SaveWritten ? 1 : 0;
  }
  // Exif that does not parse travels as the bytes it was; a source without Exif gives none.
  std::vector<uint8_t> raw(65535);
  uint32_t rawSize = 0;
  const bool hasApp1 = (fileClass & StatusParseFailed) && ExifReadApp1(source, raw.data(), &rawSize);
  return JpegReplaceApp1(picked.path, destination, hasApp1 ? raw.data() : nullptr, hasApp1 ? rawSize : 0);
}

namespace {

// The embedding's thumbnail maker: the picture's size from its frame header, the thumbnail as
// GenerateExifThumbnail makes it.
int ThumbnailForEmbedding(const std::string& path, std::vector<uint8_t>* thumbnail, uint32_t* width,
                          uint32_t* height) {
  int32_t pictureWidth = 0, pictureHeight = 0;
  if (JpegProbeSize(path, &pictureWidth, &pictureHeight) != 0 || pictureWidth <= 0 || pictureHeight <= 0) return 0;
  if (!GenerateExifThumbnail(path, nullptr, 0, *thumbnail)) return 0;
  *width = uint32_t(pictureWidth);
  *height = uint32_t(pictureHeight);
  return 1;
}

}  // namespace

void CodecInstall() { EmbedInstallThumbnailMaker(ThumbnailForEmbedding); }
