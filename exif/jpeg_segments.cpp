// The walk over a JPEG's marker segments.
#include "exif/jpeg_segments.h"

#include <cstring>

#include "exif/exif_document.h"

JpegSegments::JpegSegments(std::FILE* file) : file_(file) {}

uint64_t JpegSegments::Position() const {
  if (file_ == nullptr) return position_;
  // A file walk asks the stream: the caller may have read a payload itself.
  const long at = std::ftell(file_);
  return at > 0 ? uint64_t(at) : 0;
}

bool JpegSegments::Read(uint8_t* out, uint32_t size) {
  if (file_ != nullptr) {
    if (std::fread(out, 1, size, file_) != size) return false;
  } else {
    if (position_ > bytes_.size() || bytes_.size() - position_ < size) return false;
    std::memcpy(out, bytes_.data() + position_, size);
  }
  position_ += size;
  return true;
}

JpegStep JpegSegments::Start() {
  uint8_t start[2];
  if ((file_ == nullptr && bytes_.data() == nullptr) || !Read(start, 2)) return JpegStep::Short;
  return start[0] == 0xFF && start[1] == 0xD8 ? JpegStep::Segment : JpegStep::Broken;
}

JpegStep JpegSegments::Next(JpegSegment* segment) {
  *segment = JpegSegment{};
  segment->position = Position();
  uint8_t marker[2];
  if (!Read(marker, 2)) return JpegStep::Short;
  if (marker[0] != 0xFF) return JpegStep::Broken;
  segment->code = marker[1];
  if (marker[1] == kJpegStartOfScan) return JpegStep::Scan;
  uint8_t length[2];
  if (!Read(length, 2)) return JpegStep::Short;
  segment->length = uint32_t(length[0] << 8 | length[1]);
  return segment->length < 2 ? JpegStep::Broken : JpegStep::Segment;
}

bool JpegSegments::Skip(const JpegSegment& segment) {
  const uint32_t payload = segment.Payload();
  if (file_ != nullptr) {
    if (std::fseek(file_, long(payload), SEEK_CUR) != 0) return false;
  } else if (position_ > bytes_.size() || bytes_.size() - position_ < payload) {
    return false;
  }
  position_ += payload;
  return true;
}

uint32_t JpegStepError(JpegStep step) {
  switch (step) {
    case JpegStep::Short:
      return ErrFileIo;
    case JpegStep::Broken:
      return ErrMarkerStructure;
    case JpegStep::Scan:
      return ErrScanReached;
    default:
      return 0;
  }
}

JpegStep JpegSegmentsFind(JpegSegments& walk, uint8_t code, JpegSegment* segment) {
  for (;;) {
    const JpegStep step = walk.Next(segment);
    if (step != JpegStep::Segment || segment->code == code) return step;
    if (!walk.Skip(*segment)) return JpegStep::Short;
  }
}
