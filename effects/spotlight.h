// Spotlight: a soft rotated ellipse with its own grade inside and another outside, on
// the CPU and on the GPU, both paths giving the same picture.
#pragma once

#include "core/effect_base.h"
#include "gpu/gpu_effect_helper.h"

namespace vitrella {

class CSpotlight final : public EffectBase<CSpotlight, GPUEffectHelper> {
 public:
  CSpotlight();

  bool VITRELLA_CALL Render(IEffectHost* host, const HostFrame* source, uintptr_t unused,
                            HostFrame* destination, const RenderInfo* info) override;
  bool VITRELLA_CALL RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                    const GPUTextureRef* secondSource, GPUTextureRef* destination,
                                    const RenderInfo* info) override;
};

}  // namespace vitrella
