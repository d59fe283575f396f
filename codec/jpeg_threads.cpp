// The threaded paths. Threads live only inside one JpegDecoderDecode: the call starts them and
// joins every one before it returns. A failing stage raises errorFlag; the others watch it and
// end. One mutex per decode guards the ring states and the segment scan; waits are on a
// condition variable with the same states as a spinning claim.
#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "codec/jpeg_internal.h"

namespace {

constexpr int kSlots = 3;
enum SlotState { SlotFree = 0, SlotParsing = 1, SlotParsed = 2, SlotReconstructing = 3 };

struct Pipeline {
  std::mutex mutex;
  std::condition_variable changed;
  JpegUnit slots[kSlots];
  bool parserDone = false;
  int32_t rowsParsed = 0;
};

// The first slot in `expected` state, or -1.
int FindSlot(const Pipeline& p, int expected) {
  for (int i = 0; i < kSlots; ++i)
    if (p.slots[i].state == expected) return i;
  return -1;
}

void RaiseError(JpegDecoder& d, Pipeline& p) {
  {
    std::lock_guard<std::mutex> lock(p.mutex);
    d.errorFlag = 1;
  }
  p.changed.notify_all();
}

void SetState(Pipeline& p, int slot, int state) {
  {
    std::lock_guard<std::mutex> lock(p.mutex);
    p.slots[slot].state = state;
  }
  p.changed.notify_all();
}

// Entropy-decodes the rows in order into free slots. DC prediction lives only here.
void PipelineParser(JpegDecoder& d, Pipeline& p) {
  for (int32_t row = 0; row < d.mcuRows && !d.errorFlag; ++row) {
    int slot = -1;
    {
      std::unique_lock<std::mutex> lock(p.mutex);
      p.changed.wait(lock, [&] { return d.errorFlag || FindSlot(p, SlotFree) >= 0; });
      if (d.errorFlag) break;
      slot = FindSlot(p, SlotFree);
      p.slots[slot].state = SlotParsing;
      p.slots[slot].mcuRow = row;
    }
    if (JpegEntropyDecodeRow(d, p.slots[slot]) != 0) {
      RaiseError(d, p);
      break;
    }
    p.rowsParsed = row + 1;
    SetState(p, slot, SlotParsed);
    if (d.finished) break;
  }
  {
    std::lock_guard<std::mutex> lock(p.mutex);
    p.parserDone = true;
  }
  p.changed.notify_all();
}

// Takes any parsed row; rows finish in any order, each writing its own part of the picture.
template <bool Half>
void PipelineWorker(JpegDecoder& d, Pipeline& p) {
  for (;;) {
    int slot = -1;
    {
      std::unique_lock<std::mutex> lock(p.mutex);
      p.changed.wait(lock, [&] { return d.errorFlag || p.parserDone || FindSlot(p, SlotParsed) >= 0; });
      if (d.errorFlag) return;
      slot = FindSlot(p, SlotParsed);
      if (slot < 0) return;  // the parser is done and no work is left
      p.slots[slot].state = SlotReconstructing;
    }
    JpegUnit& unit = p.slots[slot];
    if (JpegReconstructRow<Half>(d, unit, unit.mcuRow) != 0) {
      RaiseError(d, p);
      return;
    }
    SetState(p, slot, SlotFree);
  }
}

struct SegmentScan {
  std::mutex mutex;
  const uint8_t* data = nullptr;
  size_t position = 0, end = 0;
  int64_t nextSegment = 0;
  bool finished = false;
};

struct Segment {
  const uint8_t* begin = nullptr;
  const uint8_t* end = nullptr;
  int64_t index = 0;
};

// The next restart segment: the bytes up to the next FF D0..D7 or FF D9 (or the data's end).
// A restart number ahead of the count places the segment by its number, so a lost segment
// leaves a gap and the following ones land in place. False when no segment is left.
bool ClaimSegment(SegmentScan& s, Segment* segment) {
  std::lock_guard<std::mutex> lock(s.mutex);
  while (!s.finished) {
    const size_t start = s.position;
    size_t at = start;
    int32_t marker = -1;
    while (at + 1 < s.end) {
      const void* ff = std::memchr(s.data + at, 0xFF, s.end - 1 - at);
      if (!ff) break;
      at = size_t(static_cast<const uint8_t*>(ff) - s.data);
      const uint8_t next = s.data[at + 1];
      if ((next >= 0xD0 && next <= 0xD7) || next == 0xD9) {
        marker = next;
        break;
      }
      at += next == 0xFF ? 1 : 2;
    }
    if (marker < 0) at = s.end;
    if (marker >= 0xD0 && marker <= 0xD7) {
      s.position = at + 2;
      while ((s.nextSegment & 7) != (marker & 7)) ++s.nextSegment;
    } else {
      s.finished = true;  // EOI, or data that ran out: the last segment
    }
    const int64_t index = s.nextSegment++;
    if (at > start) {
      *segment = Segment{s.data + start, s.data + at, index};
      return true;
    }
  }
  return false;
}

template <bool Half>
void SegmentWorker(JpegDecoder& d, SegmentScan& scan) {
  JpegUnit unit;
  JpegUnitAllocate(d, unit, 1);
  const int64_t totalMcus = int64_t(d.mcusPerRow) * d.mcuRows;
  Segment segment;
  while (!d.errorFlag && ClaimSegment(scan, &segment)) {
    const int64_t first = segment.index * d.restartInterval;
    if (first >= totalMcus) continue;
    int32_t mcuY = int32_t(first / d.mcusPerRow), mcuX = int32_t(first % d.mcusPerRow);
    int32_t predictor[3] = {0, 0, 0};
    JpegBits bits;
    JpegBitsStart(bits, segment.begin, segment.end);
    for (int32_t i = 0; i < d.restartInterval && mcuY < d.mcuRows; ++i) {
      // Damage stays inside its segment: a broken MCU is left as far as it got.
      JpegEntropyDecodeMcu(d, bits, predictor, unit);
      if (JpegTransformUnit<Half>(d, unit, 0, 1) != 0) {
        d.errorFlag = 1;
        return;
      }
      JpegColourUnit<Half>(d, unit, mcuX, 1, mcuY);
      if (++mcuX == d.mcusPerRow) {
        mcuX = 0;
        ++mcuY;
      }
    }
  }
}

}  // namespace

int JpegDecodePipeline(JpegDecoder& d) {
  Pipeline p;
  for (JpegUnit& slot : p.slots) JpegUnitAllocate(d, slot, d.mcusPerRow);
  JpegBitsStart(d.bits, d.inputBuffer.data() + d.readPos, d.inputBuffer.data() + d.readPos + d.bytesLeft);
  {
    std::thread parser(PipelineParser, std::ref(d), std::ref(p));
    auto worker = d.halfSize ? PipelineWorker<true> : PipelineWorker<false>;
    std::thread first(worker, std::ref(d), std::ref(p));
    std::thread second(worker, std::ref(d), std::ref(p));
    parser.join();
    first.join();
    second.join();
  }
  // The pipeline succeeds only when the entropy data was seen to end in EOI.
  if (d.errorFlag || !d.finished) return -1;
  JpegFillRows(d, p.rowsParsed * d.maxV * (d.halfSize ? 4 : 8));
  return 0;
}

int JpegDecodeSegments(JpegDecoder& d) {
  if (JpegSourceLoadRest(d) != 0) return -1;
  // Lost segments leave gaps: the picture starts grey.
  JpegFillRows(d, 0);
  SegmentScan scan;
  scan.data = d.inputBuffer.data() + d.readPos;
  scan.end = size_t(d.bytesLeft);
  {
    auto worker = d.halfSize ? SegmentWorker<true> : SegmentWorker<false>;
    std::thread first(worker, std::ref(d), std::ref(scan));
    std::thread second(worker, std::ref(d), std::ref(scan));
    first.join();
    second.join();
  }
  return d.errorFlag ? -1 : 0;
}
