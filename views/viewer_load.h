// Loading one file for the image viewer, away from the window's thread: the Exif with its
// class, the picture (a JPEG, or a NEF's preview out of its MakerNote), the decode, and the
// draw operation (fit to the screen, quarter turn by Orientation, sharpening). The decoded
// picture is kept, as the slot's decoder holds it; of the drawn picture only the part the pane
// shows is made, which is all a pane smaller than the screen-sized picture ever needs.
//
// A ViewerLoader is one worker thread per slot with at most one waiting request: a newer
// request replaces the waiting one, so holding "next" never piles loads up. The thread watches
// a stop flag and is joined by the destructor.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "codec/jpeg_decoder.h"
#include "codec/raster_scale.h"
#include "exif/exif_document.h"

// What the load needs to know of the window: the screen it fits to and the sharpen level.
struct ViewerLoadRequest {
  std::string path;
  uint64_t id = 0;  // increasing per loader, so the window can tell the latest
  uint32_t screenWidth = 0;
  uint32_t screenHeight = 0;
  uint32_t paneWidth = 0;  // the picture pane, whose visible part is drawn at once
  uint32_t paneHeight = 0;
  int sharpLevel = 0;
};

// A decoded picture as a slot keeps it, and how it is shown: reduced by factor (below 1) to
// the screen, turned, sharpened. Parts of the shown picture are drawn from it on demand.
struct ViewerPicture {
  JpegDecoderPtr decoder;  // holds the decoded pixels
  RasterPixels enlarged;   // the source instead, when the fit enlarges
  const uint8_t* pixels = nullptr;  // bottom-up BGR rows padded to 4
  uint32_t width = 0, height = 0;
  float factor = 1.0f;
  int rotation = 0;  // 0 none, 1 a quarter turn to the left (Orientation 8), 3 to the right (6)
  int sharpLevel = 0;
  uint32_t shownWidth = 0, shownHeight = 0;  // reduced and turned
};

// The outcome of one load. failureMessage is 0 when a picture was made, else the message to
// show (32: the file cannot be shown).
struct ViewerLoadResult {
  ViewerLoadRequest request;
  uint32_t fileClass = 0;   // of the Exif: 1 JPEG, 2 NEF, 256 parse error, 512 no Exif, 1024 unusable
  uint32_t imageClass = 0;  // of the picture: 1 JPEG, 2 NEF preview, 1024 none
  uint32_t failureMessage = 0;
  ExifDocumentPtr document;
  std::shared_ptr<ViewerPicture> picture;
  RasterPixels part;     // the part of the shown picture the pane shows, drawn
  RasterRect partRect;   // where it stands in the shown picture
  int32_t decodedWidth = 0, decodedHeight = 0;
  bool halfSize = false;
  double exifSeconds = 0, decodeSeconds = 0, drawSeconds = 0;
};

// The quarter turn that shows a picture upright, by its Orientation tag (274 of the 0th IFD).
int ViewerRotationFor(ExifDocument* document);

// The factor of the fit to the screen: 1.0 unless the (turned) picture reaches the screen in
// either direction; then ScaleFactorFor on the side that is relatively larger.
float ViewerFitFactor(uint32_t width, uint32_t height, uint32_t screenWidth, uint32_t screenHeight);

// Takes over a decoded picture: the fit to the screen (an enlargement is made here, once),
// the shown size. 0 when the picture cannot be shown.
int ViewerPictureMake(JpegDecoderPtr decoder, const RasterImage& image, int rotation, int sharpLevel,
                      uint32_t screenWidth, uint32_t screenHeight, ViewerPicture& out);

// The part of the shown picture inside its size that a pane of paneWidth x paneHeight shows
// when the picture is centred on it (empty when none).
RasterRect ViewerVisiblePart(uint32_t shownWidth, uint32_t shownHeight, uint32_t paneWidth, uint32_t paneHeight);

// The draw operation for one part of the shown picture (bottom-up BGR rows padded to 4): the
// same pixels as the whole picture reduced, turned and sharpened has there. Returns 1 and it.
int ViewerDrawPart(const ViewerPicture& picture, const RasterRect& part, RasterPixels& out);

// The whole load, on the calling thread. stop is looked at between the stages.
std::unique_ptr<ViewerLoadResult> ViewerLoadRun(const ViewerLoadRequest& request, const std::atomic<bool>& stop);

class ViewerLoader {
 public:
  // done is called on the worker thread with each finished load (the window posts it on).
  explicit ViewerLoader(std::function<void(std::shared_ptr<ViewerLoadResult>)> done);
  ~ViewerLoader();
  ViewerLoader(const ViewerLoader&) = delete;
  ViewerLoader& operator=(const ViewerLoader&) = delete;

  // Queues a load; a request still waiting is dropped in its favour. Returns its id.
  uint64_t Request(ViewerLoadRequest request);
  // The id of the newest request.
  uint64_t LatestId() const { return latest_.load(); }
  // Whether a request waits or runs.
  bool Busy() const;

 private:
  void Run();

  std::function<void(std::shared_ptr<ViewerLoadResult>)> done_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::optional<ViewerLoadRequest> pending_;
  bool running_ = false;
  std::atomic<bool> stop_{false};
  std::atomic<uint64_t> latest_{0};
  std::thread thread_;
};
