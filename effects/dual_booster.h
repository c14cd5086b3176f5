// Dual Booster: splits the picture by luminance into a dark and a light band, corrects the
// colour and brightness of each, and cross-fades the two corrected pictures through a soft
// luminance mask; Test shows the mask instead. On the CPU and on the GPU.
#pragma once

#include "core/effect_base.h"
#include "gpu/gpu_effect_helper.h"

namespace vitrella {

// The parameters as both paths use them: the band controls already through their curve.
struct DualBoosterValues {
  float center;     // c, where luminance is split
  float steepness;  // k, from Blend
  float darkColour, darkBrightness;
  float lightColour, lightBrightness;
  bool test;
};
DualBoosterValues ReadDualBooster(IEffectHost* host);

// The S-curve of the four band controls: flat about 0.5, with 0, 0.5 and 1 fixed.
float DualBoosterCurve(float v);
// k = ((1 - Blend 0.3) + 0.5)^3.
float DualBoosterSteepness(float blend);

class CDualBooster final : public EffectBase<CDualBooster, GPUEffectHelper> {
 public:
  CDualBooster();

  bool VITRELLA_CALL Render(IEffectHost* host, const HostFrame* source, uintptr_t unused,
                            HostFrame* destination, const RenderInfo* info) override;
  bool VITRELLA_CALL RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                    const GPUTextureRef* secondSource, GPUTextureRef* destination,
                                    const RenderInfo* info) override;
};

}  // namespace vitrella
