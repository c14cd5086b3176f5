#include "effects/rs_analysis.h"

#include <climits>
#include <cmath>

#include "effects/rs_motion.h"
#include "effects/rs_ring.h"

namespace vitrella {
namespace {

constexpr int32_t kFramesFetched = 3;
// After this many failures to fetch the frame before frame 0 of a host that numbers
// from zero, the host's frame numbers are taken as wrong for good.
constexpr int32_t kFailuresBeforeDeriving = 4;
// Motion below this many pixels on both axes sends the cached path further back.
constexpr float kSmallMotion = 0.5f;

// Truncation of a double that may be out of range or NaN, without undefined behaviour.
int32_t TruncateFrame(double value) {
  if (!(value > -2147483648.0 && value < 2147483648.0)) return INT32_MIN;
  return static_cast<int32_t>(value);
}

RsMotionResult PerFrame(RsMotionResult result, int32_t distance) {
  result.motionX /= static_cast<float>(distance);
  result.motionY /= static_cast<float>(distance);
  return result;
}

class CacheLock {
 public:
  CacheLock(RsCache& cache, IEffectHost* host) : cache_(cache) { cache_.Lock(host); }
  ~CacheLock() { cache_.Unlock(); }
  CacheLock(const CacheLock&) = delete;
  CacheLock& operator=(const CacheLock&) = delete;

 private:
  RsCache& cache_;
};

}  // namespace

int32_t RsDerivedFrameNumber(const RenderInfo& info) {
  return TruncateFrame(info.frameRate * info.time);
}

RsMotionResult FetchRsMotion(RsModuleState& state, const RsAnalysisRequest& request,
                             const FrameBuffer& current) {
  const RenderInfo& info = *request.info;
  if (!(info.frameRate > 0.0)) return {};
  FrameBuffer analysis;
  if (!MakeRsAnalysisImage(current, analysis, request.memory)) return {};

  RsMotionResult result;
  void* held = nullptr;
  HostFrame heldFrame{};
  for (int32_t k = 1; k <= kFramesFetched; ++k) {
    if (held != nullptr) {
      request.host->ReleaseFrame(held, &heldFrame);
      held = nullptr;
    }
    HostFrame frame = *request.source;
    frame.data = nullptr;
    RenderInfo which = info;
    which.time = info.time - k / info.frameRate;
    which.frameNumber = info.frameNumber - k;
    if (which.time < 0.0) break;
    if (which.frameNumber < 0) {
      state.negativeFrameSeen.store(1);
      which.frameNumber = RsDerivedFrameNumber(which);
    }
    held = request.host->GetFrame(&which, &frame);
    if (held == nullptr) {
      // A host that numbers from zero cannot give the frame before frame 0; when the time
      // says that frame exists, its numbers are wrong, and enough such misses settle it.
      if (state.deriveFrameNumbers.load() != 1 && info.time > 0.1 && info.frameNumber == 0 &&
          state.negativeFrameSeen.load() != 0 &&
          state.fetchFailures.fetch_add(1) + 1 >= kFailuresBeforeDeriving) {
        state.deriveFrameNumbers.store(1);
      }
      break;
    }
    heldFrame = frame;
    FrameBuffer earlier;
    if (frame.data == nullptr || !earlier.AttachHost(&frame)) break;
    const RsMotionResult measured = EstimateRsMotion(
        earlier, analysis, request.memory, request.quality, info.frameNumber, state.history);
    if (measured.invalid == 0 &&
        (std::fabs(measured.motionX) >= 1.0f || std::fabs(measured.motionY) >= 1.0f)) {
      result = measured;
      break;
    }
  }
  if (held != nullptr) request.host->ReleaseFrame(held, &heldFrame);
  return result;
}

RsMotionResult CachedRsMotion(RsModuleState& state, const RsAnalysisRequest& request,
                              const FrameBuffer& source, FrameBuffer& scratch) {
  const RenderInfo& info = *request.info;
  RsCache& cache = state.CacheFor(info.fieldMode);
  const CacheLock lock(cache, request.host);

  const int32_t frameNumber =
      state.deriveFrameNumbers.load() == 1 ? RsDerivedFrameNumber(info) : info.frameNumber;
  if (frameNumber < INT32_MIN + kRsMaxDistance) return {};  // no earlier frame can exist
  CRsInfo record;
  if (FindRsRecord(cache, frameNumber, request.quality, source.width, source.height, &record)) {
    return {record.motionX, record.motionY, record.motionFrame, record.invalid};
  }
  record = CRsInfo{};
  record.frameNumber = frameNumber;
  record.quality = request.quality;
  record.pixelBytes = source.pixelBytes;
  record.flipped = source.flipped;
  record.format = source.format;
  StoreRsFrame(cache, source, record, false);

  FrameBuffer earlier;
  int32_t distance = 0;
  int32_t used = 0;
  if (!earlier.Allocate(source.width, source.height, source.pixelBytes, request.memory,
                        source.format, source.flipped != 0) ||
      !FindEarlierRsFrame(cache, frameNumber - 1, earlier, &distance, &used)) {
    return {};
  }
  FrameBuffer analysis;
  if (!MakeRsAnalysisImage(source, analysis, request.memory)) return {};
  // The frame's record with its result; a valid result replaces an earlier record.
  const auto keep = [&](const RsMotionResult& measured) {
    record.motionX = measured.motionX;
    record.motionY = measured.motionY;
    record.motionFrame = measured.motionFrame;
    record.invalid = measured.invalid;
    StoreRsFrame(cache, source, record, measured.invalid == 0);
  };
  RsMotionResult result = PerFrame(EstimateRsMotion(earlier, analysis, request.memory,
                                                    request.quality, frameNumber, state.history),
                                   distance);

  // Too little motion to measure against the nearest frame: measure between older ones,
  // which the analysis image now steps back through.
  while (std::fabs(result.motionX) < kSmallMotion && std::fabs(result.motionY) < kSmallMotion) {
    if (!FindEarlierRsFrame(cache, used - 1, scratch, &distance, &used)) {
      if (!HasFirstRsFrame(cache)) keep(result);
      return result;
    }
    result = PerFrame(EstimateRsMotion(scratch, analysis, request.memory, request.quality,
                                       frameNumber, state.history),
                      distance);
  }
  keep(result);
  return result;
}

}  // namespace vitrella
