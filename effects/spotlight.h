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
  bool VITRELLA_CALL SetupGPUFrame(IEffectHost* host, GPUSetupInfo* info, uintptr_t word) override;
  bool VITRELLA_CALL RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                    const GPUTextureRef* secondSource, GPUTextureRef* destination,
                                    const RenderInfo* info) override;

  // The frame's pixel aspect, as the last Render saw it.
  struct AspectRecord {
    float aspect = 1.0f;
    float xScale = 1.0f;
    float yScale = 0.0f;
    uint8_t known = 0;
    uint8_t divideWidth = 1;  // the aspect divides horizontal sizes
    int32_t fixedPoint = 1024;
  };
  const AspectRecord& aspect() const { return aspect_; }

 private:
  AspectRecord aspect_;
};

}  // namespace vitrella
