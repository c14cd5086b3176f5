// The rolling-shutter analysis's use of a cache: a ring of 13 frame slots of which the
// first 12 are searched, and a meta slot that remembers the ring's position.
#pragma once

#include <cstdint>

#include "effects/effects_lib_cache.h"
#include "effects/rs_info.h"

namespace vitrella {

using RsCache = CEffectsLibCacheMT<CRsInfo>;

inline constexpr int32_t kRsSlotCount = 14;
inline constexpr int32_t kRsSearchedSlots = 12;
inline constexpr int32_t kRsMetaSlot = 13;
// Earlier frames further back than this are not looked at.
inline constexpr int32_t kRsMaxDistance = 14;

// The valid record of `frameNumber` measured with this quality on a frame of this size.
bool FindRsRecord(RsCache& cache, int32_t frameNumber, float quality, int32_t width, int32_t height,
                  CRsInfo* record);

// The nearest frame at or before `frame` whose image fits target, copied into target, and
// its distance: 1 for `frame` itself, else `frame` minus its number, below 14. The found
// frame's number goes to foundFrame. False when there is none, or it does not fit.
bool FindEarlierRsFrame(RsCache& cache, int32_t frame, FrameBuffer& target, int32_t* distance,
                        int32_t* foundFrame);

// Whether frame 0 has a valid record.
bool HasFirstRsFrame(RsCache& cache);

// Stores frame and record at the ring's position, or over the slot of the same frame
// number when overwrite is set; without it a frame already present is left alone.
void StoreRsFrame(RsCache& cache, const FrameBuffer& frame, CRsInfo record, bool overwrite);

}  // namespace vitrella
