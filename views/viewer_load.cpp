#include "views/viewer_load.h"

#include <chrono>

#include "codec/jpeg_decoder.h"
#include "exif/exif_reader.h"
#include "exif/makernote_handler.h"
#include "exif/tags.h"
#include "frame/error_stack.h"

namespace {

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// One pixel's three bytes of a bottom-up raster, addressed top-down.
const uint8_t* PixelAt(const uint8_t* pixels, uint32_t width, uint32_t height, uint32_t x, uint32_t y) {
  return pixels + size_t(height - 1 - y) * RasterRowBytes(width) + size_t(x) * 3;
}

// The pixels of rect (counted from the top) of a picture, as a picture of their own.
void RasterCopyPart(const uint8_t* pixels, uint32_t width, uint32_t height, const RasterRect& rect, RasterPixels& out) {
  RasterPixels part;
  part.width = rect.width;
  part.height = rect.height;
  part.pixels.assign(size_t(RasterRowBytes(rect.width)) * rect.height, 0);
  for (uint32_t y = 0; y < rect.height; ++y)
    std::copy_n(PixelAt(pixels, width, height, rect.left, rect.top + y), size_t(rect.width) * 3,
                part.pixels.data() + size_t(rect.height - 1 - y) * RasterRowBytes(rect.width));
  out = std::move(part);
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
  const TagEntry* entry = document ? ExifFindTag(document, IfdPrimary, TagOrientation) : nullptr;
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

int ViewerPictureMake(JpegDecoderPtr decoder, const RasterImage& image, int rotation, int sharpLevel,
                      uint32_t screenWidth, uint32_t screenHeight, ViewerPicture& out) {
  if (!image.pixels || image.width <= 0 || image.height <= 0) return 0;
  ViewerPicture picture;
  picture.pixels = image.pixels;
  picture.width = uint32_t(image.width);
  picture.height = uint32_t(image.height);
  picture.rotation = rotation;
  picture.sharpLevel = sharpLevel;
  const bool turned = rotation != 0;
  picture.factor = ViewerFitFactor(turned ? picture.height : picture.width, turned ? picture.width : picture.height,
                                   screenWidth, screenHeight);
  uint32_t width = picture.width, height = picture.height;
  if (picture.factor > 1.0f) {
    if (!EnlargeRaster(picture.pixels, width, height, picture.factor, picture.enlarged)) return 0;
    picture.pixels = picture.enlarged.pixels.data();
    width = picture.width = picture.enlarged.width;
    height = picture.height = picture.enlarged.height;
    picture.factor = 1.0f;
  } else if (picture.factor < 1.0f && !ScaleRasterSize(picture.width, picture.height, picture.factor, &width, &height)) {
    return 0;
  }
  picture.shownWidth = turned ? height : width;
  picture.shownHeight = turned ? width : height;
  picture.decoder = std::move(decoder);
  out = std::move(picture);
  return 1;
}

RasterRect ViewerVisiblePart(uint32_t shownWidth, uint32_t shownHeight, uint32_t paneWidth, uint32_t paneHeight) {
  // The centring of the blit: the picture's left edge at (pane - picture) / 2, which may be
  // negative; the pane's edges cut it.
  auto span = [](uint32_t shown, uint32_t pane, uint32_t& begin, uint32_t& length) {
    const int64_t offset = (int64_t(pane) - int64_t(shown)) / 2;
    const int64_t first = std::max<int64_t>(0, -offset), last = std::min<int64_t>(shown, int64_t(pane) - offset);
    begin = uint32_t(first);
    length = last > first ? uint32_t(last - first) : 0;
  };
  RasterRect part;
  span(shownWidth, paneWidth, part.left, part.width);
  span(shownHeight, paneHeight, part.top, part.height);
  if (part.width == 0 || part.height == 0) part = RasterRect();
  return part;
}

int ViewerDrawPart(const ViewerPicture& picture, const RasterRect& part, RasterPixels& out) {
  if (!picture.pixels || part.width == 0 || part.height == 0 || part.left + part.width > picture.shownWidth ||
      part.top + part.height > picture.shownHeight)
    return 0;
  // Sharpening looks one pixel to each side, so the part grows by that much inside the picture
  // and is cut back after: only its own pixels, whose neighbours are all there, are kept.
  const uint32_t margin = picture.sharpLevel > 0 ? 1 : 0;
  RasterRect grown;
  grown.left = part.left - std::min(part.left, margin);
  grown.top = part.top - std::min(part.top, margin);
  grown.width = std::min(picture.shownWidth, part.left + part.width + margin) - grown.left;
  grown.height = std::min(picture.shownHeight, part.top + part.height + margin) - grown.top;
  // The same rectangle before the quarter turn: a turn to the right takes shown (x, y) from
  // (y, H - 1 - x) of the picture before it, a turn to the left from (W - 1 - y, x).
  RasterRect before = grown;
  if (picture.rotation == 3)
    before = {grown.top, picture.shownWidth - grown.left - grown.width, grown.height, grown.width};
  else if (picture.rotation != 0)
    before = {picture.shownHeight - grown.top - grown.height, grown.left, grown.height, grown.width};
  RasterPixels drawn;
  if (picture.factor < 1.0f) {
    // A large part is reduced on every core: the window's share of a load is mostly this.
    const uint32_t threads = uint64_t(before.width) * before.height >= 250'000 ? std::max(1u, std::thread::hardware_concurrency()) : 1;
    if (!ScaleRasterPart(picture.pixels, picture.width, picture.height, picture.factor, before, threads, drawn))
      return 0;
  } else {
    RasterCopyPart(picture.pixels, picture.width, picture.height, before, drawn);
  }
  if (picture.rotation != 0) RotateQuarter(drawn.pixels.data(), drawn.width, drawn.height, picture.rotation, drawn);
  if (picture.sharpLevel > 0) {
    // A level the sharpening does not know leaves the picture as it is.
    RasterPixels sharp;
    if (SharpenRaster(drawn.pixels.data(), drawn.width, drawn.height, picture.sharpLevel - 1, sharp))
      drawn = std::move(sharp);
  }
  if (margin != 0) {
    RasterPixels cut;
    RasterCopyPart(drawn.pixels.data(), drawn.width, drawn.height,
                   {part.left - grown.left, part.top - grown.top, part.width, part.height}, cut);
    drawn = std::move(cut);
  }
  out = std::move(drawn);
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
  const int rotation = result->fileClass & (StatusJpeg | StatusNef) ? ViewerRotationFor(result->document.get()) : 0;
  auto picture = std::make_shared<ViewerPicture>();
  if (!ViewerPictureMake(std::move(decoder), image, rotation, request.sharpLevel, request.screenWidth,
                         request.screenHeight, *picture)) {
    result->failureMessage = 32;
    return result;
  }
  // The part the pane shows is drawn here, so the window only copies it; the rest waits until a
  // larger pane needs it.
  result->partRect = ViewerVisiblePart(picture->shownWidth, picture->shownHeight, request.paneWidth, request.paneHeight);
  if (result->partRect.width != 0 && !ViewerDrawPart(*picture, result->partRect, result->part)) {
    result->failureMessage = 32;
    return result;
  }
  result->picture = std::move(picture);
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
