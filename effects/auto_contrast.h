// Auto Contrast: measures where a picture's levels really lie, stretches that range to the
// full scale and moves each pixel toward or away from its own grey. On the CPU the measure
// is a histogram of a blurred copy of the frame's inner 90%; on the GPU a histogram of the
// whole picture, counted on the card in one of two ways.
#pragma once

#include "core/effect_base.h"
#include "gpu/gpu_effect_helper.h"
#include "kernels/levels.h"

namespace vitrella {

// Both parameters, as fractions of their shown ranges.
struct AutoContrastValues {
  float intensity;  // I: how much of the tails is cut and how far the limits may go
  float vibrance;   // V: above 0.5 away from grey, below toward it
};
AutoContrastValues ReadAutoContrast(IEffectHost* host);

// The stretch that the histogram of the blurred inner picture gives, on bytes and on
// floats.
kernels::ByteLevels AutoContrastByteLevels(const kernels::RgbHistogram& histogram,
                                           AutoContrastValues values);
kernels::FloatLevels AutoContrastFloatLevels(const kernels::RgbHistogram& histogram,
                                             AutoContrastValues values);

class CAutoContrast final : public EffectBase<CAutoContrast, GPUEffectHelper> {
 public:
  CAutoContrast();

  bool VITRELLA_CALL Render(IEffectHost* host, const HostFrame* source, uintptr_t unused,
                            HostFrame* destination, const RenderInfo* info) override;
  // The usual capability test and record, but the answer is whether the context counts a
  // histogram in either way: without one the effect has no GPU path.
  bool VITRELLA_CALL SetupGPUFrame(IEffectHost* host, GPUSetupInfo* info, uintptr_t word) override;
  bool VITRELLA_CALL RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                    const GPUTextureRef* secondSource, GPUTextureRef* destination,
                                    const RenderInfo* info) override;
};

}  // namespace vitrella
