#include "effects/rs_ring.h"

namespace vitrella {

bool FindRsRecord(RsCache& cache, int32_t frameNumber, float quality, int32_t width, int32_t height,
                  CRsInfo* record) {
  for (int32_t slot = 0; slot < kRsSearchedSlots; ++slot) {
    const CRsInfo info = cache.GetInfo(slot);
    // The quality must be the very value: a record measured with another is not reused.
    if (info.used != 0 && info.frameNumber == frameNumber && info.invalid == 0 &&
        info.width == width && info.height == height && info.quality == quality) {
      *record = info;
      return true;
    }
  }
  return false;
}

bool FindEarlierRsFrame(RsCache& cache, int32_t frame, FrameBuffer& target, int32_t* distance,
                        int32_t* foundFrame) {
  int32_t best = -1;
  int32_t bestDistance = kRsMaxDistance;
  for (int32_t slot = 0; slot < kRsSearchedSlots; ++slot) {
    const CRsInfo info = cache.GetInfo(slot);
    if (info.used == 0) continue;
    if (info.frameNumber == frame && cache.GetSlotFrame(slot, target)) {
      *distance = 1;
      *foundFrame = frame;
      target.format = static_cast<PixelFormat>(info.format);
      return true;
    }
    const int64_t gap = int64_t{frame} - info.frameNumber;
    if (info.frameNumber < frame && gap < bestDistance) {
      best = slot;
      bestDistance = static_cast<int32_t>(gap);
    }
  }
  if (best < 0 || !cache.GetSlotFrame(best, target)) return false;
  const CRsInfo info = cache.GetInfo(best);
  *distance = bestDistance;
  *foundFrame = info.frameNumber;
  target.format = static_cast<PixelFormat>(info.format);
  return true;
}

bool HasFirstRsFrame(RsCache& cache) {
  for (int32_t slot = 0; slot < kRsSearchedSlots; ++slot) {
    const CRsInfo info = cache.GetInfo(slot);
    if (info.used != 0 && info.frameNumber == 0 && info.invalid == 0) return true;
  }
  return false;
}

void StoreRsFrame(RsCache& cache, const FrameBuffer& frame, CRsInfo record, bool overwrite) {
  record.used = 1;
  record.width = frame.width;
  record.height = frame.height;
  int32_t position = cache.GetInfo(kRsMetaSlot).ringPosition;
  for (int32_t slot = 0; slot < kRsSearchedSlots; ++slot) {
    const CRsInfo info = cache.GetInfo(slot);
    if (info.used != 0 && info.frameNumber == record.frameNumber) {
      if (!overwrite) return;
      position = slot;  // a later hit wins
    }
  }
  cache.Store(frame, position, &record);
  // Slot 12 takes frames but is never searched; the ring wraps after it.
  const int32_t next = position + 1 >= kRsMetaSlot ? 0 : position + 1;
  FrameBuffer marker;
  if (!marker.Allocate(1, 1, 1, nullptr, PixelFormat8Gray, false)) return;
  marker.Row(0)[0] = 0;
  CRsInfo meta;
  meta.ringPosition = next;
  cache.Store(marker, kRsMetaSlot, &meta);
}

}  // namespace vitrella
