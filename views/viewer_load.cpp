#include "views/viewer_load.h"

#include <chrono>

#include "codec/jpeg_decoder.h"
#include "exif/exif_reader.h"
#include "exif/makernote_handler.h"
#include "frame/error_stack.h"

namespace {

constexpr uint16_t kTagOrientation = 274;

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// One pixel's three bytes of a bottom-up raster, addressed top-down.
const uint8_t* PixelAt(const uint8_t* pixels, uint32_t width, uint32_t height, uint32_t x, uint32_t y) {
  return pixels + size_t(height - 1 - y) * RasterRowBytes(width) + size_t(x) * 3;
}

// A quarter turn: rotation 3 to the right (clockwise), anything else to the left.
int RotateQuarter(const uint8_t* pixels, uint32_t width, uint32_t height, int rotation, RasterPixels& out) {
  RasterPixels turned;
  turned.width = height;
  turned.height = width;
  turned.pixels.assign(size_t(RasterRowBytes(turned.width)) * turned.height, 0);
  for (uint32_t y = 0; y < turned.height; ++y) {
    uint8_t* row = turned.pixels.data() + size_t(turned.height - 1 - y) * RasterRowBytes(turned.width);
    for (uint32_t x = 0; x < turned.width; ++x) {
      const uint8_t* source = rotation == 3 ? PixelAt(pixels, width, height, y, height - 1 - x)
                                            : PixelAt(pixels, width, height, width - 1 - y, x);
      std::copy(source, source + 3, row + size_t(x) * 3);
    }
  }
  out = std::move(turned);
  return 1;
}

// The picture of a file: the JPEG itself, or the preview a NEF's MakerNote holds. The class
// says which (1, 2), or 1024 when nothing could be opened.
uint32_t LoadViewerImage(const std::string& path, ExifDocument* document, JpegDecoderPtr& decoder) {
  JpegDecoder* opened = nullptr;
  const uint32_t kind = FileProbe(path);
  if (kind == FileKindJpeg) {
    if (JpegDecoderOpen(path, nullptr, 0, &opened) != 0) return StatusUnusable;
    decoder.reset(opened);
    return StatusJpeg;
  }
  if (kind != FileKindTiff || !document) return StatusUnusable;
  const uint8_t* bytes = nullptr;
  uint32_t size = 0;
  if (ExifMakerNotePreview(document, &bytes, &size) != 1 ||
      !bytes || size == 0 || JpegDecoderOpen("", bytes, size, &opened) != 0)
    return StatusUnusable;
  decoder.reset(opened);
  return StatusNef;
}

}  // namespace

int ViewerRotationFor(ExifDocument* document) {
  const TagEntry* entry = document ? ExifFindTag(document, IfdPrimary, kTagOrientation) : nullptr;
  if (!entry) return 0;
  const uint32_t value = entry->type == TypeShort ? entry->U16() : entry->U32();
  return value == 8 ? 1 : value == 6 ? 3 : 0;
}

float ViewerFitFactor(uint32_t width, uint32_t height, uint32_t screenWidth, uint32_t screenHeight) {
  if (screenWidth == 0 || screenHeight == 0) return 1.0f;
  if (width < screenWidth && height < screenHeight) return 1.0f;
  const float byWidth = float(width) / float(screenWidth);
  const float byHeight = float(height) / float(screenHeight);
  return byWidth >= byHeight ? ScaleFactorFor(width, screenWidth) : ScaleFactorFor(height, screenHeight);
}

int ViewerDrawRaster(const uint8_t* pixels, uint32_t width, uint32_t height, float factor, int rotation,
                     int sharpLevel, RasterPixels& out) {
  RasterPixels picture;
  if (factor < 1.0f) {
    // A large picture is reduced on every core: the window's share of a load is mostly this.
    const uint32_t threads = uint64_t(width) * height >= 4'000'000 ? std::max(1u, std::thread::hardware_concurrency()) : 1;
    if (!ScaleRasterThreads(pixels, width, height, factor, threads, picture)) return 0;
  } else if (factor > 1.0f) {
    if (!EnlargeRaster(pixels, width, height, factor, picture)) return 0;
  } else {
    picture.width = width;
    picture.height = height;
    picture.pixels.assign(pixels, pixels + size_t(RasterRowBytes(width)) * height);
  }
  if (rotation != 0) RotateQuarter(picture.pixels.data(), picture.width, picture.height, rotation, picture);
  if (sharpLevel > 0) {
    // A level the sharpening does not know leaves the picture as it is.
    RasterPixels sharp;
    if (SharpenRaster(picture.pixels.data(), picture.width, picture.height, sharpLevel - 1, sharp))
      picture = std::move(sharp);
  }
  out = std::move(picture);
  return 1;
}

std::unique_ptr<ViewerLoadResult> ViewerLoadRun(const ViewerLoadRequest& request, const std::atomic<bool>& stop) {
  auto result = std::make_unique<ViewerLoadResult>();
  result->request = request;
  const auto start = std::chrono::steady_clock::now();
  ErrorClear();
  result->fileClass = ExifCheckFile(request.path, result->document);
  JpegDecoderPtr decoder;
  result->imageClass = LoadViewerImage(request.path, result->document.get(), decoder);
  ErrorClear();  // the window chooses the words by class; codes of this thread are spent
  result->exifSeconds = SecondsSince(start);
  if (!(result->imageClass & (StatusJpeg | StatusNef))) {
    result->failureMessage = 32;
    return result;
  }
  if (stop.load()) return result;
  const auto decodeStart = std::chrono::steady_clock::now();
  int32_t width = 0, height = 0;
  JpegDecoderSize(decoder.get(), &width, &height);
  // Only a picture more than twice the screen in both directions is decoded at half size.
  result->halfSize = uint64_t(width) > 2ull * request.screenWidth && uint64_t(height) > 2ull * request.screenHeight;
  RasterImage image;
  if (JpegDecoderDecode(decoder.get(), &image, result->halfSize ? 1 : 0) != 0 ||
      JpegDecoderPixels(decoder.get(), &image) != 0 || !image.pixels) {
    result->failureMessage = 32;
    return result;
  }
  result->decodedWidth = image.width;
  result->decodedHeight = image.height;
  result->decodeSeconds = SecondsSince(decodeStart);
  if (stop.load()) return result;
  const auto drawStart = std::chrono::steady_clock::now();
  result->rotation = result->fileClass & (StatusJpeg | StatusNef) ? ViewerRotationFor(result->document.get()) : 0;
  const bool turned = result->rotation != 0;
  result->factor = ViewerFitFactor(uint32_t(turned ? image.height : image.width),
                                   uint32_t(turned ? image.width : image.height), request.screenWidth,
                                   request.screenHeight);
  RasterPixels drawn;
  if (!ViewerDrawRaster(image.pixels, uint32_t(image.width), uint32_t(image.height), result->factor,
                        result->rotation, request.sharpLevel, drawn)) {
    result->failureMessage = 32;
    return result;
  }
  decoder.reset();  // the pixels are drawn: the decoder's memory goes before the picture is handed on
  result->picture = std::move(drawn);
  result->drawSeconds = SecondsSince(drawStart);
  return result;
}

ViewerLoader::ViewerLoader(std::function<void(std::shared_ptr<ViewerLoadResult>)> done)
    : done_(std::move(done)), thread_([this] { Run(); }) {}

ViewerLoader::~ViewerLoader() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
    pending_.reset();
  }
  wake_.notify_all();
  thread_.join();
}

uint64_t ViewerLoader::Request(ViewerLoadRequest request) {
  std::lock_guard<std::mutex> lock(mutex_);
  request.id = latest_.load() + 1;
  latest_ = request.id;
  pending_ = std::move(request);
  wake_.notify_one();
  return latest_.load();
}

bool ViewerLoader::Busy() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return running_ || pending_.has_value();
}

void ViewerLoader::Run() {
  for (;;) {
    ViewerLoadRequest request;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      wake_.wait(lock, [this] { return stop_.load() || pending_.has_value(); });
      if (stop_.load()) return;
      request = std::move(*pending_);
      pending_.reset();
      running_ = true;
    }
    std::shared_ptr<ViewerLoadResult> result = ViewerLoadRun(request, stop_);
    {
      std::lock_guard<std::mutex> lock(mutex_);
      running_ = false;
    }
    if (!stop_.load()) done_(std::move(result));
  }
}
