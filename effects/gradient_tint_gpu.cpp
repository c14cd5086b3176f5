#include "effects/gradient_tint.h"

namespace vitrella {

// Until the four stages are drawn, the host renders this effect on the CPU.
bool CGradientTint::RenderGPUFrame(IEffectHost* /*host*/, const GPUTextureRef* /*source*/,
                                   const GPUTextureRef* /*secondSource*/,
                                   GPUTextureRef* /*destination*/, const RenderInfo* /*info*/) {
  return false;
}

}  // namespace vitrella
