#include "effects/rolling_shutter.h"

#include <algorithm>

#include "core/frame_convert.h"
#include "core/frame_ops.h"
#include "core/render_setup.h"
#include "effects/rs_analysis.h"
#include "effects/rs_correction.h"
#include "effects/rs_state.h"

namespace vitrella {
namespace {

constexpr const char* kDirections[] = {"Down", "Up"};
constexpr const char* kBorderFills[] = {"Source", "Zoom", "Stretch"};

constexpr ParamDef kParams[] = {
    SliderParam("Correction", 0, 100, 0.11f, {0, 0, 65, 30},
                "Sets % of rolling shutter to correct"),
    SliderParam("Quality", 0, 100, 0.55f, {66, 0, 65, 30}, "Sets power of analysis program"),
    ChoiceParam("Scanning Direction", kDirections, 0, {132, 0, 100, 30},
                "Can set top down or bottom up"),
    ChoiceParam("Border Fill", kBorderFills, 2, {132, 45, 100, 30},
                "Adjusts the edges of the image"),
};

constexpr PresetDef kPresets[] = {
    {"Reset to None", {SliderValue(0.1101f), SliderValue(0.5501f), ChoiceValue(0), ChoiceValue(2)}},
};

constexpr SliderId kCorrection{0, "Correction"};
constexpr SliderId kQuality{1, "Quality"};
constexpr ChoiceId kDirection{2, "Scanning Direction"};
constexpr ChoiceId kBorderFill{3, "Border Fill"};

static_assert(NamesMatch(kParams, kCorrection, kQuality, kDirection, kBorderFill));
static_assert(TableIsWellFormed(kParams, kPresets));

constexpr EffectTable kTable{"Rolling Shutter", kTraitsReadsFrames, kParams, kPresets};

// The frames before this one that a render may ask the host for, this one included.
constexpr int32_t kAnnouncedFrames = 4;

void AnnounceFrames(IEffectHost* host, const RenderInfo* info) {
  if (host == nullptr || info == nullptr) return;
  for (int32_t k = 0; k < kAnnouncedFrames; ++k) {
    HostFrame frame{};
    RenderInfo which = *info;
    which.frameNumber = info->frameNumber - k;
    which.time = info->time - k / info->frameRate;
    if (void* handle = host->GetFrame(&which, &frame); handle != nullptr) {
      host->ReleaseFrame(handle, &frame);
    }
  }
}

// The correction of four-channel byte frames. request is the host's source record, the
// template of the earlier frames the analysis asks for (the float path hands over its
// float record while src holds the frame in bytes).
bool RenderBytes(IEffectHost* host, const HostFrame& request, const FrameBuffer& src,
                 FrameBuffer& dst, const RenderInfo& info, MemoryAllocator& memory) {
  const ParamReader params(host);
  const float correction = params.Read(kCorrection);
  const float quality = params.Read(kQuality);
  const bool scansUp = params.Read(kDirection) == 1;
  const int32_t fillChoice = params.Read(kBorderFill);
  const RsBorderFill fill = fillChoice >= 0 && fillChoice <= 2
                                ? static_cast<RsBorderFill>(fillChoice)
                                : RsBorderFill::kStretch;
  HostInfo hostInfo{};
  const bool fetches =
      host->GetHostInfo(&hostInfo) != nullptr && (hostInfo.hostFlags & kHostServesGetFrame) != 0;

  // The analysis may overwrite the frame it is given with older frames, so it works on a
  // copy and never on the host's source.
  FrameBuffer scratch;
  if (!scratch.Allocate(src.width, src.height, src.pixelBytes, &memory, src.format,
                        src.flipped != 0) ||
      !CopyFrame(src, scratch)) {
    return false;
  }
  RsModuleState& state = RsState();
  const RsAnalysisRequest analysis{host, &request, &info, quality, &memory};
  const RsMotionResult motion = fetches && state.deriveFrameNumbers.load() != 1
                                    ? FetchRsMotion(state, analysis, scratch)
                                    : CachedRsMotion(state, analysis, src, scratch);

  float dx = motion.motionX;
  float dy = motion.motionY;
  if (scansUp) {
    dx = -dx;
    dy = -dy;
  }
  if (src.flipped != 0) {  // rows run the other way in memory
    dx = -dx;
    dy = -dy;
  }
  const int32_t width = std::min(src.width, dst.width);
  const int32_t height = std::min(src.height, dst.height);
  const RsShear shear = RsShearOf(dx, dy, static_cast<float>(width), static_cast<float>(height),
                                  correction, info.fieldMode);

  // A host that renders in place gets the warp from an untouched copy.
  const FrameBuffer* from = &src;
  FrameBuffer pristine;
  if (FramesShareMemory(src, dst)) {
    if (!pristine.Allocate(src.width, src.height, src.pixelBytes, &memory, src.format,
                           src.flipped != 0) ||
        !CopyFrame(src, pristine)) {
      return false;
    }
    from = &pristine;
  }
  return ApplyRsCorrection(*from, dst, width, height, shear, fill);
}

// There is no float pipeline: float frames are corrected in eight bits.
bool RenderFloats(IEffectHost* host, const HostFrame& request, const FrameBuffer& src,
                  FrameBuffer& dst, const RenderInfo& info, MemoryAllocator& memory) {
  FrameBuffer srcBytes;
  FrameBuffer dstBytes;
  // Every step keeps the channels where they are; the byte frames keep the order's name
  // too, so that the gray of the analysis weighs the right channels.
  const PixelFormat byteFormat = OtherDepthOf(src.format);
  if (!srcBytes.Allocate(src.width, src.height, 4, &memory, byteFormat, src.flipped != 0) ||
      !dstBytes.Allocate(dst.width, dst.height, 4, &memory, byteFormat, dst.flipped != 0)) {
    return false;
  }
  // Floats times 255, rounded to nearest. The byte destination starts as the destination
  // did, for the border modes that keep it.
  if (!ConvertFloatToByteScaled(src, srcBytes, 255.0f) ||
      !ConvertFloatToByteScaled(dst, dstBytes, 255.0f) ||
      !RenderBytes(host, request, srcBytes, dstBytes, info, memory)) {
    return false;
  }
  return ConvertByteToFloatDivided(dstBytes, dst, 255.0f);
}

}  // namespace

CRollingShutterFixer::CRollingShutterFixer() : EffectBase(kTable) {}

bool CRollingShutterFixer::Render(IEffectHost* host, const HostFrame* source, uintptr_t /*unused*/,
                                  HostFrame* destination, const RenderInfo* info) {
  if (source == nullptr && destination == nullptr) {
    AnnounceFrames(host, info);
    return true;
  }
  RenderSetup setup(host, source, destination, info);
  if (!setup) return false;
  if (setup.srcLayout().isFloat) {
    return RenderFloats(host, *source, setup.src(), setup.dst(), *info, setup.memory());
  }
  return RenderBytes(host, *source, setup.src(), setup.dst(), *info, setup.memory());
}

}  // namespace vitrella
