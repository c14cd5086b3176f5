// Gradient Tint: two tint colours on either side of a line with a soft crossfade between
// them, each limited by a colour mask to picture colours that resemble it, and laid over
// the picture through one of ten blend modes; on the CPU and on the GPU.
#pragma once

#include "core/effect_base.h"
#include "gpu/gpu_effect_helper.h"

namespace vitrella {

// The program that the GPU capability test makes.
extern const ProgramPair kGradientTintSetupPrograms[1];

class CGradientTint final : public EffectBase<CGradientTint, GPUEffectHelper> {
 public:
  CGradientTint();

  bool VITRELLA_CALL Render(IEffectHost* host, const HostFrame* source, uintptr_t unused,
                            HostFrame* destination, const RenderInfo* info) override;
  bool VITRELLA_CALL RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                    const GPUTextureRef* secondSource, GPUTextureRef* destination,
                                    const RenderInfo* info) override;
};

}  // namespace vitrella
